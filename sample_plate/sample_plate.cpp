#include "sample_plate/sample_plate.h"

#include "sample_plate/noise.h"
#include "sample_plate/parallel.h"
#include "sample_plate/shading.h"
#include "sample_plate/surroundings.h"

namespace sample_plate {

namespace {

// The camera's curve, which is the sRGB curve, as a table over the square root of light.
struct CameraCurve {
    static constexpr int kSteps = 4096;
    float encoded[kSteps + 2];

    CameraCurve() {
        for (int i = 0; i <= kSteps + 1; ++i) {
            const double root = static_cast<double>(i) / kSteps, light = root * root;
            encoded[i] = static_cast<float>(light <= 0.0031308 ? 12.92 * light
                                                               : 1.055 * TwelfthRootOfFifth(light) - 0.055);
        }
    }

    // light to the power of 5/12 = 1/2.4, with operations that are the same everywhere.
    static double TwelfthRootOfFifth(double light) {
        const double fourth = std::sqrt(std::sqrt(light));
        const double fifth = fourth * light;  // light^(5/4); the loop computes its cube root
        double root = std::sqrt(light);
        for (int i = 0; i < 40; ++i) root -= (root * root * root - fifth) / (3 * root * root);
        return root;
    }

    float operator()(float light) const {
        const float place = std::sqrt(Clamp01(light)) * kSteps;
        const int step = static_cast<int>(place);
        return Mix(encoded[step], encoded[step + 1], place - static_cast<float>(step));
    }
};

std::uint16_t Quantise(float value, float largest) {
    return static_cast<std::uint16_t>(Clamp01(value) * largest + 0.5f);
}

// Shot noise grows with light, read noise is constant. Neighbours share a part of both, as after demosaicing.
float SensorNoise(float light, int column, int row, std::uint32_t channel) {
    const auto x = static_cast<std::uint32_t>(column), y = static_cast<std::uint32_t>(row);
    const float own = Gaussian(Hash(x, y, 900 + channel));
    const float shared = Gaussian(Hash(x / 2, y / 2, 910 + channel));
    return (0.85f * own + 0.5f * shared) * std::sqrt(0.00009f * light + 0.0000012f);
}

void StorePixel(images::Picture& picture, std::size_t at, Vec3 light, const CameraCurve& curve) {
    const auto largest = static_cast<float>(images::LargestSample(picture.depth));
    picture.colour[0][at] = Quantise(curve(light.x), largest);
    picture.colour[1][at] = Quantise(curve(light.y), largest);
    picture.colour[2][at] = Quantise(curve(light.z), largest);
}

// The figure before the studio's backdrop, with spill and noise.
Vec3 CameraLight(const ShadedPoint& point, const Surroundings& surroundings, float backdropLight, Vec2 p,
                 int column, int row) {
    Vec3 light = point.light + SpillColour(surroundings.isBlue) * point.spill;
    if (point.alpha < 1) light = light + BackdropAt(surroundings, p) * (backdropLight * (1 - point.alpha));
    light.x += SensorNoise(light.x, column, row, 0);
    light.y += SensorNoise(light.y, column, row, 1);
    light.z += SensorNoise(light.z, column, row, 2);
    return light;
}

}  // namespace

SamplePlate RenderSamplePlate(const PlateOptions& options) {
    if (options.width < 16 || options.height < 16)
        throw images::PictureError("a sample plate has at least 16 by 16 pixels");
    SamplePlate plate;
    plate.photo = images::MakePicture(options.width, options.height, options.depth, 3, false);
    plate.background = plate.photo;
    if (options.withTruth) {
        plate.composite = plate.photo;
        plate.alpha = images::MakePicture(options.width, options.height, options.depth, 1, false);
    }
    static const CameraCurve kCurve;
    const Figure figure = PrepareFigure(options.width, options.height, options.isBlown);
    const Surroundings surroundings = PrepareSurroundings(
        options.height, static_cast<float>(options.width) / static_cast<float>(options.height), figure.maps,
        options.isBlue);
    const float backdropLight = options.isBlown ? 2.2f : 1;  // the light behind the hair is on it too
    const Vec3 pure = PureBackdrop(options.isBlue);
    const float scale = 1 / static_cast<float>(options.height);
    const auto largest = static_cast<float>(images::LargestSample(options.depth));

    ForEachRow(options.height, [&](int row) {
        for (int column = 0; column < options.width; ++column) {
            const Vec2 p{
                (static_cast<float>(column) + 0.5f - static_cast<float>(options.width) * 0.5f) * scale,
                (static_cast<float>(row) + 0.5f) * scale};
            const std::size_t at = static_cast<std::size_t>(row) * options.width + column;
            const ShadedPoint point = ShadeFigure(figure, column, row);
            const Vec3 photo = options.isPure
                                   ? point.light + pure * (1 - point.alpha)
                                   : CameraLight(point, surroundings, backdropLight, p, column, row);
            StorePixel(plate.photo, at, photo, kCurve);
            const Vec3 landscape = LandscapeAt(surroundings, p);
            StorePixel(plate.background, at, landscape, kCurve);
            if (!options.withTruth) continue;
            StorePixel(plate.composite, at, point.light + landscape * (1 - point.alpha), kCurve);
            plate.alpha.colour[0][at] = Quantise(point.alpha, largest);
        }
    });
    return plate;
}

}  // namespace sample_plate

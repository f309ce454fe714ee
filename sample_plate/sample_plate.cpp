#include "sample_plate/sample_plate.h"

#include "sample_plate/parallel.h"
#include "sample_plate/subject.h"
#include "sample_plate/surroundings.h"

namespace sample_plate {

namespace {

// The camera's curve (that of sRGB) as a table over its own square root, which spreads the dark end.
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

    // light to the power of 5/12 = 1/2.4, by operations that are the same everywhere.
    static double TwelfthRootOfFifth(double light) {
        const double fourth = std::sqrt(std::sqrt(light));
        const double fifth = fourth * light;  // light^(5/4), whose cube root is wanted
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

std::uint16_t Sample(float value, float largest) {
    return static_cast<std::uint16_t>(Clamp01(value) * largest + 0.5f);
}

// Shot noise grows with the light, read noise does not; some of it is shared by neighbours, as after the
// interpolation of a colour mosaic.
float SensorNoise(float light, int column, int row, std::uint32_t channel) {
    const auto x = static_cast<std::uint32_t>(column), y = static_cast<std::uint32_t>(row);
    const float own = Gaussian(Hash(x, y, 900 + channel));
    const float shared = Gaussian(Hash(x / 2, y / 2, 910 + channel));
    return (0.85f * own + 0.5f * shared) * std::sqrt(0.00009f * light + 0.0000012f);
}

void Put(images::Picture& picture, std::size_t at, Vec3 light, const CameraCurve& curve) {
    const auto largest = static_cast<float>(images::LargestSample(picture.depth));
    picture.colour[0][at] = Sample(curve(light.x), largest);
    picture.colour[1][at] = Sample(curve(light.y), largest);
    picture.colour[2][at] = Sample(curve(light.z), largest);
}

}  // namespace

SamplePlate RenderSamplePlate(const PlateOptions& options) {
    if (options.width < 16 || options.height < 16)
        throw images::PictureError("a plate has at least 16 by 16 pixels");
    SamplePlate plate;
    plate.photo = images::MakePicture(options.width, options.height, options.depth, 3, false);
    plate.background = plate.photo;
    if (options.withTruth) {
        plate.composite = plate.photo;
        plate.alpha = images::MakePicture(options.width, options.height, options.depth, 1, false);
    }
    static const CameraCurve kCurve;
    const Subject subject = PrepareSubject(options.width, options.height);
    const Surroundings surroundings = MeasureSurroundings(
        options.height, static_cast<float>(options.width) / static_cast<float>(options.height), subject.maps,
        options.isBlue);
    const Vec3 spill = SpillColour(options.isBlue);
    const float scale = 1 / static_cast<float>(options.height);
    const auto largest = static_cast<float>(images::LargestSample(options.depth));

    ForEachRow(options.height, [&](int row) {
        for (int column = 0; column < options.width; ++column) {
            const Vec2 p{
                (static_cast<float>(column) + 0.5f - static_cast<float>(options.width) * 0.5f) * scale,
                (static_cast<float>(row) + 0.5f) * scale};
            const std::size_t at = static_cast<std::size_t>(row) * options.width + column;
            const Seen seen = SubjectAt(subject, column, row);
            Vec3 photo = seen.light + spill * seen.spill;
            if (seen.alpha < 1) photo = photo + BackdropAt(surroundings, p) * (1 - seen.alpha);
            photo.x += SensorNoise(photo.x, column, row, 0);
            photo.y += SensorNoise(photo.y, column, row, 1);
            photo.z += SensorNoise(photo.z, column, row, 2);
            Put(plate.photo, at, photo, kCurve);
            const Vec3 landscape = LandscapeAt(surroundings, p);
            Put(plate.background, at, landscape, kCurve);
            if (!options.withTruth) continue;
            Put(plate.composite, at, seen.light + landscape * (1 - seen.alpha), kCurve);
            plate.alpha.colour[0][at] = Sample(seen.alpha, largest);
        }
    });
    return plate;
}

}  // namespace sample_plate

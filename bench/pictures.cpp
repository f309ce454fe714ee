#include "bench/pictures.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "images/picture_file.h"
#include "images/resample.h"
#include "sample_plate/sample_plate.h"

namespace bench {

const char* const kPictureNames[] = {"plate", "hair", "easy", nullptr};

namespace {

using images::Picture;

// Uniform random numbers.
struct Noise {
    std::uint32_t Next() {
        state = state * 1664525u + 1013904223u;
        return state >> 8;
    }
    int Below(int count) {
        return static_cast<int>((static_cast<std::uint64_t>(Next()) * static_cast<unsigned>(count)) >> 24);
    }
    std::uint32_t state = 1;
};

struct Colour {
    int r, g, b;  // 8-bit levels
};

// share: of `over`, in 256ths.
Colour Mix(const Colour& under, const Colour& over, int share) {
    const auto mix = [share](int a, int b) { return (a * (256 - share) + b * share) / 256; };
    return {mix(under.r, over.r), mix(under.g, over.g), mix(under.b, over.b)};
}

// Strands of skin and hair colours, which cover a tenth to nine tenths of every pixel.
Colour HairPixel(int x, int y, int, int, Noise* noise) {
    const Colour backdrop{52 + noise->Below(6), 188 + noise->Below(6), 84 + noise->Below(6)};
    const bool dark = (x * 7 + y * 3) / 16 % 3 != 0;
    const Colour subject = dark ? Colour{74 + noise->Below(30), 52, 36} : Colour{206, 160, 132};
    return Mix(backdrop, subject, 26 + noise->Below(205));
}

Colour EasyPixel(int x, int y, int width, int height, Noise*) {
    const long long dx = x - width / 2, dy = y - height / 2, radius = height / 3;
    if (dx * dx + dy * dy < radius * radius) return {200, 90 + x % 16, 80 + y % 16};
    return {50, 190, 90};
}

Picture Painted(int width, int height, int depth, Colour (*pixel)(int, int, int, int, Noise*)) {
    Picture picture = images::MakePicture(width, height, depth, 3, false);
    const unsigned scale = depth == 8 ? 1 : 257;
    Noise noise;
    std::size_t i = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x, ++i) {
            const Colour c = pixel(x, y, width, height, &noise);
            picture.colour[0][i] = static_cast<std::uint16_t>(static_cast<unsigned>(c.r) * scale);
            picture.colour[1][i] = static_cast<std::uint16_t>(static_cast<unsigned>(c.g) * scale);
            picture.colour[2][i] = static_cast<std::uint16_t>(static_cast<unsigned>(c.b) * scale);
        }
    }
    return picture;
}

Colour BackgroundPixel(int x, int y, int width, int height, Noise*) {
    return {x * 255 / width, y * 255 / height, 255 - x * 255 / width};
}

std::vector<std::uint8_t> DocumentPlane(const images::Plane& plane, int depth) {
    std::vector<std::uint8_t> bytes(plane.size() * static_cast<std::size_t>(depth / 8));
    for (std::size_t i = 0; i < plane.size(); ++i) {
        if (depth == 8) {
            bytes[i] = static_cast<std::uint8_t>(plane[i]);
        } else {
            const std::uint16_t sample = images::ToDocument16(plane[i]);
            std::memcpy(&bytes[2 * i], &sample, sizeof sample);
        }
    }
    return bytes;
}

// A photograph from a file, scaled to the size.
Picture FromFile(const std::string& path, int width, int height, int depth) {
    Picture picture = images::ReadPicture(path);
    images::ConvertToRgb(picture);
    images::FlattenOnWhite(picture);
    images::ChangeDepth(picture, depth);
    return images::FitPicture(picture, width, height, images::Fit::kCover);
}

}  // namespace

bool IsPictureFile(const std::string& name) {
    return name.find_first_of("./") != std::string::npos;
}

Layers MakeLayers(const Shape& shape) {
    const int height = static_cast<int>(std::sqrt(shape.megapixels * 1e6 / 1.5));
    const int width = height * 3 / 2;
    Picture photo, background;
    if (shape.picture == "plate") {
        sample_plate::PlateOptions options;
        options.width = width;
        options.height = height;
        options.depth = shape.depth;
        options.withTruth = false;
        sample_plate::SamplePlate plate = sample_plate::RenderSamplePlate(options);
        photo = std::move(plate.photo);
        background = std::move(plate.background);
    } else {
        photo = IsPictureFile(shape.picture)
                    ? FromFile(shape.picture, width, height, shape.depth)
                    : Painted(width, height, shape.depth, shape.picture == "hair" ? HairPixel : EasyPixel);
        background = Painted(width, height, shape.depth, BackgroundPixel);
    }
    Layers layers{width, height, {}, {}};
    for (std::size_t c = 0; c < 3; ++c) {
        layers.photo[c] = DocumentPlane(photo.colour[c], shape.depth);
        layers.background[c] = DocumentPlane(background.colour[c], shape.depth);
    }
    return layers;
}

}  // namespace bench

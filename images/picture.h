// A picture in memory, as it came from a file or goes to one.
//
// Samples are planar and always stored in 16 bits; `depth` says what they mean: 0..255 at 8, 0..65535 at 16.
// The host's documents count differently at 16 bits (0..32768): the two conversions stand at the end.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace images {

using Plane = std::vector<std::uint16_t>;  // width * height samples, row-major, no padding

enum class ResolutionUnit { kNone, kInch, kCentimetre };

struct Picture {
    int width = 0;   // pixels, at least 1 in a picture that was read
    int height = 0;  // pixels
    int depth = 8;   // bits per sample: 8 or 16

    std::vector<Plane> colour;  // three planes (red, green, blue) or one (grey)
    Plane alpha;                // empty: opaque. Colour is never multiplied by it (straight alpha).

    std::vector<std::uint8_t> profile;  // ICC profile, as the file had it; empty: none
    double resolutionX = 0;             // pixels per unit; 0: not known
    double resolutionY = 0;
    ResolutionUnit resolutionUnit = ResolutionUnit::kNone;

    // Where a layer lies on its document's canvas: its upper left corner, which may lie outside.
    int offsetX = 0;
    int offsetY = 0;
};

// What a file of layers holds: the canvas and its two lowest layers, bottom first. A plain picture has none.
struct LayeredPicture {
    Picture merged;               // what the file shows
    std::vector<Picture> layers;  // at most two, each with its offset
};

// Every failure of this folder's own code towards the user: one clear line without a full stop.
struct PictureError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

inline std::size_t PixelCount(const Picture& picture) {
    return static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height);
}

inline int LargestSample(int depth) {
    return depth == 8 ? 255 : 65535;
}

// An all-black picture (sample 0) of the given shape; opaque when it has alpha.
Picture MakePicture(int width, int height, int depth, int colours, bool withAlpha);

// Changes the depth: 8 to 16 bits by 257, so that both ends meet; 16 to 8 rounded to nearest.
void ChangeDepth(Picture& picture, int depth);

// Grey becomes three equal planes; a picture that has three stays as it is.
void MakeColour(Picture& picture);

// Lays a picture with its offset on a canvas of the given size: outside it is white and transparent, as a
// host shows the empty part of a layer. The result always has alpha, and no offset.
Picture PlaceOnCanvas(const Picture& layer, int width, int height);

// Samples of 16-bit files (0..65535) and of the host's 16-bit documents (0..32768), rounded to nearest. A
// document's sample survives the way through a file, with one exception that is meant: 32767 is the largest
// value that the filter writes by itself, so both it and 32768 are full (65535), and a white or opaque pixel
// comes out white or opaque. Whatever lies above counts as full too (the filter fills alpha with 65535).
constexpr std::uint16_t kDocumentMaximum16 = 32768;

constexpr std::uint16_t ToDocument16(std::uint16_t fileSample) {
    return static_cast<std::uint16_t>((fileSample * 32768u + 32767u) / 65535u);
}

constexpr std::uint16_t FromDocument16(std::uint16_t documentSample) {
    return documentSample >= 32767 ? 65535
                                   : static_cast<std::uint16_t>((documentSample * 65535u + 16384u) / 32768u);
}

}  // namespace images

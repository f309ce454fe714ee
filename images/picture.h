// A picture in memory.
//
// Samples are planar and have 16-bit storage. `depth` is their scale: 0..255 at 8, 0..65535 at 16.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace images {

using Plane = std::vector<std::uint16_t>;  // width * height samples, row-major, no padding

enum class ResolutionUnit { kNone, kInch, kCentimetre };

struct Picture {
    int width = 0;   // pixels
    int height = 0;  // pixels
    int depth = 8;   // bits per sample: 8 or 16

    std::vector<Plane> colour;  // three planes (red, green, blue) or one (grey)
    Plane alpha;                // empty: opaque. Colour is not multiplied by it (straight alpha).

    std::vector<std::uint8_t> profile;  // ICC profile; empty: none
    std::vector<std::uint8_t> exif;     // as in the file; the orientation in it is applied
    std::vector<std::uint8_t> xmp;
    double resolutionX = 0;  // pixels per unit; 0: unknown
    double resolutionY = 0;
    ResolutionUnit resolutionUnit = ResolutionUnit::kNone;

    // The upper left corner of a layer on its document's canvas; can be outside the canvas.
    int offsetX = 0;
    int offsetY = 0;
};

// A layered file: the merged picture and its two lowest layers, bottom first. Other files have no layers.
struct LayeredPicture {
    Picture merged;               // all layers, composited by the program that wrote the file
    std::vector<Picture> layers;  // at most two
};

// An error for the user: one line without a full stop.
struct PictureError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

inline std::size_t PixelCount(const Picture& picture) {
    return static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height);
}

inline int LargestSample(int depth) {
    return depth == 8 ? 255 : 65535;
}

// A black picture of the given size in pixels; opaque when it has alpha. `colours` is 3 or 1.
Picture MakePicture(int width, int height, int depth, int colours, bool withAlpha);

// Changes the depth: 8 to 16 bits multiplies by 257; 16 to 8 divides and rounds to nearest.
void ChangeDepth(Picture& picture, int depth);

// Raises every colour sample to at least `least`, 0 to 255, in the scale of 8 bits.
void RaiseBlacks(Picture& picture, int least);

// Makes three equal planes of a grey plane; leaves an RGB picture unchanged.
void ConvertToRgb(Picture& picture);

// Places a picture with its offset on a white, transparent canvas, as a host shows the empty part of a layer.
// The result has alpha and no offset.
Picture PlaceOnCanvas(const Picture& layer, int width, int height);

// Rotates and mirrors by an EXIF orientation, 1 to 8; any other value leaves the picture unchanged.
Picture ApplyOrientation(Picture picture, int orientation);

// Rounds a resolution in pixels per inch that is within one pixel per metre of a whole number: PNG stores
// pixels per metre, so 300 per inch are read as 299.9994.
double RoundResolution(double pixelsPerInch);

// Convert between the samples of 16-bit files (0..65535) and of the host's 16-bit documents (0..32768),
// rounded to nearest. A document's sample is unchanged after a conversion to a file and back, with one
// intended exception: 32767 and above become full (65535). The filter computes at most 32767, and a white or
// opaque pixel must stay white or opaque; it also fills alpha with 65535.
constexpr std::uint16_t ToDocument16(std::uint16_t fileSample) {
    return static_cast<std::uint16_t>((fileSample * 32768u + 32767u) / 65535u);
}

constexpr std::uint16_t FromDocument16(std::uint16_t documentSample) {
    return documentSample >= 32767 ? 65535
                                   : static_cast<std::uint16_t>((documentSample * 65535u + 16384u) / 32768u);
}

}  // namespace images

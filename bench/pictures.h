// The pictures that are measured.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

// plate: the demonstration plate. hair: every pixel a mixture of backdrop and subject, so that nearly all of
// them are searched. easy: a flat backdrop with an opaque disc on it.
extern const char* const kPictureNames[];  // ending in null

// Any other name, one with a dot or a slash, is a file's: a photograph, scaled and cropped to the size.
bool IsPictureFile(const std::string& name);

struct Shape {
    std::string picture;
    int megapixels;  // about; the pictures are 3 by 2
    int depth;       // 8 or 16

    bool operator==(const Shape& o) const {
        return picture == o.picture && megapixels == o.megapixels && depth == o.depth;
    }
};

// Planes as a host's document has them: one byte a sample, or two of 0 .. 32768.
struct Layers {
    int width, height;
    std::vector<std::uint8_t> photo[3];
    std::vector<std::uint8_t> background[3];
};

// Takes a few seconds for the large ones. Throws images::PictureError for a file that cannot be read.
Layers MakeLayers(const Shape& shape);

}  // namespace bench

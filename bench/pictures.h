// The pictures of the benchmarks.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

// plate: the sample plate. hair: every pixel mixes backdrop and subject, so nearly all of them are searched.
// easy: an opaque disc on a uniform backdrop.
extern const char* const kPictureNames[];  // ending in null

// A name with a dot or a slash is a photograph's file. It is scaled and cropped to the size.
bool IsPictureFile(const std::string& name);

struct Shape {
    std::string picture;
    int megapixels;  // approximate; the pictures are 3 by 2
    int depth;       // 8 or 16

    bool operator==(const Shape& o) const {
        return picture == o.picture && megapixels == o.megapixels && depth == o.depth;
    }
};

// Planes as a host's document has them: one byte per sample, or two with 0 .. 32768.
struct Layers {
    int width, height;
    std::vector<std::uint8_t> photo[3];
    std::vector<std::uint8_t> background[3];
};

// Takes a few seconds for large pictures. Throws images::PictureError for a file that cannot be read.
Layers MakeLayers(const Shape& shape);

}  // namespace bench

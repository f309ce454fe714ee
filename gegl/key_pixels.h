// Keys R'G'B'A pixels as GEGL hands them out: four samples a pixel, rows without gaps, colour not multiplied
// by alpha, 8 or 16 bits at full range. The planes of the last picture stay in memory, so that a picture that
// comes again is not measured again.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/keying.h"

namespace operation {

// Samples of one channel at `depth`: bytes, or 16 bits in the machine's byte order.
using Samples = std::vector<std::uint8_t>;

// A picture in the engine's planes. 16 bits of full range become 0 to 32768 there, as in a document of 16
// bits.
struct KeyingPlanes {
    std::int32_t width = 0, height = 0;
    std::int32_t bits = 8;  // 8 or 16

    Samples photo[4];       // red, green, blue, alpha
    Samples background[3];  // full range; on white where it is transparent
    Samples out[4];

    keying::Backdrop backdrop;    // of the photograph
    bool isMeasured = false;      // `backdrop` is that of the photograph,
    bool isMeasuredBlue = false;  // for a blue backdrop
};

// Makes room for a picture. Forgets the backdrop if its size or depth is another one. Throws std::bad_alloc;
// the planes are then empty.
void Resize(KeyingPlanes& planes, std::int32_t width, std::int32_t height, std::int32_t bits);

// Stores `rows` rows from row `first` on. Different rows may be stored by several threads at once.
// StorePhotograph returns whether the rows differ from those stored before.
bool StorePhotograph(KeyingPlanes& planes, std::int32_t first, std::int32_t rows, const void* pixels);
void StoreBackground(KeyingPlanes& planes, std::int32_t first, std::int32_t rows, const void* pixels);

// Keys the photograph. Measures the backdrop unless it is measured for settings.blueBackdrop. Without a
// background the settings have outputAlpha. Returns false when there is no memory.
bool KeyPhotograph(KeyingPlanes& planes, const keying::Settings& settings, bool hasBackground);

// Reads rows of the result: the photograph's foreground with its alpha, or set on the background, opaque.
void LoadResult(const KeyingPlanes& planes, bool hasAlpha, std::int32_t first, std::int32_t rows,
                void* pixels);

}  // namespace operation

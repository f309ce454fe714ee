// The passes that each variant has, as one table of function pointers.
#pragma once

#include <cstdint>

#include "engine/key_run.h"
#include "engine/keying.h"
#include "engine/samples.h"

namespace keying {

// The first three passes of the analysis.
struct BackdropLevels {
    double domHue;  // a whole number of degrees
    double domSat;  // 0 to 1
    double level;   // mean key channel, in samples
};

// What the fourth pass accepts.
struct GridLimits {
    double levelHue;       // degrees
    double smallestLevel;  // the key channel must be above, in samples
};

// Planes are logical views.
template <class Sample>
struct Passes {
    BackdropLevels (*measureLevels)(const PlaneView<Sample>&);
    // Adds the accepted pixels to the cells' sums and counts.
    void (*addPixels)(const PlaneView<Sample>&, const GridLimits&, BackdropGrid*);
    // Row y, with run.ring.ringSlot its slot: fetches and keys it, and writes the row that is then finished.
    void (*processRow)(const KeyRun&, const PlaneView<Sample>&, std::int32_t y);
    // The row pass and the column pass of edge blending; false when there is no memory for working copies.
    bool (*blendColours)(const PlaneView<Sample>&);
};

struct Variant {
    const char* name;
    Passes<std::uint8_t> bytes;
    Passes<std::uint16_t> words;
};

template <class Sample>
const Passes<Sample>& PassesOf(const Variant& variant);

template <>
inline const Passes<std::uint8_t>& PassesOf<std::uint8_t>(const Variant& variant) {
    return variant.bytes;
}

template <>
inline const Passes<std::uint16_t>& PassesOf<std::uint16_t>(const Variant& variant) {
    return variant.words;
}

}  // namespace keying

// The passes that each variant has, as one table of function pointers.
#pragma once

#include <cstdint>

#include "engine/key_run.h"
#include "engine/keying.h"
#include "engine/samples.h"
#include "engine/workers.h"

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

// Rows of the picture: first up to but not including end.
struct Band {
    std::int64_t first, end;
};

// Planes are logical views.
template <class Sample>
struct Passes {
    // The scalar reference does all its work on the caller's thread, here and in blendColours.
    BackdropLevels (*measureLevels)(const PlaneView<Sample>&, Workers*);
    // Adds the accepted pixels of a band of rows to the cells' sums and counts.
    void (*addPixels)(const PlaneView<Sample>&, const GridLimits&, Band rows, BackdropGrid*);
    // Fetches and keys picture row y, with run.ring.ringSlot its slot, and puts its fetched colours into the
    // out planes. Where no refinement follows, the direct writer puts the composite there. The views of this
    // pass and the next begin at the row that they write.
    void (*keyRow)(const KeyRun&, const PlaneView<Sample>& row, std::int32_t y);
    // Refines and writes picture row y - ringRadius, with row y the newest in the ring.
    void (*refineRow)(const KeyRun&, const PlaneView<Sample>& row, std::int32_t y);
    // The row pass and the column pass of edge blending; false when there is no memory for working copies.
    bool (*blendColours)(const PlaneView<Sample>&, Workers*);
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

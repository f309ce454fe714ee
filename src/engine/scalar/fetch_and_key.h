// The first half of a row's turn: one pixel by itself.
#pragma once

#include <cstdint>

#include "engine/key_run.h"
#include "engine/samples.h"

namespace keying {

// One pixel on its way through the keying.
struct Pixel {
    double R, G, B;        // as seen, logical channels; fixed
    double bgR, bgG, bgB;  // the local backdrop
    double maxC;           // the largest of R, G, B
    double fgR, fgG, fgB;  // the foreground: as seen until something changes it
    double alpha;          // on entry the top layer's
};

// The place of position (a column of `size` columns, or a row) on the grid. Nothing lies beyond the place 18,
// so that the last row and the last column of cells never count; the lookup is meant so.
GridPlace PlaceOnGrid(std::int64_t position, std::int64_t size);

// Brings row y of the top and bottom layers into the newest ring row and the top layer's colours, with the
// guards of the fetch, into the output planes. outA is not touched.
template <class Sample>
void FetchRow(const KeyRun& run, const PlaneView<Sample>& planes, std::int32_t y);

// Keys the newest ring row, picture row y, in place.
void KeyRow(const KeyRun& run, std::int32_t y);

}  // namespace keying

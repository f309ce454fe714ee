// The first half of a row's turn: one pixel by itself.
#pragma once

#include <cstdint>

#include "engine/key_run.h"
#include "engine/samples.h"

namespace keying {

// The place of position (a column of `size` columns, or a row) on the grid. The last place is 18: the last
// row and the last column of cells never count, on purpose.
GridPlace PlaceOnGrid(std::int64_t position, std::int64_t size);

// Brings a row of the top and bottom layers into the newest ring row and the top layer's colours, with the
// guards of the fetch, into the output planes. outA is not touched.
template <class Sample>
void FetchRow(const KeyRun& run, const PlaneView<Sample>& row);

// Keys the newest ring row, picture row y, in place.
void KeyRow(const KeyRun& run, std::int32_t y);

}  // namespace keying

// The fourth pass of the analysis.
#pragma once

#include "engine/passes.h"

namespace keying {

// Adds the pixels of a band of rows that are backdrop to their cells.
template <class Sample>
void AddGridPixels(const PlaneView<Sample>& planes, const GridLimits& limits, Band rows, BackdropGrid* grid);

// Adds one pixel to a cell if it is backdrop.
void AddIfBackdrop(const Rgb& seen, const GridLimits& limits, std::int64_t cell, BackdropGrid* grid);

}  // namespace keying

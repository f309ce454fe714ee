// The fourth pass of the analysis.
#pragma once

#include "engine/variants.h"

namespace keying {

// Fills the grid from the top layer's colours, which addPixels reads, and the three means.
template <class Sample>
void BuildBackdropGrid(const PlaneView<Sample>& planes,
                       void (*addPixels)(const PlaneView<Sample>&, const GridLimits&, BackdropGrid*),
                       Backdrop* backdrop);

// The scalar reference of adding the accepted pixels to their cells.
template <class Sample>
void AddGridPixels(const PlaneView<Sample>& planes, const GridLimits& limits, BackdropGrid* grid);

// Adds one pixel to a cell if it is backdrop.
void AddIfBackdrop(const Rgb& seen, const GridLimits& limits, std::int64_t cell, BackdropGrid* grid);

}  // namespace keying

// The fourth pass of the analysis.
#pragma once

#include "engine/variants.h"

// Fills gBackdropGrid from the top layer's colours, which addPixels reads, and the three means of Globals.
void BuildBackdropGrid(const Globals* globals,
                       void (*addPixels)(const Globals*, const GridLimits&, BackdropGrid*));

// The scalar reference of adding the accepted pixels to their cells.
template <class Sample>
void AddGridPixels(const Globals* globals, const GridLimits& limits, BackdropGrid* grid);

// Adds one pixel to a cell if it is backdrop.
void AddIfBackdrop(const Rgb& seen, const GridLimits& limits, std::int64_t cell, BackdropGrid* grid);

// The second half of a row's turn when edges are not blended: each pixel of the row ringRadius rows back
// keeps its own composite, or takes an alpha-weighted average of its neighbours.
#pragma once

#include "engine/colour.h"
#include "engine/key_run.h"

namespace keying {

constexpr int kMostRingRows = 5;

// The window's columns, each summed over the window's rows; cell 0 is the oldest. A column keeps the alpha
// difference that it got when it was loaded, although the centre has moved on.
struct ColumnWindow {
    double cellDiff[kMostRingRows];
    double cellWeight[kMostRingRows];
    double cellR[kMostRingRows];
    double cellG[kMostRingRows];
    double cellB[kMostRingRows];
};

// The refined colour of pixel (x, y - ringRadius), each channel limited to 0 .. maxSample; NaN
// stays. y: the picture row of the newest ring row. The caller clears the window before x 0 and passes it on
// along the row.
Rgb RefinePixel(const KeyRun& run, std::int32_t y, std::int32_t x, ColumnWindow* window);

}  // namespace keying

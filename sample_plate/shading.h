// The shaded figure: materials, light and transparency.
#pragma once

#include "sample_plate/figure.h"
#include "sample_plate/hair.h"

namespace sample_plate {

// The figure, prepared for a picture of the given size.
struct Figure {
    FigureMaps maps;
    HairBuffer hairBehind, hairInFront;
    int width, height;  // in pixels
    bool isBlown;       // the hair, see PlateOptions
};

Figure PrepareFigure(int width, int height, bool isBlown);

// The figure's light at one pixel, and how much of the background it covers.
struct ShadedPoint {
    Vec3 light{};     // linear, premultiplied by alpha
    float spill = 0;  // share of the backdrop's light that is reflected, premultiplied by alpha
    float alpha = 0;
};

ShadedPoint ShadeFigure(const Figure& figure, int column, int row);

}  // namespace sample_plate

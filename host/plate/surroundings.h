// What stands behind the figure: the studio's backdrop, and the landscape that is to replace it. Colours are
// linear light, 1 the brightest that the plate can hold; places are those of figure.h.
#pragma once

#include "host/plate/figure.h"
#include "host/plate/numbers.h"

namespace frond::plate {

// The cloth of the backdrop with its folds, its uneven light and the figure's shadow on it.
Vec3 BackdropAt(Vec2 at, const FigureMaps& maps, bool isBlue);

// The light that the backdrop throws on what stands before it.
Vec3 SpillColour(bool isBlue);

Vec3 LandscapeAt(Vec2 at);

}  // namespace frond::plate

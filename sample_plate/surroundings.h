// What stands behind the figure: the studio's backdrop, and the landscape that is to replace it. Colours are
// linear light, 1 the brightest that the plate can hold; places are those of figure.h.
#pragma once

#include "sample_plate/figure.h"
#include "sample_plate/numbers.h"

namespace sample_plate {

struct Surroundings {
    GridShape backdropShape, landscapeShape;
    GridValues<Vec2> backdrop;  // x: the light on the cloth, y: how far it turns away from the lamp
    GridValues<Vec3> landscape;
    bool isBlue;
};

// For a picture of the given height in pixels and aspect (width by height).
Surroundings MeasureSurroundings(int height, float aspect, const FigureMaps& maps, bool isBlue);

// The cloth of the backdrop with its folds, its uneven light and the figure's shadow on it.
Vec3 BackdropAt(const Surroundings& surroundings, Vec2 at);

// The light that the backdrop throws on what stands before it.
Vec3 SpillColour(bool isBlue);

Vec3 LandscapeAt(const Surroundings& surroundings, Vec2 at);

}  // namespace sample_plate

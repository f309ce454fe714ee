// The studio's backdrop, and the landscape that replaces it. Colours are linear light with 1 as white; points
// are in the coordinates of figure.h.
#pragma once

#include "sample_plate/figure.h"
#include "sample_plate/vectors.h"

namespace sample_plate {

struct Surroundings {
    GridShape backdropShape, landscapeShape;
    GridValues<Vec2> backdrop;  // x: the light on the cloth, y: 0 to 1, how far it faces away from the lamp
    GridValues<Vec3> landscape;
    bool isBlue;
};

// For a picture of the given height in pixels and aspect ratio (width / height).
Surroundings PrepareSurroundings(int height, float aspect, const FigureMaps& maps, bool isBlue);

// The backdrop's cloth with folds, uneven light and the figure's shadow.
Vec3 BackdropAt(const Surroundings& surroundings, Vec2 at);

// A flat backdrop with two channels at 0.
Vec3 PureBackdrop(bool isBlue);

// The backdrop's light on the figure.
Vec3 SpillColour(bool isBlue);

Vec3 LandscapeAt(const Surroundings& surroundings, Vec2 at);

}  // namespace sample_plate

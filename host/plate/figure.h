// The person on the demonstration plate: solid shapes, seen along the z axis.
//
// Lengths are in units of the picture's height; x runs to the right from the picture's middle, y down from
// its top, z towards the viewer.
#pragma once

#include <vector>

#include "host/plate/numbers.h"

namespace frond::plate {

// What a line of sight meets of one part of the figure.
struct Sight {
    float clearance;  // distance by which it passes the part; negative inside its outline
    Vec3 normal;      // of the surface met; towards the viewer when nothing is met
    float light;      // 0 to 1: how much of the main light gets there
};

enum Part { kBackHair, kSkin, kCloth, kPartCount };

// The direction towards the main light.
Vec3 MainLight();

// The figure measured on a grid of sight lines; between them its shapes are smooth enough to be interpolated.
struct FigureMaps {
    int columns = 0, rows = 0;
    float step = 0;  // between two lines
    float left = 0;  // x of the first column
    std::vector<Sight> parts[kPartCount];
    std::vector<float> outline;  // clearance of the whole figure
};

// Measures a picture of the given size; `aspect` is its width by its height.
FigureMaps MeasureFigure(int height, float aspect);

Sight SightAt(const FigureMaps& maps, Part part, Vec2 at);
float OutlineAt(const FigureMaps& maps, Vec2 at);

// Clearance of the waving hand's flat shape, in the posture of `time` between 0 and 1.
float HandClearance(Vec2 at, float time);

}  // namespace frond::plate

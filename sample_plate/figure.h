// The person on the demonstration plate: solid shapes, seen along the z axis.
//
// Lengths are in units of the picture's height; x runs to the right from the picture's middle, y down from
// its top, z towards the viewer.
#pragma once

#include "sample_plate/grid.h"
#include "sample_plate/numbers.h"

namespace sample_plate {

// What a line of sight meets of one part of the figure.
struct Sight {
    float clearance;  // distance by which it passes the part; negative inside its outline
    Vec3 normal;      // of the surface met; towards the viewer when nothing is met
    float light;      // 0 to 1: how much of the main light gets there
};

// A sight between two others.
inline Sight Mix(const Sight& a, const Sight& b, float t) {
    return {Mix(a.clearance, b.clearance, t), Mix(a.normal, b.normal, t), Mix(a.light, b.light, t)};
}

enum Part { kBackHair, kSkin, kCloth, kPartCount };

// The direction towards the main light.
Vec3 MainLight();

// The figure measured on a grid of sight lines; between them its shapes are smooth enough to be interpolated.
struct FigureMaps {
    GridShape shape;
    GridValues<Sight> parts[kPartCount];
    GridValues<float> outline;  // clearance of the whole figure
};

// Measures a picture of the given size; `aspect` is its width by its height.
FigureMaps MeasureFigure(int height, float aspect);

Sight SightAt(const FigureMaps& maps, Part part, Vec2 at);
float OutlineAt(const FigureMaps& maps, Vec2 at);

// Clearance of the waving hand's flat shape, in the posture of `time` between 0 and 1.
float HandClearance(Vec2 at, float time);

}  // namespace sample_plate

// The person on the sample plate: solid shapes, viewed along the z axis.
//
// Lengths are in picture heights: x to the right from the centre, y down from the top, z towards the viewer.
#pragma once

#include "sample_plate/lookup_grid.h"
#include "sample_plate/vectors.h"

namespace sample_plate {

// Where a line of sight meets one part of the figure.
struct SurfaceHit {
    float distance;  // smallest distance from the part; negative inside its outline
    Vec3 normal;     // of the surface; towards the viewer when none is met
    float light;     // 0 to 1: the share of the main light that reaches the surface
};

// Interpolates.
inline SurfaceHit Mix(const SurfaceHit& a, const SurfaceHit& b, float t) {
    return {Mix(a.distance, b.distance, t), Mix(a.normal, b.normal, t), Mix(a.light, b.light, t)};
}

enum Part { kBackHair, kSkin, kCloth, kPartCount };

// The direction towards the main light.
Vec3 MainLight();

// The figure on a grid of lines of sight, for interpolation.
struct FigureMaps {
    GridShape shape;
    GridValues<SurfaceHit> parts[kPartCount];
    GridValues<float> outline;  // distance from the whole figure
};

// For a picture of the given height in pixels and aspect ratio (width / height).
FigureMaps TraceFigure(int height, float aspect);

SurfaceHit SurfaceAt(const FigureMaps& maps, Part part, Vec2 at);
float OutlineDistanceAt(const FigureMaps& maps, Vec2 at);

// Distance from the flat shape of the waving hand at `time`, 0 to 1 within the exposure.
float HandDistance(Vec2 at, float time);

}  // namespace sample_plate

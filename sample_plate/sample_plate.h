// The demonstration plate: a studio photograph before a green or blue backdrop, a landscape to set it on, and
// the truth about it, rendered from nothing. The same options give the same pictures on every machine.
//
// The scene holds what makes keying hard: an unevenly lit, wrinkled backdrop with the figure's shadow and the
// sensor's noise on it, skin, hair strands thinner than a pixel, a veil, grey and black cloth, a white shirt,
// light that the backdrop throws on all of them, and a hand blurred by its own motion. Light adds up before
// the camera's curve is applied, as in a camera.
#pragma once

#include "images/picture.h"

namespace sample_plate {

struct PlateOptions {
    int width = 2400;   // pixels, at least 16
    int height = 1600;  // pixels, at least 16
    int depth = 16;     // 8 or 16
    bool isBlue = false;
    bool withTruth = true;  // false: photo and background only
};

struct SamplePlate {
    images::Picture photo;
    images::Picture background;
    images::Picture alpha;      // grey: how much of each pixel is figure; without noise
    images::Picture composite;  // the figure before the background, without spill and noise
};

SamplePlate RenderSamplePlate(const PlateOptions& options);

}  // namespace sample_plate

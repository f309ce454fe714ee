// Renders the sample plate: a studio photograph with a green or blue backdrop, a landscape as its new
// background, and the ground truth. The same options give the same pictures on every machine.
//
// The scene has what makes keying hard: an unevenly lit, wrinkled backdrop with shadow and sensor noise,
// skin, hair thinner than a pixel, a veil, grey and black cloth, a white shirt, spill, and a hand with motion
// blur. Light is summed before the camera's curve is applied, as in a camera.
#pragma once

#include "images/picture.h"

namespace sample_plate {

struct PlateOptions {
    int width = 2400;   // pixels, at least 16
    int height = 1600;  // pixels, at least 16
    int depth = 16;     // 8 or 16
    bool isBlue = false;
    bool withTruth = true;  // false: only photo and background
    bool isPure = false;    // a flat, computer-made backdrop with two channels at 0; no spill, no noise
    bool isBlown = false;   // light hair in the wind with light behind it, which clips its highlights
};

struct SamplePlate {
    images::Picture photo;
    images::Picture background;
    images::Picture alpha;      // grey: the figure's coverage of each pixel, without noise
    images::Picture composite;  // the figure over the background, without spill and noise
};

// Throws images::PictureError for a size below 16 by 16.
SamplePlate RenderSamplePlate(const PlateOptions& options);

}  // namespace sample_plate

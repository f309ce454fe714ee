// Hair: some thousands of curves, drawn one after the other into a buffer of coverage and tone.
#pragma once

#include <vector>

#include "sample_plate/numbers.h"

namespace sample_plate {

// A window of the picture with the hair in it, in pixels.
struct HairBuffer {
    int left = 0, top = 0, width = 0, height = 0;
    std::vector<float> coverage;  // 0 to 1
    std::vector<float> tone;      // brightness of the hair there, multiplied by coverage
};

enum class HairLayer { kBehind, kInFront };

// Draws the hair of one layer for a picture of the given height in pixels. A strand is as thin as real hair
// on such a picture: a fraction of a pixel up to some 40 megapixels.
HairBuffer DrawHair(HairLayer layer, int width, int height);

}  // namespace sample_plate

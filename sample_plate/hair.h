// Hair: thousands of curves, drawn one after the other into a buffer of coverage and tone.
#pragma once

#include <vector>

#include "sample_plate/vectors.h"

namespace sample_plate {

// The part of the picture with the hair, in pixels.
struct HairBuffer {
    int left = 0, top = 0, width = 0, height = 0;
    std::vector<float> coverage;  // 0 to 1
    std::vector<float> tone;      // brightness, premultiplied by coverage
};

enum class HairLayer { kBehind, kInFront };

// Draws one layer for a picture of the given size in pixels. Strands are as thin as real hair: less than a
// pixel up to about 40 megapixels. Blown hair adds long strands that the wind spreads to the right.
HairBuffer DrawHair(HairLayer layer, int width, int height, bool isBlown);

}  // namespace sample_plate

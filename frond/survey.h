// A quick look at a photograph: a reduced copy, keyed by the engine.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/keying.h"
#include "frond/parameters.h"
#include "images/picture.h"

namespace frond {

// Sample (x, y) of the survey is pixel (x * step, y * step) of the photograph.
struct Survey {
    int step = 1;
    int width = 0, height = 0;        // samples
    keying::Backdrop backdrop;        // 0 to 255 at 8 bits, 0 to 32767 at 16
    std::vector<std::uint8_t> alpha;  // the matte, rows from the top: 0 removed, 255 kept
};

// The default keeps the cost of a survey at 3 ms and shows a subject of a hundredth of the picture.
constexpr int kSurveySamples = 120000;

// Keys every step-th pixel in both directions on the caller's thread. The step is the smallest that gives at
// most `mostSamples`, 1 or more. The photograph has three colour planes and at least one pixel. Of the
// parameters the sliders and "FlagBlueLogic" count. Throws std::bad_alloc.
Survey SurveyPhotograph(const images::Picture& photo, const ParameterValues& parameters,
                        int mostSamples = kSurveySamples);

}  // namespace frond

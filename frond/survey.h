// A quick look at a photograph: a reduced copy, keyed by the engine.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/keying.h"
#include "frond/parameters.h"
#include "images/picture.h"

namespace frond {

// Sample (x, y) of the survey is pixel (x * step, y * step) of the photograph. Values are 8 bits, also for a
// photograph of 16 bits: there the engine's matte has hardly any soft part, and would not show hair.
struct Survey {
    int step = 1;
    int width = 0, height = 0;  // samples
    keying::Backdrop backdrop;
    std::vector<std::uint8_t> alpha;  // the matte, rows from the top: 0 removed, 255 kept
};

// Enough for a subject of a hundredth of the picture.
constexpr int kSurveySamples = 120000;

// Keys every step-th pixel in both directions on the caller's thread. The step is the smallest that gives at
// most `mostSamples`, 1 or more. The photograph has three colour planes and at least one pixel. Of the
// parameters the sliders and "FlagBlueLogic" count. Throws std::bad_alloc.
Survey SurveyPhotograph(const images::Picture& photo, const ParameterValues& parameters,
                        int mostSamples = kSurveySamples);

}  // namespace frond

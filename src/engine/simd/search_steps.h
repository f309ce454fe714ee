// The values of a that the alpha search goes through. They are the same few doubles for every pixel, since a
// is carried by repeated subtraction from 1. The compiler computes them with the search's own operations.
#pragma once

#include "engine/constants.h"

namespace keying {

constexpr int kCoarseSteps = 12;  // 1 down to the first value that is not above 0
constexpr int kFineStride = 204;  // the longest row, from 1, with its end

// In place of a coarse step: the search goes on from a fine step, or ends with it.
constexpr int kCoarseFound = -1;
constexpr int kDecided = -2;

template <class Number>
struct SearchSteps {
    Number coarse[kCoarseSteps];
    // Row i starts where the fine search starts after coarse step i, and ends with a value that is not above
    // 0.
    Number fine[kCoarseSteps * kFineStride];
};

constexpr SearchSteps<double> MakeSearchSteps() {
    SearchSteps<double> steps = {};
    double a = 1.0;
    for (int i = 0; i < kCoarseSteps; ++i) {
        steps.coarse[i] = a;
        double f = a;
        if (f != 1.0) f += kCoarseStep;
        for (int j = i * kFineStride; j < (i + 1) * kFineStride; ++j) {
            steps.fine[j] = f;
            if (f > 0) f -= kFineStep;
        }
        a -= kCoarseStep;
    }
    return steps;
}

constexpr SearchSteps<double> kSearchSteps = MakeSearchSteps();

// 1 / a of each step, and 0 where a is not above 0.
constexpr SearchSteps<float> MakeInverseSteps() {
    SearchSteps<float> inverses = {};
    for (int i = 0; i < kCoarseSteps; ++i) {
        const double a = kSearchSteps.coarse[i];
        inverses.coarse[i] = a > 0 ? static_cast<float>(1 / a) : 0;
    }
    for (int i = 0; i < kCoarseSteps * kFineStride; ++i) {
        const double a = kSearchSteps.fine[i];
        inverses.fine[i] = a > 0 ? static_cast<float>(1 / a) : 0;
    }
    return inverses;
}

constexpr SearchSteps<float> kInverseSteps = MakeInverseSteps();

// 1 / a is below this for all steps but those that only the rounding of the subtractions keeps above 0.
constexpr float kLastInverse = 1000;
static_assert(kInverseSteps.coarse[kCoarseSteps - 2] > 1e9f && kInverseSteps.coarse[kCoarseSteps - 3] < 11);

static_assert(kSearchSteps.coarse[kCoarseSteps - 2] > 0 && !(kSearchSteps.coarse[kCoarseSteps - 1] > 0),
              "the coarse search runs eleven times and ends below 0");
static_assert(!(kSearchSteps.fine[kFineStride - 1] > 0), "the longest row has its end");

}  // namespace keying

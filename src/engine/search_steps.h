// The values of a that the alpha search goes through. They are the same few doubles for every pixel, since a
// is carried by repeated subtraction from 1: worked out once, by the compiler, with the search's own
// operations.
#pragma once

#include <limits>

constexpr int kCoarseSteps = 12;         // 1 down to the first value that is not above 0
constexpr int kFineStride = 204;         // the longest row, from 1, with its end
constexpr int kStepsAhead = 4;           // steps that may be read past the end of a table or a row
constexpr double kSmallestSkip = 0.005;  // every step below this is tested as it is defined

struct SearchSteps {
    double coarse[kCoarseSteps];
    // Row i starts where the fine search starts after coarse step i, and ends with a value that is not above
    // 0.
    double fine[kCoarseSteps * kFineStride];
    // 1 / a of each step, and no number for a below kSmallestSkip.
    double coarseInverse[kCoarseSteps + kStepsAhead];
    double fineInverse[kCoarseSteps * kFineStride];
};

constexpr double InverseOfStep(double a) {
    return a < kSmallestSkip ? std::numeric_limits<double>::quiet_NaN() : 1 / a;
}

constexpr SearchSteps MakeSearchSteps() {
    SearchSteps steps = {};
    double a = 1.0;
    for (int i = 0; i < kCoarseSteps; ++i) {
        steps.coarse[i] = a;
        steps.coarseInverse[i] = InverseOfStep(a);
        double f = a;
        if (f != 1.0) f += 0.1;
        for (int j = i * kFineStride; j < (i + 1) * kFineStride; ++j) {
            steps.fine[j] = f;
            steps.fineInverse[j] = InverseOfStep(f);
            if (f > 0) f -= 0.005;
        }
        a -= 0.1;
    }
    for (int i = 0; i < kStepsAhead; ++i) steps.coarseInverse[kCoarseSteps + i] = InverseOfStep(0);
    return steps;
}

constexpr SearchSteps kSearchSteps = MakeSearchSteps();

static_assert(kSearchSteps.coarse[kCoarseSteps - 2] > 0 && !(kSearchSteps.coarse[kCoarseSteps - 1] > 0),
              "the coarse search runs eleven times and ends below 0");
static_assert(!(kSearchSteps.fine[kFineStride - kStepsAhead] > 0), "the longest row has its end");

// The values of a that the alpha search goes through. They are the same few doubles for every pixel, since a
// is carried by repeated subtraction from 1: worked out once, by the compiler, with the search's own
// operations.
#pragma once

constexpr int kCoarseSteps = 12;         // 1 down to the first value that is not above 0
constexpr int kFineStride = 204;         // the longest row, from 1, with its end
constexpr double kSmallestSkip = 0.005;  // no step below this is ever skipped

struct SearchSteps {
    double coarse[kCoarseSteps];
    // Row i starts where the fine search starts after coarse step i, and ends with a value that is not above
    // 0.
    double fine[kCoarseSteps * kFineStride];
};

constexpr SearchSteps MakeSearchSteps() {
    SearchSteps steps = {};
    double a = 1.0;
    for (int i = 0; i < kCoarseSteps; ++i) {
        steps.coarse[i] = a;
        double f = a;
        if (f != 1.0) f += 0.1;
        double* row = steps.fine + i * kFineStride;
        for (int j = 0; j < kFineStride; ++j) {
            row[j] = f;
            if (f > 0) f -= 0.005;
        }
        a -= 0.1;
    }
    return steps;
}

constexpr SearchSteps kSearchSteps = MakeSearchSteps();

static_assert(kSearchSteps.coarse[kCoarseSteps - 2] > 0 && !(kSearchSteps.coarse[kCoarseSteps - 1] > 0),
              "the coarse search runs eleven times and ends below 0");
static_assert(!(kSearchSteps.fine[kFineStride - 1] > 0), "the longest row has its end");

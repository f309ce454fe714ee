// What colour the backdrop is: the commonest hue among clearly green pixels, the commonest saturation at that
// hue, and the mean level of the pixels that fit.
#include "engine/scalar/levels.h"

#include <cstdlib>

#include "engine/colour.h"
#include "engine/constants.h"
#include "engine/keying.h"
#include "engine/samples.h"

namespace keying {

namespace {

constexpr int kHistogramBins = 512;

template <class Sample>
struct Picture {
    Channels<const Sample> top;
    std::int64_t pixels;
    AnalysisLimits limits;
};

// Calls visit(hue and saturation at full brightness) for each clearly green pixel.
template <class Sample, class Visit>
void VisitClearlyGreen(const Picture<Sample>& picture, Visit visit) {
    for (std::int64_t i = 0; i < picture.pixels; ++i) {
        HueSat c;
        if (IsClearlyGreen(picture.limits, FetchLimited(picture.top, i, picture.limits.maxSample), &c))
            visit(c);
    }
}

// The fullest bin of first to last, the lowest of equals; otherwise, when all are empty.
double Peak(const std::int32_t* hist, int first, int last, double otherwise) {
    double peak = otherwise;
    std::int32_t best = 0;
    for (int i = first; i <= last; ++i) {
        if (hist[i] > best) {
            best = hist[i];
            peak = i;
        }
    }
    return peak;
}

template <class Sample>
double DominantHue(const Picture<Sample>& picture) {
    std::int32_t hist[kHistogramBins] = {};
    VisitClearlyGreen(picture, [&](const HueSat& c) {
        if (c.sat > kLevelsSmallestSat) ++hist[static_cast<int>(c.hue)];
    });
    return PeakHue(hist);
}

template <class Sample>
double DominantSat(const Picture<Sample>& picture, int domHue) {
    std::int32_t hist[kHistogramBins] = {};
    VisitClearlyGreen(picture, [&](const HueSat& c) {
        const bool near = HueGap(static_cast<int>(c.hue), domHue) < kHueGapLimit;
        if (near && c.sat > kLevelsSmallestSat) ++hist[static_cast<int>(c.sat * kSatSteps)];
    });
    return PeakSat(hist);
}

// Of the pixels of the dominant hue, at their own brightness and without the margin.
template <class Sample>
double MeanLevel(const Picture<Sample>& picture, int domHue) {
    double sum = 0;
    std::int64_t count = 0;
    for (std::int64_t i = 0; i < picture.pixels; ++i) {
        const Rgb seen = FetchLimited(picture.top, i, picture.limits.maxSample);
        if (!(seen.g > picture.limits.darkest && seen.b < seen.g && seen.r < seen.g)) continue;
        const HueSat c = HueSatOf(seen, 0);
        if (HueGap(static_cast<int>(c.hue), domHue) < kHueGapLimit && c.sat > kLevelsSmallestSat) {
            sum += seen.g;
            ++count;
        }
    }
    return MeanLevelOf(sum, count);
}

}  // namespace

AnalysisLimits LimitsOf(std::int32_t maxSample) {
    return {static_cast<double>(maxSample), kDarkest * LevelScale(maxSample),
            static_cast<double>(maxSample * kMargin)};
}

bool IsClearlyGreen(const AnalysisLimits& limits, const Rgb& seen, HueSat* atFullBrightness) {
    if (!(seen.g > limits.darkest)) return false;
    const double mx = Largest(seen.r, seen.g, seen.b);
    const Rgb full{limits.maxSample * seen.r / mx, limits.maxSample * seen.g / mx,
                   limits.maxSample * seen.b / mx};
    const double margin = limits.margin / mx;
    if (!(full.g - full.b > margin && full.g - full.r > margin)) return false;
    *atFullBrightness = HueSatOf(full, 0);
    return true;
}

int HueGap(int hue, int domHue) {
    const int gap = std::abs(hue - domHue);
    return gap > kHalfCircle ? gap - kHalfCircle : gap;
}

double PeakHue(const std::int32_t* hist) {
    return Peak(hist, 0, kFullCircle - 1, kDefaultHue);
}

double PeakSat(const std::int32_t* hist) {
    return Peak(hist, kFirstSatCandidate, kSatSteps - 1, kDefaultSat) / kSatSteps;
}

double MeanLevelOf(double sum, std::int64_t count) {
    return count >= 1 ? sum / static_cast<double>(count) : kDefaultLevel;
}

template <class Sample>
BackdropLevels MeasureLevels(const PlaneView<Sample>& planes, Workers*) {
    const Picture<Sample> picture{planes.top, std::int64_t{planes.width} * planes.height,
                                  LimitsOf(planes.maxSample)};
    const double domHue = DominantHue(picture);
    const int wholeHue = static_cast<int>(domHue);
    return {domHue, DominantSat(picture, wholeHue), MeanLevel(picture, wholeHue)};
}

template BackdropLevels MeasureLevels(const PlaneView<std::uint8_t>&, Workers*);
template BackdropLevels MeasureLevels(const PlaneView<std::uint16_t>&, Workers*);

}  // namespace keying

// What colour the backdrop is: the commonest hue among clearly green pixels, the commonest saturation at that
// hue, the mean level of the pixels that fit, and from these three numbers one global colour.
#include <cmath>
#include <cstdlib>

#include "engine/backdrop_grid.h"
#include "engine/colour.h"
#include "engine/keying.h"
#include "engine/samples.h"

namespace {

constexpr double kDefaultHue = 107.0;    // degrees, when no pixel qualifies
constexpr double kDefaultSat = 127.0;    // in steps of 1/200
constexpr double kDefaultLevel = 140.0;  // the same number at both depths on purpose
constexpr double kDarkest = 30;          // 8-bit levels
constexpr std::int32_t kMargin = 10;     // raw levels at every depth
constexpr double kSmallestSat = 0.2;
constexpr int kHistogramBins = 512;
constexpr int kSatSteps = 200;

template <class Sample>
struct Picture {
    LogicalPlanes<Sample> top;
    std::int64_t pixels;
    double maxSample;
    double darkest;
    double margin;  // kMargin times maxSample: divided by a pixel's largest channel, ten levels of that pixel
};

// Calls visit(hue and saturation of the pixel at full brightness) for each pixel that is not dark and whose
// key channel leads both others by the margin.
template <class Sample, class Visit>
void VisitClearlyGreen(const Picture<Sample>& picture, Visit visit) {
    for (std::int64_t i = 0; i < picture.pixels; ++i) {
        const Triple seen = FetchLimited(picture.top, i, picture.maxSample);
        if (!(seen.g > picture.darkest)) continue;
        const double mx = Largest(seen.r, seen.g, seen.b);
        const Triple full{picture.maxSample * seen.r / mx, picture.maxSample * seen.g / mx,
                          picture.maxSample * seen.b / mx};
        const double margin = picture.margin / mx;
        if (full.g - full.b > margin && full.g - full.r > margin) visit(HueSatOf(full, 0));
    }
}

// Whole degrees between two hues. The folding at 180 is not the shorter way around the circle: opposite hues
// count as close on purpose, and the saturation and level passes depend on it.
int HueGap(double hue, int domHue) {
    const int gap = std::abs(static_cast<int>(hue) - domHue);
    return gap > 180 ? gap - 180 : gap;
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
        if (c.sat > kSmallestSat) ++hist[static_cast<int>(c.hue)];
    });
    return Peak(hist, 0, 359, kDefaultHue);
}

// The bin of a saturation of exactly 1 is filled and never a candidate.
template <class Sample>
double DominantSat(const Picture<Sample>& picture, int domHue) {
    std::int32_t hist[kHistogramBins] = {};
    VisitClearlyGreen(picture, [&](const HueSat& c) {
        if (HueGap(c.hue, domHue) < 5 && c.sat > kSmallestSat) ++hist[static_cast<int>(c.sat * kSatSteps)];
    });
    return Peak(hist, 15, kSatSteps - 1, kDefaultSat) / kSatSteps;
}

// Mean key channel of the pixels of the dominant hue, at their own brightness and without the margin.
template <class Sample>
double MeanLevel(const Picture<Sample>& picture, int domHue) {
    double sum = 0;
    std::int64_t count = 0;
    for (std::int64_t i = 0; i < picture.pixels; ++i) {
        const Triple seen = FetchLimited(picture.top, i, picture.maxSample);
        if (!(seen.g > picture.darkest && seen.b < seen.g && seen.r < seen.g)) continue;
        const HueSat c = HueSatOf(seen, 0);
        if (HueGap(c.hue, domHue) < 5 && c.sat > kSmallestSat) {
            sum += seen.g;
            ++count;
        }
    }
    return count >= 1 ? sum / static_cast<double>(count) : kDefaultLevel;
}

// The inverse of HueSatOf for a colour whose largest channel is the key channel. A dominant hue of exactly
// 120 leaves the two others at the floor of 1 on purpose, however pale the backdrop is.
void SetBackdropMeans(Globals* globals, double domHue, double domSat) {
    const double level = globals->backdropMeanG;
    const double hueGap = std::fabs(120 - domHue);
    if (domHue < 120) {
        globals->backdropMeanB = level - level * domSat;
        globals->backdropMeanR = (level - globals->backdropMeanB) * hueGap / 60 + globals->backdropMeanB;
    } else if (domHue > 120 && domHue < 240) {
        globals->backdropMeanR = level - level * domSat;
        globals->backdropMeanB = (level - globals->backdropMeanR) * hueGap / 60 + globals->backdropMeanR;
    }
    for (double* mean : {&globals->backdropMeanR, &globals->backdropMeanG, &globals->backdropMeanB}) {
        if (*mean < 1) *mean = 1;  // later passes divide by them
    }
}

template <class Sample>
void MeasureMeans(Globals* globals) {
    const Picture<Sample> picture{TopPlanes<Sample>(globals),
                                  std::int64_t{globals->planeWidth} * globals->planeHeight,
                                  static_cast<double>(globals->maxSample), kDarkest * LevelScale(globals),
                                  static_cast<double>(globals->maxSample * kMargin)};
    const double domHue = DominantHue(picture);
    const int wholeHue = static_cast<int>(domHue);
    const double domSat = DominantSat(picture, wholeHue);
    globals->backdropMeanG = MeanLevel(picture, wholeHue);
    SetBackdropMeans(globals, domHue, domSat);
}

}  // namespace

void AnalyseBackdrop(Globals* globals) {
    globals->backdropMeanR = globals->backdropMeanG = globals->backdropMeanB = 0;
    if (globals->depthBytes == 1) {
        MeasureMeans<std::uint8_t>(globals);
    } else {
        MeasureMeans<std::uint16_t>(globals);
    }
    BuildBackdropGrid(globals);
}

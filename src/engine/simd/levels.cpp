// The analysis in whole numbers, in loops that the compiler turns into vectors.
//
// Samples are whole numbers, so that most of what the scalar reference asks of hue and saturation in doubles
// is a question about ratios of small whole numbers: with the key channel largest, the hue is 120 + 60 (b -
// r) / delta and the saturation delta / g. Where such a ratio is clear of every threshold, the answer is the
// plain variant's, whose rounding is smaller by far; where it is not, the pixel is given to the scalar
// reference.
#include <cstdint>
#include <cstring>

#include "engine/constants.h"
#include "engine/samples.h"
#include "engine/scalar/backdrop_grid.h"
#include "engine/scalar/levels.h"
#include "engine/simd/passes.h"

namespace keying::FROND_VARIANT {
namespace {

constexpr int kBlock = 1024;

// The hue of a clearly green pixel lies strictly between 60 and 180 degrees.
constexpr int kFirstHue = 60;
constexpr int kHues = 120;
constexpr int kSatBins = kSatSteps + 1;

// Clearly green pixels by hue, in degrees from kFirstHue, and saturation: the histograms of both passes in
// one. Twice, for pixels in turn: neighbours share a bin, and would wait for each other. Module-level for
// their size alone; one thread at a time enters the module.
std::int32_t gHueSatCounts[2][kHues * kSatBins];

std::int32_t CountOf(int bin) {
    return gHueSatCounts[0][bin] + gHueSatCounts[1][bin];
}

constexpr std::int32_t kNotCounted = -1;
constexpr std::int32_t kUnsettled = -2;

template <class Number>
Number Min(Number a, Number b) {
    return a < b ? a : b;
}

template <class Number>
Number Max(Number a, Number b) {
    return a > b ? a : b;
}

// What decides about the pixels of a block, as ratios: hue 60 turn / width, saturation width / height.
struct Ratios {
    std::int32_t turn[kBlock], width[kBlock], height[kBlock];
    std::int32_t mark[kBlock];  // 0, or one of the two marks above
};

// At full brightness the channels differ as the seen ones do, all scaled alike, so that hue, saturation and
// the margin of ten raw levels are ratios of seen channels. A lead of exactly ten is left to the scalar
// reference.
template <class Sample>
void FindRatios(const Sample* r, const Sample* g, const Sample* b, int n, std::int32_t maxSample,
                std::int32_t darkest, Ratios* ratios) {
    for (int i = 0; i < n; ++i) {
        const std::int32_t red = r[i], blue = b[i];
        const std::int32_t green = Min<std::int32_t>(g[i], maxSample);
        const std::int32_t lead = green - Max(red, blue);
        const bool candidate = (green > darkest) & (lead >= 10);
        ratios->turn[i] = candidate ? 60 * (blue - red) : 0;
        ratios->width[i] = candidate ? green - Min(red, blue) : 1;
        ratios->height[i] = candidate ? green : 1;
        ratios->mark[i] = candidate ? (lead > 10 ? 0 : kUnsettled) : kNotCounted;
    }
}

// The bin of each pixel, or one of the two marks. A ratio of samples is either whole or, at 8 bits, at least
// 1/255 from whole; at 16 bits it is rarely nearer. kNear catches the whole ones, whose doubles may have been
// rounded to either side, and covers the error of single precision, which is below 0.0001 here.
void FindBins(const Ratios& ratios, int n, std::int32_t* bins) {
    constexpr float kNear = 0.001f;
    for (int i = 0; i < n; ++i) {
        const float width = static_cast<float>(ratios.width[i]);
        const float hue = static_cast<float>(ratios.turn[i]) / width + 60.0f;
        const float sat = 200.0f * width / static_cast<float>(ratios.height[i]);
        const std::int32_t hueBin = static_cast<std::int32_t>(hue);
        const std::int32_t satBin = static_cast<std::int32_t>(sat);
        const float hueRest = hue - static_cast<float>(hueBin), satRest = sat - static_cast<float>(satBin);
        const float rest = Min(Min(hueRest, 1 - hueRest), Min(satRest, 1 - satRest));
        const std::int32_t bin = satBin >= kSatSteps / 5 ? hueBin * kSatBins + satBin : kNotCounted;
        const std::int32_t settled = rest > kNear ? bin : kUnsettled;
        bins[i] = ratios.mark[i] == 0 ? settled : ratios.mark[i];
    }
}

// The bin of a pixel as the scalar reference has it, or kNotCounted.
std::int32_t BinExactly(const AnalysisLimits& limits, const Rgb& seen) {
    HueSat c;
    if (!IsClearlyGreen(limits, seen, &c) || !(c.sat > kLevelsSmallestSat)) return kNotCounted;
    const int hueBin = static_cast<int>(c.hue) - kFirstHue, satBin = static_cast<int>(c.sat * kSatSteps);
    return hueBin * kSatBins + satBin;
}

// Bins worked out exactly, by colour: at 8 bits the same few thousand colours come again and again. A new one
// takes the place of another with the same hash; 0 is no colour.
struct BinCache {
    static constexpr unsigned kSizeBits = 12;
    std::uint32_t colour[1 << kSizeBits];
    std::int32_t bin[1 << kSizeBits];
} gBinCache;

std::int32_t CachedBin(const AnalysisLimits& limits, const Rgb& seen) {
    const std::uint32_t colour = 1u << 24 | static_cast<std::uint32_t>(seen.r) << 16 |
                                 static_cast<std::uint32_t>(seen.g) << 8 | static_cast<std::uint32_t>(seen.b);
    const std::uint32_t place = colour * 2654435761u >> (32 - BinCache::kSizeBits);
    if (gBinCache.colour[place] != colour) {
        gBinCache.bin[place] = BinExactly(limits, seen);
        gBinCache.colour[place] = colour;
    }
    return gBinCache.bin[place];
}

template <class Sample>
void CountHuesAndSats(const Channels<const Sample>& top, std::int64_t pixels, const AnalysisLimits& limits) {
    std::memset(gHueSatCounts, 0, sizeof gHueSatCounts);
    std::memset(&gBinCache, 0, sizeof gBinCache);
    const std::int32_t maxSample = static_cast<std::int32_t>(limits.maxSample);
    const std::int32_t darkest = static_cast<std::int32_t>(limits.darkest);
    Ratios ratios;
    std::int32_t bins[kBlock];
    for (std::int64_t first = 0; first < pixels; first += kBlock) {
        const int n = static_cast<int>(Min<std::int64_t>(kBlock, pixels - first));
        FindRatios(top.r + first, top.g + first, top.b + first, n, maxSample, darkest, &ratios);
        FindBins(ratios, n, bins);
        for (int i = 0; i < n; ++i) {
            if (bins[i] >= 0) {
                ++gHueSatCounts[i & 1][bins[i]];
            } else if (bins[i] == kUnsettled) {
                const Rgb seen = FetchLimited(top, first + i, limits.maxSample);
                const std::int32_t bin =
                    sizeof(Sample) == 1 ? CachedBin(limits, seen) : BinExactly(limits, seen);
                if (bin >= 0) ++gHueSatCounts[i & 1][bin];
            }
        }
    }
}

double DominantHue() {
    std::int32_t hist[360] = {};
    for (int hue = 0; hue < kHues; ++hue) {
        for (int sat = 0; sat < kSatBins; ++sat) hist[kFirstHue + hue] += CountOf(hue * kSatBins + sat);
    }
    return PeakHue(hist);
}

double DominantSat(int domHue) {
    std::int32_t hist[kSatBins] = {};
    for (int hue = 0; hue < kHues; ++hue) {
        if (HueGap(kFirstHue + hue, domHue) >= kHueGapLimit) continue;
        for (int sat = 0; sat < kSatBins; ++sat) hist[sat] += CountOf(hue * kSatBins + sat);
    }
    return PeakSat(hist);
}

struct LevelSum {
    std::int32_t sum, count;
};

// Whole numbers decide here: the doubles of a raw pixel are exact where its hue is whole, and clear of the
// whole degree by more than their rounding where it is not. The same holds for a saturation of a fifth.
template <class Sample>
LevelSum SumLevels(const Sample* r, const Sample* g, const Sample* b, int n, std::int32_t maxSample,
                   std::int32_t darkest, std::int32_t domHue) {
    const std::int32_t from = domHue - (kHueGapLimit - 1) - 120, below = domHue + kHueGapLimit - 120;
    LevelSum total = {0, 0};
    for (int i = 0; i < n; ++i) {
        const std::int32_t red = r[i], blue = b[i];
        const std::int32_t green = Min<std::int32_t>(g[i], maxSample);
        const std::int32_t delta = green - Min(red, blue), turn = 60 * (blue - red);
        const bool counts = (green > darkest) & (blue < green) & (red < green) & (turn >= from * delta) &
                            (turn < below * delta) & (5 * delta > green);
        total.sum += counts ? green : 0;
        total.count += counts ? 1 : 0;
    }
    return total;
}

template <class Sample>
double MeanLevel(const Channels<const Sample>& top, std::int64_t pixels, const AnalysisLimits& limits,
                 int domHue) {
    std::int64_t sum = 0, count = 0;
    for (std::int64_t first = 0; first < pixels; first += kBlock) {
        const int n = static_cast<int>(Min<std::int64_t>(kBlock, pixels - first));
        const LevelSum block = SumLevels(top.r + first, top.g + first, top.b + first, n,
                                         static_cast<std::int32_t>(limits.maxSample),
                                         static_cast<std::int32_t>(limits.darkest), domHue);
        sum += block.sum;
        count += block.count;
    }
    return MeanLevelOf(static_cast<double>(sum), count);
}

struct CellSum {
    std::int32_t r, g, b, count;
    std::int32_t unsettled;  // pixels for the scalar reference, in none of the other sums
};

// 60 (b - r) + (120 - levelHue) delta is the distance of the hue from levelHue, times delta. The margin of a
// thousandth of a degree covers single precision.
template <class Sample>
CellSum SumCell(const Sample* r, const Sample* g, const Sample* b, int n, std::int32_t maxSample,
                const GridLimits& limits, std::uint8_t* unsettled) {
    constexpr float kNear = 0.001f;
    const float offset = static_cast<float>(120 - limits.levelHue);
    const std::int32_t smallest = static_cast<std::int32_t>(limits.smallestLevel);
    CellSum total = {0, 0, 0, 0, 0};
    for (int i = 0; i < n; ++i) {
        const std::int32_t red = r[i], blue = b[i];
        const std::int32_t green = Min<std::int32_t>(g[i], maxSample);
        const std::int32_t delta = green - Min(red, blue), lead = green - Max(red, blue);
        const float width = static_cast<float>(delta);
        const float turn = static_cast<float>(60 * (blue - red)) + offset * width;
        const float distance = turn < 0 ? -turn : turn;
        const bool candidate = (lead > 20) & (2 * delta > green) & (green > smallest);
        const bool inside = candidate & (distance < (20 - kNear) * width);
        const bool open = candidate & !inside & (distance <= (20 + kNear) * width);
        total.r += inside ? red : 0;
        total.g += inside ? green : 0;
        total.b += inside ? blue : 0;
        total.count += inside ? 1 : 0;
        total.unsettled += open ? 1 : 0;
        unsettled[i] = open ? 1 : 0;
    }
    return total;
}

template <class Sample>
void AddRun(const Channels<const Sample>& top, std::int64_t first, int n, std::int32_t maxSample,
            const GridLimits& limits, std::int64_t cell, BackdropGrid* grid) {
    std::uint8_t unsettled[kBlock];
    const CellSum sum = SumCell(top.r + first, top.g + first, top.b + first, n, maxSample, limits, unsettled);
    grid->gridR[cell] += sum.r;
    grid->gridG[cell] += sum.g;
    grid->gridB[cell] += sum.b;
    grid->gridCount[cell] += sum.count;
    if (sum.unsettled == 0) return;
    for (int i = 0; i < n; ++i) {
        if (unsettled[i]) AddIfBackdrop(FetchLimited(top, first + i, maxSample), limits, cell, grid);
    }
}

// The first column whose x * kGridSide / width is the cell, or the next cell's where there is none.
std::int64_t FirstColumnOf(std::int64_t cell, std::int64_t width) {
    return (cell * width + kGridSide - 1) / kGridSide;
}

}  // namespace

template <class Sample>
BackdropLevels MeasureLevels(const PlaneView<Sample>& planes) {
    const std::int64_t pixels = std::int64_t{planes.width} * planes.height;
    const AnalysisLimits limits = LimitsOf(planes.maxSample);
    CountHuesAndSats(planes.top, pixels, limits);
    const double domHue = DominantHue();
    const int wholeHue = static_cast<int>(domHue);
    return {domHue, DominantSat(wholeHue), MeanLevel(planes.top, pixels, limits, wholeHue)};
}

// Sums of samples are whole numbers below 2^53, so that the order of the additions does not matter.
template <class Sample>
void AddGridPixels(const PlaneView<Sample>& planes, const GridLimits& limits, BackdropGrid* grid) {
    const std::int64_t width = planes.width, height = planes.height;
    for (std::int64_t y = 0; y < height; ++y) {
        const std::int64_t cellRow = y * kGridSide / height;
        for (std::int64_t column = 0; column < kGridSide; ++column) {
            const std::int64_t end = FirstColumnOf(column + 1, width);
            for (std::int64_t x = FirstColumnOf(column, width); x < end; x += kBlock) {
                AddRun(planes.top, y * width + x, static_cast<int>(Min<std::int64_t>(kBlock, end - x)),
                       planes.maxSample, limits, cellRow * kGridSide + column, grid);
            }
        }
    }
}

template BackdropLevels MeasureLevels(const PlaneView<std::uint8_t>&);
template BackdropLevels MeasureLevels(const PlaneView<std::uint16_t>&);
template void AddGridPixels(const PlaneView<std::uint8_t>&, const GridLimits&, BackdropGrid*);
template void AddGridPixels(const PlaneView<std::uint16_t>&, const GridLimits&, BackdropGrid*);

}  // namespace keying::FROND_VARIANT

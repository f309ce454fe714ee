// The levels of the backdrop in whole numbers and in single precision, which samples, their products with
// degrees and their sums are exact in.
//
// Samples are whole numbers. Most comparisons of hue and saturation in the scalar reference are thus
// comparisons of ratios of small whole numbers: with the key channel largest, the hue is 120 + 60 (b - r) /
// delta and the saturation delta / g. Where such a ratio is clear of every threshold, the result is the
// scalar reference's, whose rounding is smaller by far. The other pixels get the scalar reference's doubles.
#include "engine/scalar/levels.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "engine/constants.h"
#include "engine/samples.h"
#include "engine/simd/passes.h"
#include "engine/simd/vec.h"
#include "engine/simd/whole_numbers.h"

namespace keying::FROND_VARIANT {
namespace {

// The hue of a clearly green pixel is strictly between 60 and 180 degrees.
constexpr int kFirstHue = kKeyHue - kHueSector;
constexpr int kHues = 2 * kHueSector;
constexpr int kSatBins = kSatSteps + 1;

// Pixels of a worker's band: whole blocks.
constexpr std::int64_t kPixelsOfBand = 64 * kBlock;

// Pixels that are counted at a time: as many as a word has bits.
constexpr int kPixels = 64;

// In place of a bin, so that the loop over the lanes has no branch. It is a saturation of 0, which is too
// small to be counted. Nobody reads the bins below kFirstSatBin.
constexpr int kNotCounted = 0;
constexpr int kFirstSatBin = kSatSteps / kLevelsInverseSat;  // whole

// What one measurement works with, 0 at the start. It is too large for the stack of a host's thread.
struct Workspace {
    // Clearly green pixels by hue, in degrees from kFirstHue, and saturation: the histograms of both passes
    // in one. There are four, for pixels in turn: neighbours share a bin, and would wait for each other.
    std::int32_t counts[4][kHues * kSatBins];

    std::int32_t CountOf(int bin) const {
        return counts[0][bin] + counts[1][bin] + counts[2][bin] + counts[3][bin];
    }
};

// n is a multiple of four. The bins come from memory: a count that follows the computation of its bin at once
// holds up the vectors of the next pixels.
void AddBins(const std::int32_t* bins, int n, Workspace* work) {
    for (int i = 0; i < n; i += 4) {
        for (int j = 0; j < 4; ++j) ++work->counts[j][bins[i + j]];
    }
}

// The bins of pixels, and which of them are sure. The others are kNotCounted.
struct FoundBins {
    Floats bin;
    FloatMask sure;
};

// Of pixels that lead by more than kMargin. turn: b - r; width: the largest channel less the smallest, or 0
// for a pixel that is not to be counted.
//
// At full brightness the channels differ as the seen ones do, all scaled alike, so that hue, saturation and
// the margin kMargin are ratios of seen channels. A ratio of samples is either whole or, at 8 bits, at least
// 1/255 from whole; at 16 bits it is rarely nearer. kNear catches the whole ones, whose doubles may have been
// rounded to either side, and covers the error of single precision, which is below 0.0001 here.
//
// Half a bin is subtracted. The nearest whole number then is the bin, and its distance is 0.5 between two
// bins. A width of 0 is never sure: its saturation is between two bins, or NaN.
FoundBins FindBins(Floats turn, Floats width, Floats G) {
    constexpr float kNear = 0.001f, kMost = 0.5f - kNear;
    constexpr float kToWhole = 3 << 22;  // floats from 2^23 to 2^24 are whole
    const Floats hue = kHueSector * turn / width + (kKeyHue - kFirstHue - 0.5f);
    const Floats sat = kSatSteps * width / G - 0.5f;
    const Floats hueBin = hue + kToWhole - kToWhole, satBin = sat + kToWhole - kToWhole;
    const Floats hueRest = hue - hueBin, satRest = sat - satBin;
    const FloatMask sure = Max(hueRest * hueRest, satRest * satRest) < kMost * kMost;
    return {Only(sure, hueBin * kSatBins + satBin), sure};
}

// Colours whose bins are not sure, from all over a band.
template <class Sample>
struct Undecided {
    static constexpr int kMost = 4 * kPixels;
    Sample r[kMost], g[kMost], b[kMost];
};

// The bins of colours as the scalar reference has them, or kNotCounted. The operations are its own except for
// those whose result is known. At full brightness the key channel is maxSample. A lead above kMargin is clear
// of the margin. The smallest channel is kHueSector away, or the next double, and kHalfCircle more is exactly
// kThirdHue.
Doubles BinsExactly(const AnalysisLimits& limits, Doubles r, Doubles seenG, Doubles b) {
    const Doubles full = limits.maxSample, g = Min(seenG, full);
    const Doubles fullR = full * r / g, fullB = full * b / g;
    DoubleMask clearlyGreen = g - Max(r, b) > kMargin;
    if (!All(clearlyGreen)) {
        const Doubles margin = limits.margin / g;
        clearlyGreen = (full - fullB > margin) & (full - fullR > margin);
    }
    const Doubles delta = full - Min(fullR, fullB), smallest = kThirdHue;
    const Doubles larger = (full - Max(fullR, fullB)) * kHueSector / delta + kHalfCircle;
    const DoubleMask redIsSmaller = fullR < fullB;
    const Doubles hue =
        kKeyHue + Select(redIsSmaller, smallest, larger) - Select(redIsSmaller, larger, smallest);
    const Doubles sat = delta / full;
    const Doubles bin = (Truncate(hue) - kFirstHue) * kSatBins + Truncate(sat * kSatSteps);
    return Select(clearlyGreen & (sat > kLevelsSmallestSat), bin, kNotCounted);
}

// n colours. Black ones are appended to fill the last vector.
template <class Sample>
void CountUndecided(const AnalysisLimits& limits, int n, Undecided<Sample>* colours, Workspace* work) {
    for (; n % kFloats != 0; ++n) colours->r[n] = colours->g[n] = colours->b[n] = 0;
    const auto bins = [&](int i) {
        return BinsExactly(limits, LoadDoubles(colours->r + i), LoadDoubles(colours->g + i),
                           LoadDoubles(colours->b + i));
    };
    std::int32_t bin[Undecided<Sample>::kMost];
    for (int i = 0; i < n; i += kFloats) StoreWhole(bin + i, Narrow(bins(i), bins(i + kDoubles)));
    AddBins(bin, n, work);
}

// Finds the bins of kPixels pixels and adds those that are sure. Returns which pixels are undecided.
template <class Sample>
std::uint64_t AddSureBins(const Sample* r, const Sample* g, const Sample* b, const AnalysisLimits& limits,
                          Workspace* work) {
    using Lanes = Whole<Sample>;
    const auto same = [](double v) { return Lanes(static_cast<typename WholeOf<Sample>::Number>(v)); };
    const Lanes most = same(limits.maxSample), darkest = same(limits.darkest);
    std::int32_t bins[kPixels];
    int n = 0;
    std::uint64_t undecided = 0;
    for (int i = 0; i < kPixels; i += kWhole<Sample>) {
        const Lanes R = LoadWhole(r + i), G = Min(LoadWhole(g + i), most), B = LoadWhole(b + i);
        const Lanes turn = B - R, lead = G - Max(R, B);
        const auto candidate = (G > darkest) & (lead > same(kMargin - 1));
        if (!Any(candidate)) continue;
        const Lanes width = Only(candidate & (lead > same(kMargin)), G - Min(R, B));
        unsigned sure = 0;
        for (int lane = 0; lane < kWhole<Sample>; lane += kFloats, n += kFloats) {
            const FoundBins found =
                FindBins(FloatsFrom(turn, lane), FloatsFrom(width, lane), FloatsFrom(G, lane));
            StoreWhole(bins + n, found.bin);
            sure |= Bits(found.sure) << lane;
        }
        undecided |= std::uint64_t{Bits(candidate) & ~sure} << i;
    }
    AddBins(bins, n, work);
    return undecided;
}

// The last pixels of a picture, followed by black ones.
template <class Sample>
struct LastPixels {
    Sample r[kPixels] = {}, g[kPixels] = {}, b[kPixels] = {};

    LastPixels(const Channels<const Sample>& top, std::int64_t first, std::int64_t n) {
        const std::size_t bytes = sizeof(Sample) * static_cast<std::size_t>(n);
        std::memcpy(r, top.r + first, bytes);
        std::memcpy(g, top.g + first, bytes);
        std::memcpy(b, top.b + first, bytes);
    }
};

template <class Sample>
void CountHuesAndSats(const Channels<const Sample>& top, std::int64_t from, std::int64_t to,
                      const AnalysisLimits& limits, Workspace* work) {
    const std::int64_t whole = from + (to - from) / kPixels * kPixels;
    const LastPixels<Sample> last(top, whole, to - whole);
    Undecided<Sample> colours;
    int n = 0;
    for (std::int64_t i = from; i < to; i += kPixels) {
        const Sample *r = top.r + i, *g = top.g + i, *b = top.b + i;
        if (i == whole) {
            r = last.r;
            g = last.g;
            b = last.b;
        }
        for (std::uint64_t undecided = AddSureBins(r, g, b, limits, work); undecided != 0;
             undecided &= undecided - 1) {
            const int pixel = __builtin_ctzll(undecided);
            colours.r[n] = r[pixel];
            colours.g[n] = g[pixel];
            colours.b[n] = b[pixel];
            ++n;
        }
        if (n > colours.kMost - kPixels || i + kPixels >= to) {
            CountUndecided(limits, n, &colours, work);
            n = 0;
        }
    }
}

void AddCounts(const Workspace& from, Workspace* to) {
    for (int bin = 0; bin < kHues * kSatBins; ++bin) to->counts[0][bin] += from.CountOf(bin);
}

double DominantHue(const Workspace& work) {
    std::int32_t hist[kFullCircle] = {};
    for (int hue = 0; hue < kHues; ++hue) {
        for (int sat = kFirstSatBin; sat < kSatBins; ++sat)
            hist[kFirstHue + hue] += work.CountOf(hue * kSatBins + sat);
    }
    return PeakHue(hist);
}

double DominantSat(const Workspace& work, int domHue) {
    std::int32_t hist[kSatBins] = {};
    for (int hue = 0; hue < kHues; ++hue) {
        if (HueGap(kFirstHue + hue, domHue) >= kHueGapLimit) continue;
        for (int sat = kFirstSatBin; sat < kSatBins; ++sat) hist[sat] += work.CountOf(hue * kSatBins + sat);
    }
    return PeakSat(hist);
}

struct LevelSum {
    double sum = 0;
    std::int64_t count = 0;
};

// Adds n pixels, kMostAdded vectors at most. The doubles of a raw pixel are exact where its hue is whole, and
// clear of the whole degree by more than their rounding where it is not. The same holds for the least
// saturation.
template <class Sample>
void AddLevels(const Sample* r, const Sample* g, const Sample* b, std::int64_t n,
               const AnalysisLimits& limits, std::int32_t domHue, LevelSum* total) {
    using Lanes = Whole<Sample>;
    const auto same = [](double v) { return Lanes(static_cast<typename WholeOf<Sample>::Number>(v)); };
    const Lanes most = same(limits.maxSample), darkest = same(limits.darkest);
    const Lanes from = same(domHue - (kHueGapLimit - 1) - kKeyHue),
                to = same(domHue + kHueGapLimit - kKeyHue);
    Lanes sum = 0, count = 0;
    for (std::int64_t i = 0; i < n; i += kWhole<Sample>) {
        const Lanes R = LoadWhole(r + i, n - i), B = LoadWhole(b + i, n - i);
        const Lanes G = Min(LoadWhole(g + i, n - i), most);
        const Lanes delta = G - Min(R, B), turn = same(kHueSector) * (B - R);
        const auto counts = (G > darkest) & (Max(R, B) < G) & (turn >= from * delta) & (turn < to * delta) &
                            (same(kLevelsInverseSat) * delta > G);
        sum = sum + Only(counts, G);
        count = count + Only(counts, 1);
    }
    total->sum += SumOf(sum);
    total->count += static_cast<std::int64_t>(SumOf(count));
}

template <class Sample>
double MeanLevel(const Channels<const Sample>& top, std::int64_t pixels, const AnalysisLimits& limits,
                 int domHue, Workers* workers) {
    LevelSum sums[kMostWorkers];
    ForBands(workers, pixels, kPixelsOfBand, [&](std::int32_t worker, std::int64_t from, std::int64_t to) {
        LevelSum total;
        constexpr std::int64_t kSummed = kMostAdded * kWhole<Sample>;
        for (std::int64_t first = from; first < to; first += kSummed) {
            const std::int64_t n = Min(kSummed, to - first);
            AddLevels(top.r + first, top.g + first, top.b + first, n, limits, domHue, &total);
        }
        sums[worker].sum += total.sum;
        sums[worker].count += total.count;
    });
    for (std::int32_t i = 1; i < workers->Count(); ++i) {
        sums[0].sum += sums[i].sum;
        sums[0].count += sums[i].count;
    }
    return MeanLevelOf(sums[0].sum, sums[0].count);
}

}  // namespace

// Each worker counts for itself; counts are whole numbers and can be added in any order. Without memory the
// scalar reference measures.
template <class Sample>
BackdropLevels MeasureLevels(const PlaneView<Sample>& planes, Workers* workers) {
    const std::size_t count = static_cast<std::size_t>(workers->Count());
    Workspace* work = static_cast<Workspace*>(std::calloc(count, sizeof(Workspace)));
    if (work == nullptr) return keying::MeasureLevels(planes, workers);
    const std::int64_t pixels = std::int64_t{planes.width} * planes.height;
    const AnalysisLimits limits = LimitsOf(planes.maxSample);
    ForBands(workers, pixels, kPixelsOfBand, [&](std::int32_t worker, std::int64_t from, std::int64_t to) {
        CountHuesAndSats(planes.top, from, to, limits, &work[worker]);
    });
    for (std::size_t i = 1; i < count; ++i) AddCounts(work[i], work);
    const double domHue = DominantHue(*work);
    const int wholeHue = static_cast<int>(domHue);
    const double domSat = DominantSat(*work, wholeHue);
    std::free(work);
    return {domHue, domSat, MeanLevel(planes.top, pixels, limits, wholeHue, workers)};
}

template BackdropLevels MeasureLevels(const PlaneView<std::uint8_t>&, Workers*);
template BackdropLevels MeasureLevels(const PlaneView<std::uint16_t>&, Workers*);

}  // namespace keying::FROND_VARIANT

// The levels of the backdrop in whole numbers and in single precision, which samples, their products with
// degrees and their sums are exact in.
//
// Samples are whole numbers. Most comparisons of hue and saturation in the scalar reference are thus
// comparisons of ratios of small whole numbers: with the key channel largest, the hue is 120 + 60 (b - r) /
// delta and the saturation delta / g. Where such a ratio is clear of every threshold, the result is the
// scalar reference's, whose rounding is smaller by far. The other pixels go to the scalar reference.
#include "engine/scalar/levels.h"

#include <cstdint>
#include <cstdlib>

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

// In place of a bin, so that the loop over the lanes has no branch: one more, which nobody reads.
constexpr std::int32_t kNotCounted = kHues * kSatBins;

// Exact bins by colour: at 8 bits the same few thousand colours come again and again. A new one takes the
// place of another with the same hash; 0 is no colour.
struct BinCache {
    static constexpr unsigned kSizeBits = 12;
    std::uint32_t colour[1 << kSizeBits];
    std::int32_t bin[1 << kSizeBits];
};

// What one measurement works with, 0 at the start. It is too large for the stack of a host's thread.
struct Workspace {
    // Clearly green pixels by hue, in degrees from kFirstHue, and saturation: the histograms of both passes
    // in one. There are four, for pixels in turn: neighbours share a bin, and would wait for each other.
    std::int32_t counts[4][kNotCounted + 1];
    BinCache cache;

    std::int32_t CountOf(int bin) const {
        return counts[0][bin] + counts[1][bin] + counts[2][bin] + counts[3][bin];
    }
};

// The bins of pixels, and which of them the scalar reference has to find.
struct FoundBins {
    Floats bin;
    FloatMask undecided;
};

// The bins of the candidates among some pixels, and kNotCounted for the others. lead: of the key channel.
//
// At full brightness the channels differ as the seen ones do, all scaled alike, so that hue, saturation and
// the margin kMargin are ratios of seen channels. A lead of exactly kMargin goes to the scalar reference. A
// ratio of samples is either whole or, at 8 bits, at least 1/255 from whole; at 16 bits it is rarely nearer.
// kNear catches the whole ones, whose doubles may have been rounded to either side, and covers the error of
// single precision, which is below 0.0001 here.
FoundBins FindBins(Floats R, Floats G, Floats B, Floats lead, FloatMask candidate) {
    constexpr float kNear = 0.001f;
    constexpr int kFirstSatBin = kSatSteps / kLevelsInverseSat;  // whole
    const Floats width = G - Min(R, B);
    const Floats hue = kHueSector * (B - R) / width + (kKeyHue - kFirstHue), hueBin = Truncate(hue);
    const Floats sat = kSatSteps * width / G, satBin = Truncate(sat);
    const Floats hueRest = hue - hueBin, satRest = sat - satBin;
    const Floats rest = Min(Min(hueRest, 1 - hueRest), Min(satRest, 1 - satRest));
    const FloatMask decided = candidate & (lead > kMargin) & (rest > kNear);
    return {Select(decided & (satBin >= kFirstSatBin), hueBin * kSatBins + satBin, kNotCounted),
            candidate & !decided};
}

// The bin of a pixel as the scalar reference has it, or kNotCounted.
std::int32_t BinExactly(const AnalysisLimits& limits, const Rgb& seen) {
    HueSat c;
    if (!IsClearlyGreen(limits, seen, &c) || !(c.sat > kLevelsSmallestSat)) return kNotCounted;
    const int hueBin = static_cast<int>(c.hue) - kFirstHue, satBin = static_cast<int>(c.sat * kSatSteps);
    return hueBin * kSatBins + satBin;
}

// The same for the pixel at index i.
std::int32_t ExactBin(const Channels<const std::uint16_t>& top, std::int64_t i, const AnalysisLimits& limits,
                      BinCache*) {
    return BinExactly(limits, FetchLimited(top, i, limits.maxSample));
}

std::int32_t ExactBin(const Channels<const std::uint8_t>& top, std::int64_t i, const AnalysisLimits& limits,
                      BinCache* cache) {
    const std::uint32_t colour =
        1u << 24 | std::uint32_t{top.r[i]} << 16 | std::uint32_t{top.g[i]} << 8 | std::uint32_t{top.b[i]};
    const std::uint32_t place = colour * 2654435761u >> (32 - BinCache::kSizeBits);
    if (cache->colour[place] != colour) {
        cache->bin[place] = BinExactly(limits, FetchLimited(top, i, limits.maxSample));
        cache->colour[place] = colour;
    }
    return cache->bin[place];
}

// Counts n pixels from index `first` on, 64 at most. One loop over the undecided ones of all of them ends
// less often where the processor does not expect it than one for each vector.
template <class Sample>
void CountPixels(const Channels<const Sample>& top, std::int64_t first, int n, const AnalysisLimits& limits,
                 Workspace* work) {
    const Floats most = static_cast<float>(limits.maxSample), darkest = static_cast<float>(limits.darkest);
    std::uint64_t undecided = 0;
    for (int i = 0; i < n; i += kFloats) {
        const std::int64_t at = first + i;
        const Floats R = LoadFloats(top.r + at, n - i), B = LoadFloats(top.b + at, n - i);
        const Floats G = Min(LoadFloats(top.g + at, n - i), most), lead = G - Max(R, B);
        const FloatMask candidate = (G > darkest) & (lead >= kMargin);
        if (!Any(candidate)) continue;
        const FoundBins found = FindBins(R, G, B, lead, candidate);
        std::int32_t bins[kFloats];
        StoreWhole(bins, found.bin);
        for (int j = 0; j < kFloats; ++j) ++work->counts[j % 4][bins[j]];
        undecided |= std::uint64_t{Bits(found.undecided)} << i;
    }
    for (; undecided != 0; undecided &= undecided - 1) {
        const int i = __builtin_ctzll(undecided);
        ++work->counts[i % 4][ExactBin(top, first + i, limits, &work->cache)];
    }
}

template <class Sample>
void CountHuesAndSats(const Channels<const Sample>& top, std::int64_t from, std::int64_t to,
                      const AnalysisLimits& limits, Workspace* work) {
    for (std::int64_t i = from; i < to; i += 64)
        CountPixels(top, i, static_cast<int>(Min<std::int64_t>(64, to - i)), limits, work);
}

void AddCounts(const Workspace& from, Workspace* to) {
    for (int bin = 0; bin < kHues * kSatBins; ++bin) to->counts[0][bin] += from.CountOf(bin);
}

double DominantHue(const Workspace& work) {
    std::int32_t hist[kFullCircle] = {};
    for (int hue = 0; hue < kHues; ++hue) {
        for (int sat = 0; sat < kSatBins; ++sat) hist[kFirstHue + hue] += work.CountOf(hue * kSatBins + sat);
    }
    return PeakHue(hist);
}

double DominantSat(const Workspace& work, int domHue) {
    std::int32_t hist[kSatBins] = {};
    for (int hue = 0; hue < kHues; ++hue) {
        if (HueGap(kFirstHue + hue, domHue) >= kHueGapLimit) continue;
        for (int sat = 0; sat < kSatBins; ++sat) hist[sat] += work.CountOf(hue * kSatBins + sat);
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

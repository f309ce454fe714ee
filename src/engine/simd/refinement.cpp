// The refinement of a row and the pixel step after it, many pixels at a time.
#include <cstring>

#include "engine/constants.h"
#include "engine/samples.h"
#include "engine/scalar/output.h"
#include "engine/simd/output.h"
#include "engine/simd/passes.h"
#include "engine/simd/refinement_window.h"
#include "engine/simd/uniform_groups.h"
#include "engine/simd/vec.h"

namespace keying::FROND_VARIANT {
namespace {

constexpr int kStreamRoom = kSpan + 2 * kDoubles + 8;
// A narrower picture reads on into the next ring row, and the scalar reference refines it.
constexpr std::int32_t kNarrowest = 16;

// The refined colours of the pixels from x on. differences: the stream from entry x on.
Colours RefinePixels(const KeyRun& run, const Window& window, std::int32_t x, const double* differences) {
    const RowRing& ring = run.ring;
    const std::size_t centre = window.centre + static_cast<std::size_t>(x);
    Doubles sumDiff = 0;
    for (int i = 0; i <= 2 * window.radius; ++i) sumDiff = sumDiff + Load(differences + i);

    const Doubles a = Load(ring.ringAlpha + centre);
    Colours comp{Load(ring.ringFgR + centre) * a + (1 - a) * Load(ring.ringBottomR + centre),
                 Load(ring.ringFgG + centre) * a + (1 - a) * Load(ring.ringBottomG + centre),
                 Load(ring.ringFgB + centre) * a + (1 - a) * Load(ring.ringBottomB + centre)};
    const DoubleMask kept = (sumDiff < kKeptDifference) | (a > kKeptAlpha);
    if (Any(FirstLanes<double>(run.width - x) & !kept)) {
        ColourStream stream;
        FillColours(window, x, &stream);
        const Doubles den = WeightedSum(stream.weight, window.radius);
        comp.r = Select(kept, comp.r, WeightedSum(stream.r, window.radius) / den);
        comp.g = Select(kept, comp.g, WeightedSum(stream.g, window.radius) / den);
        comp.b = Select(kept, comp.b, WeightedSum(stream.b, window.radius) / den);
    }
    comp.r = Max(Min(comp.r, run.maxSample), 0);
    comp.g = Max(Min(comp.g, run.maxSample), 0);
    comp.b = Max(Min(comp.b, run.maxSample), 0);
    return comp;
}

// Where every cell of the window has the same alpha, 0 or 1, the result is one of the layers unchanged.
template <class Sample>
void WriteUniformWindow(const KeyRun& run, const PlaneView<Sample>& row, int from, int to, GroupKind kind) {
    const Sample most = static_cast<Sample>(run.maxSample);
    const auto copy = [&](Sample* out, const Sample* layer) {
        for (int x = from; x < to; ++x) out[x] = layer[x] > most ? most : layer[x];
    };
    if (kind == kBackdrop) {
        copy(row.out.r, row.bottom.r);
        copy(row.out.g, row.bottom.g);
        copy(row.out.b, row.bottom.b);
    } else {
        copy(row.out.r, row.top.r);
        copy(row.out.g, row.top.g);
        Sample* const outG = row.out.g;
        for (int x = from; x < to; ++x) outG[x] = outG[x] == 0 ? 1 : outG[x];
        copy(row.out.b, row.top.b);
    }
    std::memcpy(row.out.a + from, row.top.a + from, sizeof(Sample) * static_cast<unsigned>(to - from));
}

// The kinds of a span's groups in the refined row: mixed unless the whole window over the group is of one
// kind. A window reaches into the groups on either side.
void FindWindowKinds(const KeyRun& run, const Window& window, std::int32_t x0, int n, GroupKind* kinds) {
    const std::int32_t groups = (run.width + kFloats - 1) / kFloats;
    const std::int32_t first = x0 / kFloats, last = (x0 + n - 1) / kFloats;
    // What the groups of a column have in common, from the one before `first` to the one after `last`.
    unsigned column[kSpan / kFloats + 2];
    for (std::int32_t group = first - 1; group <= last + 1; ++group) {
        unsigned common = kBackdrop | kForeground;
        if (group >= 0 && group < groups) {
            for (int i = 0; i < window.rows; ++i) common &= KindsOfRow(run, window.slot[i])[group];
        }
        column[group - first + 1] = common;
    }
    for (int i = 0; i <= last - first; ++i) {
        kinds[i] = static_cast<GroupKind>(column[i] & column[i + 1] & column[i + 2]);
    }
}

// Refines and writes pixels x0 to x0 + n of the row.
template <class Sample>
void RefineSpan(const KeyRun& run, const Window& window, const PlaneView<Sample>& row, std::int32_t x0,
                int n) {
    const RowRing& ring = run.ring;
    const std::size_t newestRow = RingRow(ring, ring.ringSlot);
    double differences[kStreamRoom];
    FillDifferences(window, x0, n, differences);
    for (int i = 0; i < n; i += kDoubles) {
        const std::int32_t x = x0 + i;
        const int left = n - i;
        const std::size_t newest = newestRow + static_cast<std::size_t>(x);
        Colours comp = RefinePixels(run, window, x, differences + i);
        LiftSoftEdges(run, newest, &comp);
        Doubles alpha = LoadSamples(row.top.a + x, left);
        if (run.outputAlpha) {
            comp = {LimitTo(Load(ring.ringFgR + newest), kLeastVisible, run.maxSample),
                    LimitTo(Load(ring.ringFgG + newest), kLeastVisible, run.maxSample),
                    LimitTo(Load(ring.ringFgB + newest), kLeastVisible, run.maxSample)};
            alpha = alpha * Load(ring.ringAlpha + newest);
        }
        StoreSamples(row.out.r + x, comp.r, left);
        StoreSamples(row.out.g + x, comp.g, left);
        StoreSamples(row.out.b + x, comp.b, left);
        StoreSamples(row.out.a + x, alpha, left);
    }
}

}  // namespace

template <class Sample>
void WriteRefinedRow(const KeyRun& run, const PlaneView<Sample>& row, std::int32_t y) {
    if (run.width < kNarrowest) {
        keying::WriteRefinedRow(run, row, y);
        return;
    }
    const Window window = WindowOf(run, y);
    GroupKind kinds[kSpan / kFloats];
    for (std::int32_t x0 = 0; x0 < run.width; x0 += kSpan) {
        const int n = run.width - x0 < kSpan ? run.width - x0 : kSpan;
        FindWindowKinds(run, window, x0, n, kinds);
        ForEachRun(kinds, n, [&](int from, int to, GroupKind kind) {
            if (kind == kMixed) {
                RefineSpan(run, window, row, x0 + from, to - from);
            } else {
                WriteUniformWindow(run, row, x0 + from, x0 + to, kind);
            }
        });
    }
}

template void WriteRefinedRow(const KeyRun&, const PlaneView<std::uint8_t>&, std::int32_t);
template void WriteRefinedRow(const KeyRun&, const PlaneView<std::uint16_t>&, std::int32_t);

}  // namespace keying::FROND_VARIANT

// A row's turn, many pixels at a time: fetch, keying and, where edges are blended, the direct writer in one
// sweep over short spans, while they are in the first cache. The ring is filled only where the refinement
// reads it.
//
// Most pixels of a photograph before a backdrop are settled without a division: what is plainly backdrop,
// what is backdrop by its shape, what is plainly foreground. The rest is packed, and keyed in full vectors.
#include "engine/scalar/fetch_and_key.h"
#include "engine/key_run.h"
#include "engine/keying.h"
#include "engine/samples.h"
#include "engine/simd/classify.h"
#include "engine/simd/output.h"
#include "engine/simd/passes.h"
#include "engine/simd/search_f32.h"
#include "engine/simd/uniform_groups.h"
#include "engine/simd/vec.h"

namespace keying::FROND_VARIANT {
namespace {

// The interpolation along one row of one channel of the grid. A vector may run on into the columns of the
// next cell, which writes them again.
void FillChannel(const KeyRun& run, const double* table, const GridPlace& row, std::int32_t x0, int n,
                 double* level) {
    const V rowLow = Set(row.low), rowHigh = Set(row.high);
    const V limit = Set(255 * run.levelScale), adjust = Set(run.sAdjust);
    ForCells(run.columns, table, row, x0, n, [&](const double* c, int from, int to) {
        const V c00 = Set(c[0]), c01 = Set(c[1]), c10 = Set(c[kGridSide]), c11 = Set(c[kGridSide + 1]);
        for (int x = from; x < to; x += kLanes) {
            const V low = Load(run.columns.low + x0 + x), high = Load(run.columns.high + x0 + x);
            const V value =
                c00 * low * rowLow + c01 * high * rowLow + c10 * low * rowHigh + c11 * high * rowHigh;
            Store(level + x, LimitHigh(DivideBy<25, 4>(value * adjust), limit));
        }
    });
}

void FillBackdrop(const KeyRun& run, const GridPlace& row, std::int32_t x0, int from, int to, Span* span) {
    FillChannel(run, run.grid->gridR, row, x0 + from, to - from, span->bgR + from);
    FillChannel(run, run.grid->gridG, row, x0 + from, to - from, span->bgG + from);
    FillChannel(run, run.grid->gridB, row, x0 + from, to - from, span->bgB + from);
}

F NarrowAt(const double* p) {
    return Narrow(Load(p), Load(p + kLanes));
}

void FindQueueSteps(const KeyRun& run, const Queue& queue, float* coarse, float* fine) {
    const SearchConstants quick = SearchConstantsOf(run);
    for (int i = 0; i < queue.count; i += kFloats) {
        const F R = NarrowAt(queue.R + i), B = NarrowAt(queue.B + i);
        const FM blue = Greater(B, R);
        const FoundSteps found =
            FindSteps(quick, {R, NarrowAt(queue.G + i), B, NarrowAt(queue.bgR + i), NarrowAt(queue.bgG + i),
                              NarrowAt(queue.bgB + i), blue, run.blueLogic ? blue : LessEqual(B, R)});
        Store(coarse + i, found.coarse);
        Store(fine + i, found.fine);
    }
}

// Keys what was packed and puts the results to their places in the span.
void KeyQueued(const KeyRun& run, Queue* queue, bool search, Span* span) {
    alignas(64) float coarse[kSpanRoom + kFloats], fine[kSpanRoom + kFloats];
    if (search) FindQueueSteps(run, *queue, coarse, fine);
    for (int i = 0; i < queue->count; i += kLanes) {
        PixelLanes p{Load(queue->R + i),
                     Load(queue->G + i),
                     Load(queue->B + i),
                     Load(queue->bgR + i),
                     Load(queue->bgG + i),
                     Load(queue->bgB + i),
                     Set(0),
                     Set(0),
                     Set(0),
                     Set(0)};
        if (search) {
            SearchLanes(run, Widen(coarse + i), Widen(fine + i), &p);
        } else {
            p.fgR = Load(queue->fgR + i);
            p.fgG = Load(queue->fgG + i);
            p.fgB = Load(queue->fgB + i);
            p.alpha = Load(queue->alpha + i);
        }
        CorrectLanes(run, &p);
        Store(queue->fgR + i, p.fgR);
        Store(queue->fgG + i, p.fgG);
        Store(queue->fgB + i, p.fgB);
        Store(queue->alpha + i, p.alpha);
    }
    for (int i = 0; i < queue->count; ++i) {
        const int at = static_cast<int>(queue->at[i]);
        span->fgR[at] = queue->fgR[i];
        span->fgG[at] = queue->fgG[i];
        span->fgB[at] = queue->fgB[i];
        span->alpha[at] = queue->alpha[i];
    }
    queue->count = 0;
}

// Fetches pixels `from` to `to` of the span that begins at index `first`, and keys them but for those that it
// packs. copyOut: the fetched colours go to the output planes.
template <class Sample>
void ClassifySpan(const KeyRun& run, const PlaneView<Sample>& planes, std::int64_t first, int from, int to,
                  bool copyOut, Queues* queues, Span* span) {
    const V maxSample = Set(run.maxSample), gate = Set(0.05);
    alignas(64) double lane[kLanes];
    for (int i = 0; i < kLanes; ++i) lane[i] = i;
    const V lanes = Load(lane);
    for (int x = from; x < to; x += kLanes) {
        const std::int64_t i = first + x;
        const int left = to - x;
        PixelLanes p;
        p.R = LoadSamples(planes.top.r + i, left);
        p.G = LoadSamples(planes.top.g + i, left);
        p.B = LimitHigh(LoadSamples(planes.top.b + i, left), maxSample);
        p.G = Select(Equal(p.G, Set(0)), Set(1), p.G);
        if (copyOut) {
            StoreSamples(planes.out.r + i, p.R, left);
            StoreSamples(planes.out.g + i, p.G, left);
            StoreSamples(planes.out.b + i, p.B, left);
        }
        const V topAlpha = LoadSamples(planes.top.a + i, left);
        p.alpha = All(Equal(topAlpha, maxSample)) ? Set(1) : topAlpha / maxSample;
        p.fgR = p.R;
        p.fgG = p.G;
        p.fgB = p.B;
        if (!run.orgPhoto) {
            p.bgR = Load(span->bgR + x);
            p.bgG = Load(span->bgG + x);
            p.bgB = Load(span->bgB + x);
            const M keyed = AndNot(FirstLanes(left), Less(p.alpha, gate));
            if (Any(keyed)) Classify(run, keyed, lanes + Set(x), &p, queues);
        }
        Store(span->fgR + x, p.fgR);
        Store(span->fgG + x, p.fgG);
        Store(span->fgB + x, p.fgB);
        Store(span->alpha + x, p.alpha);
    }
}

// The kinds of a span's groups; of the last one, if it is not whole: open.
template <class Sample>
void FindKinds(const KeyRun& run, const GroupRun& groups, const PlaneView<Sample>& planes,
               const GridPlace& row, std::int64_t first, std::int32_t x0, int n, GroupKind* kinds) {
    alignas(64) float bgR[kSpan + kFloats], bgG[kSpan + kFloats], bgB[kSpan + kFloats];
    FillBackdropF32(run, run.grid->gridR, row, x0, n, bgR);
    FillBackdropF32(run, run.grid->gridG, row, x0, n, bgG);
    FillBackdropF32(run, run.grid->gridB, row, x0, n, bgB);
    for (int x = 0; x < n; x += kFloats) {
        GroupKind* kind = kinds + x / kFloats;
        *kind = kMixed;
        if (n - x < kFloats) break;
        const std::int64_t i = first + x;
        if (!All(LessEqual(groups.maxSample, LoadSingles(planes.top.a + i)))) continue;
        *kind =
            KindOf(groups, {LoadSingles(planes.top.r + i), Largest(LoadSingles(planes.top.g + i), SetF(1)),
                            Smallest(LoadSingles(planes.top.b + i), groups.maxSample), LoadF(bgR + x),
                            LoadF(bgG + x), LoadF(bgB + x)});
    }
}

}  // namespace

template <class Sample>
void ProcessRow(const KeyRun& run, const PlaneView<Sample>& planes, std::int32_t y) {
    const std::int64_t firstOfRow = std::int64_t{y} * run.width;
    if (run.realityInteg && run.showSelect) {
        CopyRow(run, planes, firstOfRow);
        return;
    }
    const GridPlace row = PlaceOnGrid(y, run.height);
    const GroupRun groups = GroupRunOf(run);
    alignas(64) Span span;
    alignas(64) Queues queues;
    queues.search.count = queues.correct.count = 0;
    GroupKind* kindsOfRow = KindsOfRow(run, run.ring.ringSlot);
    for (std::int32_t x0 = 0; x0 < run.width; x0 += kSpan) {
        const int n = run.width - x0 < kSpan ? run.width - x0 : kSpan;
        const std::int64_t first = firstOfRow + x0;
        GroupKind* kinds = kindsOfRow + x0 / kFloats;
        if (groups.use) FindKinds(run, groups, planes, row, first, x0, n, kinds);
        ForEachRun(kinds, n, [&](int from, int to, GroupKind kind) {
            if (kind == kMixed) {
                if (!run.orgPhoto) FillBackdrop(run, row, x0, from, to, &span);
                ClassifySpan(run, planes, first, from, to, !run.realityInteg, &queues, &span);
            } else if (run.realityInteg) {
                WriteSettled(run, planes, first + from, to - from, kind);
            } else {
                KeepSettled(run, planes, first, from, to, kind, &span);
            }
        });
        KeyQueued(run, &queues.search, true, &span);
        KeyQueued(run, &queues.correct, false, &span);
        if (run.realityInteg) {
            ForEachRun(kinds, n, [&](int from, int to, GroupKind kind) {
                if (kind == kMixed) WriteStretch(run, planes, first, from, to, span);
            });
        } else {
            FillRing(run, planes, first, x0, n, span);
        }
    }
    if (run.realityInteg) {
        RestoreSelection(run, planes, firstOfRow, run.width);
    } else if (y >= run.ring.ringRadius) {
        RefineRow(run, planes, y);
        RestoreSelection(run, planes, firstOfRow - std::int64_t{run.ring.ringRadius} * run.width, run.width);
    }
}

template void ProcessRow(const KeyRun&, const PlaneView<std::uint8_t>&, std::int32_t);
template void ProcessRow(const KeyRun&, const PlaneView<std::uint16_t>&, std::int32_t);

}  // namespace keying::FROND_VARIANT

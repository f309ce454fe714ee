// One row, many pixels at a time: fetch, keying and, where edges are blended, the direct writer in one pass
// over short spans, while they are in the first cache. The ring is filled only where the refinement reads it.
//
// Most pixels of a photograph before a backdrop are decided in single precision and without a division: what
// is backdrop by its shape, what is plainly foreground. The rest is packed, and keyed in full vectors.
#include "engine/scalar/fetch_and_key.h"

#include <initializer_list>

#include "engine/constants.h"
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

// BackdropLevel along one row of the grid. A vector may run on into the columns of the next cell, which
// writes them again.
void FillBackdrop(const KeyRun& run, const GridPlace& row, std::int32_t x0, int from, int to, Span* span) {
    const double adjust = run.sAdjust, limit = kBackdropLimit * run.levelScale;
    ForCells(run.columns, row, x0 + from, to - from, [&](int cell, int begin, int end) {
        for (int x = from + begin; x < from + end; x += kDoubles) {
            const Doubles low = Load(run.columns.low + x0 + x), high = Load(run.columns.high + x0 + x);
            const auto fill = [&](const double* table, double* level) {
                const double* c = table + cell;
                const Doubles value = c[0] * low * row.low + c[1] * high * row.low +
                                      c[kGridSide] * low * row.high + c[kGridSide + 1] * high * row.high;
                Store(level + x, Min(DivideBy<kAdjustUnit>(value * adjust), limit));
            };
            fill(run.grid->gridR, span->bgR);
            fill(run.grid->gridG, span->bgG);
            fill(run.grid->gridB, span->bgB);
        }
    });
}

Floats NarrowAt(const double* p) {
    return Narrow(Load(p), Load(p + kDoubles));
}

void FindQueueSteps(const KeyRun& run, const Queue& queue, float* coarse, float* fine) {
    const SearchConstants constants = SearchConstantsOf(run);
    for (int i = 0; i < queue.count; i += kFloats) {
        const Floats R = NarrowAt(queue.R + i), B = NarrowAt(queue.B + i);
        const FloatMask blue = B > R;
        const FoundSteps found =
            FindSteps(constants,
                      {R, NarrowAt(queue.G + i), B, NarrowAt(queue.bgR + i), NarrowAt(queue.bgG + i),
                       NarrowAt(queue.bgB + i), blue, run.blueLogic ? blue : B <= R},
                      !run.blueLogic && !run.showSelect);
        Store(coarse + i, found.coarse);
        Store(fine + i, found.fine);
    }
}

// Sets the lanes behind the last pixel to 0: what was there before would be keyed too.
void ClearBehind(Queue* queue) {
    for (double* values : {queue->R, queue->G, queue->B, queue->bgR, queue->bgG, queue->bgB}) {
        for (int i = 0; i < kFloats; i += kDoubles) Store(values + queue->count + i, Doubles(0));
    }
}

// The pixels from place i of a queue on.
Pixels QueuedPixels(const Queue& queue, int i) {
    Pixels p;
    p.R = Load(queue.R + i);
    p.G = Load(queue.G + i);
    p.B = Load(queue.B + i);
    p.bgR = Load(queue.bgR + i);
    p.bgG = Load(queue.bgG + i);
    p.bgB = Load(queue.bgB + i);
    return p;
}

// Puts their results to their places in the span.
void PutQueued(const Queue& queue, int i, const Pixels& p, Span* span) {
    for (int j = 0; j < kDoubles && i + j < queue.count; ++j) {
        const int at = static_cast<int>(queue.at[i + j]);
        span->fgR[at] = p.fgR.raw[j];
        span->fgG[at] = p.fgG.raw[j];
        span->fgB[at] = p.fgB.raw[j];
        span->alpha[at] = p.alpha.raw[j];
    }
}

// Keys what was queued for the search.
void KeyQueued(const KeyRun& run, Queue* queue, Span* span) {
    if (queue->count == 0) return;
    ClearBehind(queue);
    alignas(64) float coarse[kSpanRoom + kFloats], fine[kSpanRoom + kFloats];
    FindQueueSteps(run, *queue, coarse, fine);
    for (int i = 0; i < queue->count; i += kDoubles) {
        Pixels p = QueuedPixels(*queue, i);
        SearchAlphas(run, Widen(coarse + i), Widen(fine + i), &p);
        CorrectPixels(run, &p);
        PutQueued(*queue, i, p, span);
    }
    queue->count = 0;
}

// Classifies what single precision left undecided. Pixels that are queued for the search then get their
// results from there.
void ClassifyQueued(const KeyRun& run, Queue* undecided, Queue* queue, Span* span) {
    if (undecided->count == 0) return;
    ClearBehind(undecided);
    for (int i = 0; i < undecided->count; i += kDoubles) {
        Pixels p = QueuedPixels(*undecided, i);
        p.fgR = p.R;
        p.fgG = p.G;
        p.fgB = p.B;
        p.alpha = 1;
        Classify(run, FirstLanes<double>(undecided->count - i), Load(undecided->at + i), &p, queue);
        PutQueued(*undecided, i, p, span);
    }
    undecided->count = 0;
}

// Fetches pixels `from` to `to` of the span that begins at column x0, and keys them but for those that it
// queues. copyOut: the fetched colours go to the output planes.
template <class Sample>
void ClassifySpan(const KeyRun& run, const PlaneView<Sample>& row, std::int32_t x0, int from, int to,
                  bool copyOut, Queue* queue, Span* span) {
    // The stores of bytes may reach everything in memory, for all that the compiler knows.
    const Doubles maxSample = run.maxSample;
    for (int x = from; x < to; x += kDoubles) {
        const std::int32_t i = x0 + x;
        const int left = to - x;
        Pixels p;
        p.R = LoadSamples(row.top.r + i, left);
        p.G = LoadSamples(row.top.g + i, left);
        p.B = Min(LoadSamples(row.top.b + i, left), maxSample);
        p.G = Select(p.G == 0, 1, p.G);
        if (copyOut) {
            StoreSamples(row.out.r + i, p.R, left);
            StoreSamples(row.out.g + i, p.G, left);
            StoreSamples(row.out.b + i, p.B, left);
        }
        const Doubles topAlpha = LoadSamples(row.top.a + i, left);
        p.alpha = All(topAlpha == maxSample) ? Doubles(1) : topAlpha / maxSample;
        p.fgR = p.R;
        p.fgG = p.G;
        p.fgB = p.B;
        if (!run.orgPhoto) {
            p.bgR = Load(span->bgR + x);
            p.bgG = Load(span->bgG + x);
            p.bgB = Load(span->bgB + x);
            const DoubleMask keyed = FirstLanes<double>(left) & !(p.alpha < kGateAlpha);
            if (Any(keyed)) Classify(run, keyed, LaneNumbers<double>() + x, &p, queue);
        }
        Store(span->fgR + x, p.fgR);
        Store(span->fgG + x, p.fgG);
        Store(span->fgB + x, p.fgB);
        Store(span->alpha + x, p.alpha);
    }
}

// Sets the pixels of sorted groups that are decided, and queues the others.
template <class Sample>
void SortSpan(const KeyRun& run, const PlaneView<Sample>& row, std::int32_t x0, int from, int to,
              const float* decisions, Queue* undecided, Queue* queue, Span* span) {
    const Doubles maxSample = run.maxSample;
    for (int x = from; x < to; x += kDoubles) {
        const std::int32_t i = x0 + x;
        const Doubles decision = Widen(decisions + x);
        Pixels p;
        p.R = LoadDoubles(row.top.r + i);
        p.G = Max(LoadDoubles(row.top.g + i), 1);
        p.B = Min(LoadDoubles(row.top.b + i), maxSample);
        Store(span->fgR + x, p.R);
        Store(span->fgG + x, p.G);
        Store(span->fgB + x, p.B);
        Store(span->alpha + x, Min(decision, 1));
        const DoubleMask searched = decision == kIsSearched, open = decision == kIsUndecided;
        if (!Any(searched | open)) continue;
        p.bgR = Load(span->bgR + x);
        p.bgG = Load(span->bgG + x);
        p.bgB = Load(span->bgB + x);
        const Doubles at = LaneNumbers<double>() + x;
        if (Any(searched)) Pack(queue, searched, at, p);
        if (Any(open)) Pack(undecided, open, at, p);
    }
    if (!run.realityInteg) CopyFetched(run, row, x0 + from, to - from);
}

// Pixels of a span that the direct writer writes when its queues are keyed.
struct Part {
    int from, to;
};

template <class Sample>
Sample LeastOf(const Sample* samples, int n) {
    Sample least = samples[0];
    for (int x = 1; x < n; ++x) least = samples[x] < least ? samples[x] : least;
    return least;
}

// The kinds of a span's groups. The last one is mixed if it is not whole. The direct writer is done with most
// uniform groups here.
template <class Sample>
void FindKinds(const KeyRun& run, const GroupRun& groups, const PlaneView<Sample>& row,
               const GridPlace& place, std::int32_t x0, int n, GroupKind* kinds, float* decisions) {
    alignas(64) BackdropF32 backdrop;
    FillBackdropF32(run, place, x0, n, &backdrop);
    const Sample *const r = row.top.r + x0, *const g = row.top.g + x0, *const b = row.top.b + x0;
    const Sample* const alpha = row.top.a + x0;
    const bool opaque = LeastOf(alpha, n) >= run.maxSample;
    for (int x = 0; x < n; x += kFloats) {
        GroupKind* kind = kinds++;
        *kind = kMixed;
        if (n - x < kFloats) break;
        if (!opaque && !All(LoadFloats(alpha + x) >= groups.maxSample)) continue;
        *kind =
            KindOf(groups,
                   {LoadFloats(r + x), Max(LoadFloats(g + x), 1), Min(LoadFloats(b + x), groups.maxSample),
                    Load(backdrop.r + x), Load(backdrop.g + x), Load(backdrop.b + x)},
                   decisions + x);
        if (run.realityInteg && (*kind == kBackdrop || *kind == kForeground))
            WriteUniform(run, row, x0 + x, *kind);
    }
}

}  // namespace

template <class Sample>
void KeyRow(const KeyRun& run, const PlaneView<Sample>& row, std::int32_t y) {
    if (run.realityInteg && run.showSelect) {
        CopyRow(run, row);
        return;
    }
    const GridPlace place = PlaceOnGrid(y, run.height);
    const GroupRun groups = GroupRunOf(run);
    alignas(64) Span span;
    alignas(64) Queue queue, undecided;
    alignas(64) float decisions[kSpan];
    Part keyed[kSpan / kFloats];
    queue.count = undecided.count = 0;
    GroupKind* kindsOfRow = KindsOfRow(run, run.ring.ringSlot);
    for (std::int32_t x0 = 0; x0 < run.width; x0 += kSpan) {
        const int n = run.width - x0 < kSpan ? run.width - x0 : kSpan;
        GroupKind* kinds = kindsOfRow + x0 / kFloats;
        if (groups.use) FindKinds(run, groups, row, place, x0, n, kinds, decisions);
        int parts = 0;
        ForEachRun(kinds, n, [&](int from, int to, GroupKind kind) {
            if (kind == kMixed) {
                if (!run.orgPhoto) FillBackdrop(run, place, x0, from, to, &span);
                ClassifySpan(run, row, x0, from, to, !run.realityInteg, &queue, &span);
            } else if (kind == kSorted) {
                FillBackdrop(run, place, x0, from, to, &span);
                SortSpan(run, row, x0, from, to, decisions, &undecided, &queue, &span);
            } else if (kind == kGreyish) {
                KeyGreyish(run, row, x0, from, to, &span);
            } else if (!run.realityInteg) {
                KeepUniform(run, row, x0, from, to, kind, &span);
            }
            if (kind == kMixed || kind == kSorted) keyed[parts++] = {from, to};
        });
        ClassifyQueued(run, &undecided, &queue, &span);
        KeyQueued(run, &queue, &span);
        if (run.realityInteg) {
            for (int i = 0; i < parts; ++i) WriteSpan(run, row, x0, keyed[i].from, keyed[i].to, span);
        } else {
            FillRing(run, row, x0, n, span);
        }
    }
}

template void KeyRow(const KeyRun&, const PlaneView<std::uint8_t>&, std::int32_t);
template void KeyRow(const KeyRun&, const PlaneView<std::uint16_t>&, std::int32_t);

}  // namespace keying::FROND_VARIANT

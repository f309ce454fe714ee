// A row's turn, many pixels at a time: fetch, keying and, where edges are blended, the direct writer in one
// sweep over short spans, while they are in the first cache. The ring is filled only where the refinement
// reads it.
//
// Most pixels of a photograph before a backdrop are settled without a division: what is plainly backdrop,
// what is backdrop by its shape, what is plainly foreground. The rest is packed, and keyed in full vectors.
#include "engine/colour.h"
#include "engine/key_run.h"
#include "engine/keying.h"
#include "engine/lane_passes.h"
#include "engine/lanes.h"
#include "engine/pixel_pass.h"
#include "engine/quick_search.h"
#include "engine/samples.h"
#include "engine/search_lanes.h"

namespace FROND_FORM {
namespace {

constexpr int kSpan = 256;
constexpr int kSpanRoom = kSpan + kLanes;

// A span's results, and its backdrop. Entries past the span's end are scratch.
struct Span {
    double bgR[kSpanRoom], bgG[kSpanRoom], bgB[kSpanRoom];
    double fgR[kSpanRoom], fgG[kSpanRoom], fgB[kSpanRoom];
    double alpha[kSpanRoom];
};

// Pixels of a span that wait for work in full vectors, with their places in the span.
struct Queue {
    int count;
    double at[kSpanRoom];
    double R[kSpanRoom], G[kSpanRoom], B[kSpanRoom];
    double bgR[kSpanRoom], bgG[kSpanRoom], bgB[kSpanRoom];
    double fgR[kSpanRoom], fgG[kSpanRoom], fgB[kSpanRoom];
    double alpha[kSpanRoom];
};

struct Queues {
    Queue search;   // pixels of the main path; their foreground is not filled in
    Queue correct;  // pixels whose alpha is found and whose corrections are due
};

int PopCount(unsigned bits) {
    int count = 0;
    for (; bits != 0; bits &= bits - 1) ++count;
    return count;
}

void Pack(Queue* queue, M lanes, V at, const PixelLanes& p, bool withForeground) {
    const int n = queue->count;
    StorePacked(queue->at + n, lanes, at);
    StorePacked(queue->R + n, lanes, p.R);
    StorePacked(queue->G + n, lanes, p.G);
    StorePacked(queue->B + n, lanes, p.B);
    StorePacked(queue->bgR + n, lanes, p.bgR);
    StorePacked(queue->bgG + n, lanes, p.bgG);
    StorePacked(queue->bgB + n, lanes, p.bgB);
    if (withForeground) {
        StorePacked(queue->fgR + n, lanes, p.fgR);
        StorePacked(queue->fgG + n, lanes, p.fgG);
        StorePacked(queue->fgB + n, lanes, p.fgB);
        StorePacked(queue->alpha + n, lanes, p.alpha);
    }
    queue->count = n + PopCount(Bits(lanes));
}

// The interpolation along one row of one channel of the grid.
void FillChannel(const KeyRun& run, const double* table, const GridPlace& row, std::int32_t x0, int n,
                 double* level) {
    const double* cells = table + row.cell * kGridSide;
    const V rowLow = Set(row.low), rowHigh = Set(row.high);
    const V limit = Set(255 * run.levelScale), adjust = Set(run.sAdjust);
    int cell = 0;
    while (run.columns.firstColumn[cell + 1] <= x0) ++cell;
    // A vector may run on into the columns of the next cell, which writes them again.
    for (int x = 0; x < n;) {
        const int end =
            run.columns.firstColumn[cell + 1] - x0 < n ? run.columns.firstColumn[cell + 1] - x0 : n;
        const double* c = cells + cell;
        const V c00 = Set(c[0]), c01 = Set(c[1]), c10 = Set(c[kGridSide]), c11 = Set(c[kGridSide + 1]);
        for (; x < end; x += kLanes) {
            const V low = Load(run.columns.low + x0 + x), high = Load(run.columns.high + x0 + x);
            const V value =
                c00 * low * rowLow + c01 * high * rowLow + c10 * low * rowHigh + c11 * high * rowHigh;
            Store(level + x, LimitHigh(DivideBy<25, 4>(value * adjust), limit));
        }
        x = end;
        ++cell;
    }
}

V LineDistance(const PixelLanes& p, V invK, V t) {
    return Sqrt(Square(p.R * invK - p.bgR * t * invK) + Square(p.G * invK - p.bgG * t * invK) +
                Square(p.B * invK - p.bgB * t * invK));
}

M IsBackdropByShapeExactly(const KeyRun& run, const PixelLanes& p) {
    const V invK = Set(1 / run.levelScale);
    const V dG = LineDistance(p, invK, p.G / p.bgG);
    const V dR = LineDistance(p, invK, p.R / p.bgR) * p.bgR / p.bgG;
    const V dB = LineDistance(p, invK, p.B / p.bgB) * p.bgB / p.bgG;
    const V lineDist = dR + dG + dB;
    const V lineLoss = lineDist * (p.G - Largest(p.R, p.B)) / Set(run.maxSample);
    return Less(lineDist - lineLoss, Set(run.sRemove));
}

// Which of the lanes are backdrop by their shape.
//
// With X = R bgG - bgR G, Y = B bgG - bgB G, Z = B bgR - bgB R, the three line distances are the roots of
// X² + Y², X² + Z² and Y² + Z², each divided by bgG k, so that the test asks whether the sum of the roots,
// times M - G + max(R, B), is less than sRemove M bgG k. The sum lies between 2 and the root of 6 times the
// root of Q = X² + Y² + Z² (its square is 2 Q + 2 sums of products of two roots, and each such product is at
// least the square they share; the upper bound is the root mean square's). So two comparisons of squares
// settle all but a narrow band, which is worked out as it is defined. The margin of a millionth covers the
// rounding of both forms where every backdrop channel is at least one level, sRemove at least 1 and the
// factor positive: with ratios of seen to backdrop of 65536 at most, the exact form's own rounding stays
// under a hundred-millionth of a level.
M IsBackdropByShape(const KeyRun& run, const PixelLanes& p, M asked) {
    const V k = Set(run.levelScale), maxSample = Set(run.maxSample);
    const V X = p.R * p.bgG - p.bgR * p.G, Y = p.B * p.bgG - p.bgB * p.G, Z = p.B * p.bgR - p.bgB * p.R;
    const V factor = maxSample - p.G + Largest(p.R, p.B);
    const V seen = (Square(X) + Square(Y) + Square(Z)) * Square(factor);
    const V limit = Square(Set(run.sRemove) * maxSample * p.bgG * k);

    M posed = And(GreaterEqual(p.bgR, k), And(GreaterEqual(p.bgG, k), GreaterEqual(p.bgB, k)));
    posed = And(posed, And(Greater(factor, Set(0)), GreaterEqual(Set(run.sRemove), Set(1))));
    const M inside = And(posed, Less(seen * Set(6 * 1.000002), limit));
    const M outside = And(posed, Greater(seen * Set(4), limit * Set(1.000002)));
    const M unsettled = AndNot(AndNot(asked, inside), outside);
    if (!Any(unsettled)) return And(asked, inside);
    return Or(And(asked, inside), And(unsettled, IsBackdropByShapeExactly(run, p)));
}

void PaintKeyed(const KeyRun& run, M lanes, V scale, PixelLanes* p) {
    const M above = Greater(p->G, p->bgG);
    const V redAndThird = Select(above, Set(100), Set(50)) * scale;
    p->fgR = Select(lanes, redAndThird, p->fgR);
    p->fgG = Select(lanes, Select(above, Set(run.maxSample), Set(150)) * scale, p->fgG);
    p->fgB = Select(lanes, redAndThird, p->fgB);
    p->alpha = Select(lanes, Set(1), p->alpha);
}

// Whether the corrections leave an opaque foreground alone that is as it was seen, its leading channel more
// than 40 levels above the key channel: the wide pull, the drop and the rescue do not apply, and neither does
// the narrow pull if the spread is not below 50. The margin covers the rounding of the spread.
M IsFarFromGrey(const KeyRun& run, const PixelLanes& p) {
    const V squares = Square(p.R - p.B) + Square(p.G - p.B) + Square(p.G - p.R);
    return Greater(squares * Square(Set(run.maxSample)),
                   Square(p.G * Set(50 * run.levelScale)) * Set(1.000001));
}

// Settles the keyed lanes as far as no search is needed and packs the others. On return the foreground and
// the alpha of the lanes that were not packed are final.
void Classify(const KeyRun& run, M keyed, V at, PixelLanes* p, Queues* queues) {
    const LaneLimits& limits = run.limits;
    const V k = Set(run.levelScale), invK = Set(1 / run.levelScale), zero = Set(0);

    const V dist = Square(p->R * invK - p->bgR * invK) + Square(p->G * invK - p->bgG * invK) +
                   Square(p->B * invK - p->bgB * invK);
    const M plain = And(keyed, Less(dist, Set(limits.plainBelow)));
    M open = AndNot(keyed, plain);

    const V chroma = Square(p->R - p->G) + Square(p->G - p->B);
    const V maxC = Largest(Largest(p->R, p->G), p->B);
    const M grey = And(open, And(Less(chroma, Set(limits.greyBelow)), Greater(p->bgG - p->bgR, maxC)));
    open = AndNot(open, grey);

    M shape = And(open, Greater(chroma, Set(limits.colouredAbove)));
    if (Any(shape)) shape = IsBackdropByShape(run, *p, shape);
    open = AndNot(open, shape);

    const V strong = Select(Greater(p->B, p->R), p->B, p->R);
    const M opaque = And(open, Greater(strong, Set(40) * k + p->G));
    const M search = AndNot(open, opaque);

    if (Any(search)) Pack(&queues->search, search, at, *p, false);

    M correct = grey;
    if (Any(opaque)) {
        p->alpha = Select(opaque, Set(1), p->alpha);
        M unsettled = AndNot(opaque, IsFarFromGrey(run, *p));
        if (run.showSelect) {
            p->fgR = Select(opaque, Set(40) * k, p->fgR);
            p->fgG = Select(opaque, Set(40) * k, p->fgG);
            p->fgB = Select(opaque, Set(200) * k, p->fgB);
            unsettled = opaque;
        }
        correct = Or(correct, unsettled);
    }
    if (Any(grey)) p->fgG = Select(grey, Smallest(p->G, Largest(p->R, p->B)), p->fgG);
    if (Any(plain)) {
        p->alpha = Select(plain, zero, p->alpha);
        p->fgR = Select(plain, zero, p->fgR);
        p->fgG = Select(plain, zero, p->fgG);
        p->fgB = Select(plain, zero, p->fgB);
        if (run.showSelect) {
            PaintKeyed(run, plain, Set(1), p);
            correct = Or(correct, plain);
        } else if (run.sBlack > 0) {
            // Only the dark rescue can still change a pixel whose foreground is 0.
            correct = Or(correct, And(plain, Less(p->G, p->bgG)));
        }
    }
    if (Any(shape)) {
        p->alpha = Select(shape, zero, p->alpha);
        if (limits.shapeIsConstant) {
            const V five = Set(5 * run.levelScale);
            const M wide = And(Less(p->B - five, p->G), Less(p->R - five, p->G));
            const Triple &w = limits.shapeWide, &n = limits.shapeNarrow;
            p->fgR = Select(shape, Select(wide, Set(w.r), Set(n.r)), p->fgR);
            p->fgG = Select(shape, Select(wide, Set(w.g), Set(n.g)), p->fgG);
            p->fgB = Select(shape, Select(wide, Set(w.b), Set(n.b)), p->fgB);
        } else {
            p->fgR = Select(shape, Set(100), p->fgR);
            p->fgG = Select(shape, Set(run.maxSample), p->fgG);
            p->fgB = Select(shape, zero, p->fgB);
            if (run.showSelect) PaintKeyed(run, shape, k, p);
            correct = Or(correct, shape);
        }
    }
    if (Any(correct)) Pack(&queues->correct, correct, at, *p, true);
}

F NarrowAt(const double* p) {
    return Narrow(Load(p), Load(p + kLanes));
}

void FindQueueSteps(const KeyRun& run, const Queue& queue, float* coarse, float* fine) {
    const QuickRun quick = QuickRunOf(run);
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
void WorkOff(const KeyRun& run, Queue* queue, bool search, Span* span) {
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

// The planes of a run under the names that a sweep needs.
template <class Sample>
struct Planes {
    LogicalPlanes<Sample> top, bottom;
    const Sample* topAlpha;
    OutPlanes<Sample> out;  // of the picture
    Sample *outKey, *outThird;
};

template <class Sample>
Planes<Sample> PlanesOf(const KeyRun& run, const Globals* globals) {
    const OutPlanes<Sample> out = OutputPlanes<Sample>(globals);
    return {TopPlanes<Sample>(globals),
            BottomPlanes<Sample>(globals),
            View<Sample>(globals->topA, globals->topA16),
            out,
            run.blueLogic ? out.b : out.g,
            run.blueLogic ? out.g : out.b};
}

// Fetches and keys n pixels from index p on. copyOut: the fetched colours go to the output planes.
template <class Sample>
void KeySpan(const KeyRun& run, const Planes<Sample>& planes, std::int64_t first, int n, bool copyOut,
             Queues* queues, Span* span) {
    const V maxSample = Set(run.maxSample), gate = Set(0.05);
    alignas(64) double lane[kLanes];
    for (int i = 0; i < kLanes; ++i) lane[i] = i;
    const V lanes = Load(lane);
    for (int x = 0; x < n; x += kLanes) {
        const std::int64_t i = first + x;
        const int left = n - x;
        PixelLanes p;
        p.R = LoadSamples(planes.top.r + i, left);
        p.G = LoadSamples(planes.top.g + i, left);
        p.B = LimitHigh(LoadSamples(planes.top.b + i, left), maxSample);
        p.G = Select(Equal(p.G, Set(0)), Set(1), p.G);
        if (copyOut) {
            StoreSamples(planes.out.r + i, p.R, left);
            StoreSamples(planes.outKey + i, p.G, left);
            StoreSamples(planes.outThird + i, p.B, left);
        }
        const V topAlpha = LoadSamples(planes.topAlpha + i, left);
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
    WorkOff(run, &queues->search, true, span);
    WorkOff(run, &queues->correct, false, span);
}

// The direct writer over a span.
template <class Sample>
void WriteSpan(const KeyRun& run, const Planes<Sample>& planes, std::int64_t first, int n, const Span& span) {
    const V one = Set(1), maxSample = Set(run.maxSample);
    for (int x = 0; x < n; x += kLanes) {
        const std::int64_t i = first + x;
        const int left = n - x;
        const V a = Load(span.alpha + x);
        const V fgR = Load(span.fgR + x), fgG = Load(span.fgG + x), fgB = Load(span.fgB + x);
        const V topAlpha = LoadSamples(planes.topAlpha + i, left);
        V r, g, b, alpha;
        if (run.outputAlpha) {
            r = LimitTo(fgR, one, maxSample);
            g = LimitTo(fgG, one, maxSample);
            b = LimitTo(fgB, one, maxSample);
            alpha = topAlpha * a;
        } else {
            const V rest = one - a;
            r = fgR * a + rest * LoadSamples(planes.bottom.r + i, left);
            g = fgG * a + rest * LoadSamples(planes.bottom.g + i, left);
            b = fgB * a + rest * LoadSamples(planes.bottom.b + i, left);
            alpha = sizeof(Sample) == 1 ? Set(255) * a : topAlpha;
        }
        StoreSamples(planes.out.r + i, r, left);
        StoreSamples(planes.outKey + i, g, left);
        StoreSamples(planes.outThird + i, b, left);
        StoreSamples(planes.out.a + i, alpha, left);
    }
}

template <class Sample>
void RestoreSelection(const KeyRun& run, const Globals* globals, std::int64_t first, std::int32_t n) {
    if (run.selection == nullptr) return;
    const OutPlanes<Sample> out = OutputPlanes<Sample>(globals);
    const Sample* r = View<Sample>(globals->topR, globals->topR16);
    const Sample* g = View<Sample>(globals->topG, globals->topG16);
    const Sample* b = View<Sample>(globals->topB, globals->topB16);
    const Sample* a = View<Sample>(globals->topA, globals->topA16);
    for (std::int64_t i = first; i < first + n; ++i) {
        if (run.selection[i] != 0) continue;
        out.r[i] = r[i];
        out.g[i] = g[i];
        out.b[i] = b[i];
        out.a[i] = a[i];
    }
}

// Puts a keyed span into the newest ring row, with the bottom layer beside it.
template <class Sample>
void FillRing(const KeyRun& run, const Planes<Sample>& planes, std::int64_t first, std::int32_t x0, int n,
              const Span& span) {
    const RowRing& ring = run.ring;
    const std::size_t cell = RingRow(ring, ring.ringSlot) + static_cast<std::size_t>(x0);
    const std::size_t bytes = sizeof(double) * static_cast<std::size_t>(n);
    std::memcpy(ring.ringFgR + cell, span.fgR, bytes);
    std::memcpy(ring.ringFgG + cell, span.fgG, bytes);
    std::memcpy(ring.ringFgB + cell, span.fgB, bytes);
    std::memcpy(ring.ringAlpha + cell, span.alpha, bytes);
    for (int x = 0; x < n; ++x) {
        ring.ringBgR[cell + static_cast<std::size_t>(x)] = planes.bottom.r[first + x];
        ring.ringBgG[cell + static_cast<std::size_t>(x)] = planes.bottom.g[first + x];
        ring.ringBgB[cell + static_cast<std::size_t>(x)] = planes.bottom.b[first + x];
    }
}

// With both flags of the writers' table on, no writer runs and the ring has no reader: the fetch is all that
// reaches the picture.
template <class Sample>
void CopyRow(const KeyRun& run, const Planes<Sample>& planes, std::int64_t first) {
    const V maxSample = Set(run.maxSample);
    for (std::int32_t x = 0; x < run.width; x += kLanes) {
        const std::int64_t i = first + x;
        const int left = run.width - x;
        const V G = LoadSamples(planes.top.g + i, left);
        StoreSamples(planes.out.r + i, LoadSamples(planes.top.r + i, left), left);
        StoreSamples(planes.outKey + i, Select(Equal(G, Set(0)), Set(1), G), left);
        StoreSamples(planes.outThird + i, LimitHigh(LoadSamples(planes.top.b + i, left), maxSample), left);
    }
}

}  // namespace

template <class Sample>
void TurnRow(const KeyRun& run, const Globals* globals, std::int32_t y) {
    const Planes<Sample> planes = PlanesOf<Sample>(run, globals);
    const std::int64_t firstOfRow = std::int64_t{y} * run.width;
    if (run.realityInteg && run.showSelect) {
        CopyRow(run, planes, firstOfRow);
        return;
    }
    const GridPlace row = PlaceOnGrid(y, run.height);
    alignas(64) Span span;
    alignas(64) Queues queues;
    queues.search.count = queues.correct.count = 0;
    for (std::int32_t x0 = 0; x0 < run.width; x0 += kSpan) {
        const int n = run.width - x0 < kSpan ? run.width - x0 : kSpan;
        const std::int64_t first = firstOfRow + x0;
        if (!run.orgPhoto) {
            FillChannel(run, gBackdropGrid.gridR, row, x0, n, span.bgR);
            FillChannel(run, gBackdropGrid.gridG, row, x0, n, span.bgG);
            FillChannel(run, gBackdropGrid.gridB, row, x0, n, span.bgB);
        }
        KeySpan(run, planes, first, n, !run.realityInteg, &queues, &span);
        if (run.realityInteg) {
            WriteSpan(run, planes, first, n, span);
        } else {
            FillRing(run, planes, first, x0, n, span);
        }
    }
    if (run.realityInteg) {
        RestoreSelection<Sample>(run, globals, firstOfRow, run.width);
    } else if (y >= run.ring.ringRadius) {
        RefineRow<Sample>(run, globals, y);
        RestoreSelection<Sample>(run, globals, firstOfRow - std::int64_t{run.ring.ringRadius} * run.width,
                                 run.width);
    }
}

template void TurnRow<std::uint8_t>(const KeyRun&, const Globals*, std::int32_t);
template void TurnRow<std::uint16_t>(const KeyRun&, const Globals*, std::int32_t);

}  // namespace FROND_FORM

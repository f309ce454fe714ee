// The cases of the decision that need no search, and the queues for the pixels that wait for one.
#pragma once

#include "engine/colour.h"
#include "engine/key_run.h"
#include "engine/simd/alpha_search.h"

namespace keying::FROND_VARIANT {

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

static inline int PopCount(unsigned bits) {
    int count = 0;
    for (; bits != 0; bits &= bits - 1) ++count;
    return count;
}

static inline void Pack(Queue* queue, M lanes, V at, const PixelLanes& p, bool withForeground) {
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

static inline V LineDistance(const PixelLanes& p, V invK, V t) {
    return Sqrt(Square(p.R * invK - p.bgR * t * invK) + Square(p.G * invK - p.bgG * t * invK) +
                Square(p.B * invK - p.bgB * t * invK));
}

static inline M IsBackdropByShapeExactly(const KeyRun& run, const PixelLanes& p) {
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
// rounding of both variants where every backdrop channel is at least one level, sRemove at least 1 and the
// factor positive: with ratios of seen to backdrop of 65536 at most, the exact variant's own rounding stays
// under a hundred-millionth of a level.
static inline M IsBackdropByShape(const KeyRun& run, const PixelLanes& p, M asked) {
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

static inline void PaintKeyed(const KeyRun& run, M lanes, V scale, PixelLanes* p) {
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
static inline M IsFarFromGrey(const KeyRun& run, const PixelLanes& p) {
    const V squares = Square(p.R - p.B) + Square(p.G - p.B) + Square(p.G - p.R);
    return Greater(squares * Square(Set(run.maxSample)),
                   Square(p.G * Set(50 * run.levelScale)) * Set(1.000001));
}

// Whether the corrections leave a foreground alone that is as it was seen, with alpha 1: far from grey, with
// a red or third channel that is high enough for no wide pull, and too bright for the rescue.
static inline M IsLeftAlone(const KeyRun& run, const PixelLanes& p) {
    const V k = Set(run.levelScale), five = Set(5) * k;
    const M high = Or(GreaterEqual(p.B - five, p.G), GreaterEqual(p.R - five, p.G));
    const M bright = GreaterEqual(p.R + p.G + p.B, Set(run.sBlack + run.sBlack) * k);
    return And(IsFarFromGrey(run, p), And(high, bright));
}

// Settles the keyed lanes as far as no search is needed and packs the others. On return the foreground and
// the alpha of the lanes that were not packed are final.
static inline void Classify(const KeyRun& run, M keyed, V at, PixelLanes* p, Queues* queues) {
    const DerivedLimits& limits = run.limits;
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
    M search = AndNot(open, opaque);

    M correct = grey;
    if (Any(search) && !run.showSelect) {
        // An alpha of 1 leaves nothing to unmix.
        const M whole = And(search, StopsAtOnce(run, *p));
        search = AndNot(search, whole);
        p->alpha = Select(whole, Set(1), p->alpha);
        correct = Or(correct, AndNot(whole, IsLeftAlone(run, *p)));
    }
    if (Any(search)) Pack(&queues->search, search, at, *p, false);

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
            const Rgb &w = limits.shapeWide, &n = limits.shapeNarrow;
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

}  // namespace keying::FROND_VARIANT

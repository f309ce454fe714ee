// The cases of the decision that need no search, and the queue of the pixels that wait for one. Each case
// is that of SettleSpecialCase and SearchAlpha in scalar/alpha_search.cpp, with the corrections where they
// leave nothing or little to do.
#pragma once

#include "engine/colour.h"
#include "engine/constants.h"
#include "engine/key_run.h"
#include "engine/simd/corrections.h"
#include "engine/simd/uniform_groups.h"

namespace keying::FROND_VARIANT {

constexpr int kSpanRoom = kSpan + kFloats;

// A span's results, and its backdrop. Entries past the span's end are scratch.
struct Span {
    double bgR[kSpanRoom], bgG[kSpanRoom], bgB[kSpanRoom];
    double fgR[kSpanRoom], fgG[kSpanRoom], fgB[kSpanRoom];
    double alpha[kSpanRoom];
};

// Pixels of a span that wait for the search in full vectors, with their places in the span.
struct Queue {
    int count;
    double at[kSpanRoom];
    double R[kSpanRoom], G[kSpanRoom], B[kSpanRoom];
    double bgR[kSpanRoom], bgG[kSpanRoom], bgB[kSpanRoom];
};

static inline int PopCount(unsigned bits) {
    int count = 0;
    for (; bits != 0; bits &= bits - 1) ++count;
    return count;
}

static inline void Pack(Queue* queue, DoubleMask lanes, Doubles at, const Pixels& p) {
    const int n = queue->count;
    StorePacked(queue->at + n, lanes, at);
    StorePacked(queue->R + n, lanes, p.R);
    StorePacked(queue->G + n, lanes, p.G);
    StorePacked(queue->B + n, lanes, p.B);
    StorePacked(queue->bgR + n, lanes, p.bgR);
    StorePacked(queue->bgG + n, lanes, p.bgG);
    StorePacked(queue->bgB + n, lanes, p.bgB);
    queue->count = n + PopCount(Bits(lanes));
}

static inline Doubles LineDistance(const KeyRun& run, const Pixels& p, Doubles t) {
    const Scale k{run.levelScale};
    return Sqrt(Square(p.R / k - p.bgR * t / k) + Square(p.G / k - p.bgG * t / k) +
                Square(p.B / k - p.bgB * t / k));
}

static inline DoubleMask IsBackdropByShapeExactly(const KeyRun& run, const Pixels& p) {
    const Doubles dG = LineDistance(run, p, p.G / p.bgG);
    const Doubles dR = LineDistance(run, p, p.R / p.bgR) * p.bgR / p.bgG;
    const Doubles dB = LineDistance(run, p, p.B / p.bgB) * p.bgB / p.bgG;
    const Doubles lineDist = dR + dG + dB;
    const Doubles lineLoss = lineDist * (p.G - Max(p.R, p.B)) / run.maxSample;
    return lineDist - lineLoss < run.sRemove;
}

// Which of the lanes are backdrop by their shape.
//
// With X = R bgG - bgR G, Y = B bgG - bgB G, Z = B bgR - bgB R, the three line distances are the roots of
// X² + Y², X² + Z² and Y² + Z², each divided by bgG k. The test thus asks whether the sum of the roots, times
// M - G + max(R, B), is less than sRemove M bgG k. The sum is between 2 and the root of 6 times the root of
// Q = X² + Y² + Z². (Its square is 2 Q + 2 sums of products of two roots, and each such product is at least
// the square that they share. The upper bound is the root mean square's.) Two comparisons of squares thus
// decide most pixels, and the sum itself all others but a narrow band, for which the definition is computed.
// The margin of a millionth covers the rounding of both variants where every backdrop channel is at least one
// level, sRemove at least 1 and the factor positive: with ratios of seen to backdrop of 65536 at most, the
// scalar reference's own rounding stays under a hundred-millionth of a level.
static inline DoubleMask IsBackdropByShape(const KeyRun& run, const Pixels& p, DoubleMask asked) {
    constexpr double kSlack = 1.000002;
    const Doubles k = run.levelScale;
    const Doubles X = p.R * p.bgG - p.bgR * p.G, Y = p.B * p.bgG - p.bgB * p.G, Z = p.B * p.bgR - p.bgB * p.R;
    const Doubles xx = Square(X), yy = Square(Y), zz = Square(Z);
    const Doubles factor = run.maxSample - p.G + Max(p.R, p.B);
    const Doubles seen = (xx + yy + zz) * Square(factor);
    const Doubles limit = run.sRemove * run.maxSample * p.bgG * k;

    DoubleMask bounded = (p.bgR >= k) & (p.bgG >= k) & (p.bgB >= k);
    bounded = asked & bounded & (factor > 0) & (Doubles(run.sRemove) >= 1);
    const DoubleMask inside = bounded & (seen * (6 * kSlack) < Square(limit));
    const DoubleMask outside = bounded & (seen * 4 > Square(limit) * kSlack);
    if (!Any(asked & !inside & !outside)) return inside;

    const Doubles sum = (Sqrt(xx + yy) + Sqrt(xx + zz) + Sqrt(yy + zz)) * factor;
    const DoubleMask within = bounded & (sum * kSlack < limit), beyond = bounded & (sum > limit * kSlack);
    const DoubleMask undecided = asked & !within & !beyond;
    if (!Any(undecided)) return within;
    return within | (undecided & IsBackdropByShapeExactly(run, p));
}

static inline void Paint(DoubleMask lanes, Doubles r, Doubles g, Doubles b, Pixels* p) {
    p->fgR = Select(lanes, r, p->fgR);
    p->fgG = Select(lanes, g, p->fgG);
    p->fgB = Select(lanes, b, p->fgB);
}

static inline void PaintKeyed(const KeyRun& run, DoubleMask lanes, Doubles scale, Pixels* p) {
    const KeyedPaint paint = KeyedPaintOf(run, *p);
    Paint(lanes, paint.dim * scale, paint.key * scale, paint.dim * scale, p);
    p->alpha = Select(lanes, 1, p->alpha);
}

// Whether the corrections leave an opaque foreground alone that is as it was seen, its leading channel more
// than kOpaqueLead above the key channel: the wide pull, the drop and the rescue do not apply, and neither
// does the narrow pull if the spread is not below kGreyLimit. The margin covers the rounding of the spread.
static inline DoubleMask IsFarFromGrey(const KeyRun& run, const Pixels& p) {
    const Doubles squares = Square(p.R - p.B) + Square(p.G - p.B) + Square(p.G - p.R);
    return squares * Square(run.maxSample) > Square(p.G * (kGreyLimit * run.levelScale)) * 1.000001;
}

// Whether the corrections leave a foreground alone that is as it was seen, with alpha 1: far from grey, with
// a red or third channel that is high enough for no wide pull, and too bright for the rescue.
static inline DoubleMask IsLeftAlone(const KeyRun& run, const Pixels& p) {
    const Scale k{run.levelScale};
    const DoubleMask high = (p.B - kWideLead * k >= p.G) | (p.R - kWideLead * k >= p.G);
    const DoubleMask bright = p.R + p.G + p.B >= (run.sBlack + run.sBlack) * k;
    return IsFarFromGrey(run, p) & high & bright;
}

static inline DoubleMask IsPlainBackdrop(const KeyRun& run, const Pixels& p) {
    const Scale k{run.levelScale};
    const Doubles dist =
        Square(p.R / k - p.bgR / k) + Square(p.G / k - p.bgG / k) + Square(p.B / k - p.bgB / k);
    return dist < run.limits.plainBelow;
}

// Each of the following sets alpha and foreground of the lanes of one case, and adds those of them that the
// corrections may change to `correct`.

static inline void DecidePlain(const KeyRun& run, DoubleMask plain, Pixels* p, DoubleMask* correct) {
    p->alpha = Select(plain, 0, p->alpha);
    Paint(plain, 0, 0, 0, p);
    if (run.showSelect) {
        PaintKeyed(run, plain, 1, p);
        *correct = *correct | plain;
    } else if (run.sBlack > 0) {
        // Only the dark rescue can still change a pixel whose foreground is 0.
        *correct = *correct | (plain & (p->G < p->bgG));
    }
}

static inline void DecideGrey(DoubleMask grey, Pixels* p, DoubleMask* correct) {
    p->fgG = Select(grey, Min(p->G, Max(p->R, p->B)), p->fgG);
    *correct = *correct | grey;
}

static inline void DecideShape(const KeyRun& run, DoubleMask shape, Pixels* p, DoubleMask* correct) {
    p->alpha = Select(shape, 0, p->alpha);
    if (run.limits.shapeIsConstant) {
        const DoubleMask low = IsLow(run, *p);
        const Rgb &wide = run.limits.shapeWide, &narrow = run.limits.shapeNarrow;
        Paint(shape, Select(low, wide.r, narrow.r), Select(low, wide.g, narrow.g),
              Select(low, wide.b, narrow.b), p);
        return;
    }
    Paint(shape, kShapeForeground, run.maxSample, 0, p);
    if (run.showSelect) PaintKeyed(run, shape, run.levelScale, p);
    *correct = *correct | shape;
}

static inline void DecideOpaque(const KeyRun& run, DoubleMask opaque, Pixels* p, DoubleMask* correct) {
    const Scale k{run.levelScale};
    p->alpha = Select(opaque, 1, p->alpha);
    if (run.showSelect) {
        Paint(opaque, kMatteOpaqueDim * k, kMatteOpaqueDim * k, kMatteOpaqueThird * k, p);
        *correct = *correct | opaque;
    } else {
        *correct = *correct | (opaque & !IsFarFromGrey(run, *p));
    }
}

// The lanes whose search ends with an alpha of 1, which leaves nothing to unmix.
static inline void DecideWhole(const KeyRun& run, DoubleMask whole, Pixels* p, DoubleMask* correct) {
    p->alpha = Select(whole, 1, p->alpha);
    *correct = *correct | (whole & !IsLeftAlone(run, *p));
}

// Decides the keyed lanes as far as no search is needed and queues the others. On return the foreground and
// the alpha of the lanes that were not queued are final.
static inline void Classify(const KeyRun& run, DoubleMask keyed, Doubles at, Pixels* p, Queue* queue) {
    const DerivedLimits& limits = run.limits;
    const Scale k{run.levelScale};
    const DoubleMask plain = keyed & IsPlainBackdrop(run, *p);
    DoubleMask undecided = keyed & !plain;

    const Doubles chroma = Square(p->R - p->G) + Square(p->G - p->B);
    const Doubles maxC = Max(Max(p->R, p->G), p->B);
    const DoubleMask grey = undecided & (chroma < limits.greyBelow) & (p->bgG - p->bgR > maxC);
    undecided = undecided & !grey;

    DoubleMask shape = undecided & (chroma > limits.colouredAbove);
    if (Any(shape)) shape = IsBackdropByShape(run, *p, shape);
    undecided = undecided & !shape;

    const DoubleMask opaque = undecided & (Select(p->B > p->R, p->B, p->R) > kOpaqueLead * k + p->G);
    DoubleMask search = undecided & !opaque;

    DoubleMask correct = keyed & !keyed;
    if (Any(search) && !run.showSelect) {
        const DoubleMask whole = search & (StopsAtOnce(run, *p) | IsOpaqueByEstimate(run, *p));
        search = search & !whole;
        if (Any(whole)) DecideWhole(run, whole, p, &correct);
    }
    if (Any(search)) Pack(queue, search, at, *p);
    if (Any(opaque)) DecideOpaque(run, opaque, p, &correct);
    if (Any(grey)) DecideGrey(grey, p, &correct);
    if (Any(plain)) DecidePlain(run, plain, p, &correct);
    if (Any(shape)) DecideShape(run, shape, p, &correct);
    if (!Any(correct)) return;
    Pixels corrected = *p;
    CorrectPixels(run, &corrected);
    Paint(correct, corrected.fgR, corrected.fgG, corrected.fgB, p);
    p->alpha = Select(correct, corrected.alpha, p->alpha);
}

}  // namespace keying::FROND_VARIANT

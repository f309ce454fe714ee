// The alpha search and the corrections, many pixels at a time. Each function does for every lane what its
// namesake in alpha_search.cpp and corrections.cpp does for one pixel, in the same order of operations; a
// step that a pixel would not take is worked out and not selected. Divisions by k are multiplications by its
// inverse, which are exact: k is a power of two.
#pragma once

#include "engine/key_run.h"
#include "engine/lanes.h"
#include "engine/search_steps.h"

namespace FROND_FORM {

struct PixelLanes {
    V R, G, B;
    V bgR, bgG, bgB;
    V fgR, fgG, fgB;
    V alpha;
};

static inline V Square(V v) {
    return v * v;
}

static inline V FirstEstimate(V seen, V backdrop, V gain) {
    const V level = backdrop * gain;
    const M below = Greater(level, seen);
    const V ratio = Select(below, seen, seen - level) / Select(below, backdrop, Set(255) - level);
    return Select(below, Set(1) - ratio * gain, ratio);
}

static inline V FirstEstimate(V seen, V backdrop) {
    const M below = Greater(backdrop, seen);
    const V ratio = Select(below, seen, seen - backdrop) / Select(below, backdrop, Set(255) - backdrop);
    return Select(below, Set(1) - ratio, ratio);
}

static inline V Candidate(V seen, V backdrop, V a, V maxSample) {
    return LimitTo((seen - (Set(1) - a) * backdrop) / a, Set(0), maxSample);
}

// The side of the stronger of red and third channel.
struct SideLanes {
    M red;
    M halfway;     // the half-way test runs
    V coarseLead;  // v of the coarse search
    V fineLead;
};

static inline SideLanes SidesOf(const KeyRun& run, const PixelLanes& p) {
    const M blue = Greater(p.B, p.R);
    const M all = FirstLanes(kLanes);
    const V fine = Set(run.blueLogic ? -40 : 20);
    return {AndNot(all, blue), run.blueLogic ? blue : AndNot(all, blue), Select(blue, fine, Set(20)), fine};
}

static inline M StopsSearch(const KeyRun& run, const PixelLanes& p, const SideLanes& side, V lead, V a) {
    const V maxSample = Set(run.maxSample), invK = Set(1 / run.levelScale), dark = Set(5 * run.levelScale);
    const V sAlter = Set(run.sAlter);
    const V fR = Candidate(p.R, p.bgR, a, maxSample);
    const V fG = Candidate(p.G, p.bgG, a, maxSample);
    const V fB = Candidate(p.B, p.bgB, a, maxSample);
    M stop = And(Less(fG, dark), Less(Select(side.red, fR, fB), dark));
    stop = Or(stop, Less(fG * invK, fR * invK - Set(40) + sAlter - Set(100)));
    stop = Or(stop, Less(fG * invK, fB * invK + lead + sAlter - Set(100)));
    return Or(stop, And(side.halfway, LessEqual(fG, (fR + fB) / Set(2))));
}

// A line that starts s above its bound and falls by `fall` for each unit of 1 / a. A start that is not above
// the bound is the soonest of all.
struct FallingLine {
    V s, fall;
};

// The line that reaches its bound first, if any falls.
static inline FallingLine Sooner(const FallingLine& a, const FallingLine& b) {
    const M reached = LessEqual(a.s, Set(0));
    const M second = Or(AndNot(Less(b.s * a.fall, a.s * b.fall), reached), LessEqual(b.s, Set(0)));
    return {Select(second, b.s, a.s), Select(second, b.fall, a.fall)};
}

// A value of a above which no stop test of these lanes can say stop; 1 where nothing is known.
//
// With x = 1 / a, a candidate channel is w + (w - bg) t, t = x - 1, limited to 0..M. So fG is at least the
// smaller of wG + dG t and M, and fR and fB are at most the larger of wR + dR t, wB + dB t and 0, where d = w
// - bg. Put into the four conditions, this leaves straight lines in t, each of which must have fallen below
// its bound before the condition can hold: a line that starts s above its bound and falls by `fall` each unit
// of t stays above while s > fall t, that is while a > fall / (fall + s). The smallest s / fall of all lines
// counts.
//
// s is taken a thousandth of a level short, far more than the rounding of the exact test amounts to while a
// is not below kSmallestSkip: there every candidate is known to some 1e-10 levels. A line with a non-number
// does not count, and the condition that it stands for is then false.
static inline V SearchBound(const KeyRun& run, const PixelLanes& p, const SideLanes& side, V lead) {
    const V k = Set(run.levelScale), slack = Set(0.001 * run.levelScale);
    const V dR = p.R - p.bgR, dG = p.G - p.bgG, dB = p.B - p.bgB;
    const V level = Set(0), top = Set(run.maxSample), flat = Set(0), rise = flat - dG;

    // Dark: both the key channel and the strong one must fall below 5 levels, so the higher one must.
    const V strong = Select(side.red, p.R, p.B);
    const M keyHigher = Greater(p.G, strong);
    const FallingLine dark{Select(keyHigher, p.G, strong) - Set(5) * k - slack,
                           flat - Select(keyHigher, dG, Select(side.red, dR, dB))};
    // Against red and against the third channel, where nothing, the lower end or the upper end limits.
    const V alter = Set(run.sAlter);
    const V redBound = (alter - Set(140)) * k + slack, thirdBound = (lead + alter - Set(100)) * k + slack;
    const FallingLine red = Sooner({p.G - p.R - redBound, dR + rise},
                                   Sooner({p.G - level - redBound, rise}, {top - p.R - redBound, dR}));
    const FallingLine third = Sooner({p.G - p.B - thirdBound, dB + rise},
                                     Sooner({p.G - level - thirdBound, rise}, {top - p.B - thirdBound, dB}));
    // Half-way, doubled, alike; where the test does not run, its lines are far off.
    const V off = Select(side.halfway, flat, Set(1e30)) - slack;
    const V twice = p.G + p.G + off, twiceRise = rise + rise, twiceTop = top + top + off;
    const FallingLine low =
        Sooner(Sooner({twice - p.R - p.B, twiceRise + dR + dB}, {twice - p.R, twiceRise + dR}),
               Sooner({twice - p.B, twiceRise + dB}, {twice, twiceRise}));
    const FallingLine high =
        Sooner({twiceTop - p.R - p.B, dR + dB}, Sooner({twiceTop - p.R, dR}, {twiceTop - p.B, dB}));
    const FallingLine first = Sooner(Sooner(dark, red), Sooner(third, Sooner(low, high)));
    // Where no line falls, nothing stops above kSmallestSkip. A non-number compares false.
    const V fall = LimitLow(first.fall, flat);
    const V bound = fall / (fall + first.s);
    const M known = And(Greater(first.s, flat), Less(bound, Set(1)));
    return Select(known, bound, Set(1));
}

// The number of steps of the given size from `start` on that lie above the bound for certain: one less than
// fit, at least 0. The repeated subtraction has drifted by some 1e-14 at most.
static inline V StepsAbove(V start, V bound, double stepsPerOne) {
    const V fit = Truncate((start - LimitLow(bound, Set(kSmallestSkip))) * Set(stepsPerOne));
    return LimitLow(fit - Set(1), Set(0));
}

// What the quick test of the search needs of a pixel.
struct QuickLanes {
    V slopeR, slopeG, slopeB;  // w - bg, signed
    V redLimit, thirdLimit;    // what the key channel's lead is compared with
};

// Whether the lanes go on at x = 1 / a for certain, by candidates worked out without a division: bg + (w -
// bg) x for (w - (1 - a) bg) / a. The two differ by rounding alone, by some 1e-10 levels for a of
// kSmallestSkip and more, so that a test that passes by a thousandth of a level passes as it is defined. No
// number says no.
static inline M GoesOnForCertain(const KeyRun& run, const PixelLanes& p, const SideLanes& side,
                                 const QuickLanes& quick, V x) {
    const V maxSample = Set(run.maxSample), zero = Set(0), slack = Set(0.001 * run.levelScale);
    const V fR = LimitTo(p.bgR + quick.slopeR * x, zero, maxSample);
    const V fG = LimitTo(p.bgG + quick.slopeG * x, zero, maxSample);
    const V fB = LimitTo(p.bgB + quick.slopeB * x, zero, maxSample);
    M on = Greater(Largest(fG, Select(side.red, fR, fB)), Set(5.001 * run.levelScale));
    on = And(on, Greater(fG - fR, quick.redLimit));
    on = And(on, Greater(fG - fB, quick.thirdLimit));
    return AndNot(on, AndNot(side.halfway, Greater(fG - (fR + fB) * Set(0.5), slack)));
}

// Goes on from step `at` of the steps until each lane stops or has run out; gives the a that each ends with.
// The lanes run ahead by the quick test, each to the first step that it cannot pass, and there they are
// tested as the search is defined, all at once.
static inline V Descend(const KeyRun& run, const PixelLanes& p, const SideLanes& side, V lead,
                        const double* steps, const double* inverses, V at) {
    const V slack = Set(0.001 * run.levelScale), k = Set(run.levelScale), alter = Set(run.sAlter),
            one = Set(1);
    const QuickLanes quick{p.R - p.bgR, p.G - p.bgG, p.B - p.bgB, (alter - Set(140)) * k + slack,
                           (lead + alter - Set(100)) * k + slack};
    V a = Gather(steps, at);
    M going = Greater(a, Set(0));
    while (Any(going)) {
        M ahead = going;
        while (Any(ahead)) {
            // Several steps at once: one after the other, they would wait for each other's gathers.
            const V from = at;
            for (int i = 0; i < kStepsAhead; ++i) {
                const V x = Gather(inverses, from + Set(i));
                ahead = And(ahead, GoesOnForCertain(run, p, side, quick, x));
                at = Select(ahead, from + Set(i + 1), at);
            }
        }
        a = Gather(steps, at);
        going = AndNot(And(going, Greater(a, Set(0))), StopsSearch(run, p, side, lead, a));
        at = Select(going, at + one, at);
    }
    return Gather(steps, at);
}

// The unlimited a of the search.
static inline V SearchA(const KeyRun& run, const PixelLanes& p, const SideLanes& side) {
    V bound = SearchBound(run, p, side, side.coarseLead);
    const V coarse = Descend(run, p, side, side.coarseLead, kSearchSteps.coarse, kSearchSteps.coarseInverse,
                             LimitHigh(StepsAbove(Set(1), bound, 10), Set(kCoarseSteps - 3)));

    // One coarse step back, unless the first test stopped; the row of fine steps that starts there. The
    // coarse steps lie 0.1 apart, from 1 to a hair above 0 and then near -0.1.
    const V row = Truncate((Set(1) - coarse) * Set(10) + Set(0.5));
    const V first = row * Set(kFineStride);
    if (run.blueLogic) bound = SearchBound(run, p, side, side.fineLead);
    const V skip = StepsAbove(Gather(kSearchSteps.fine, first), bound, 200);
    return Descend(run, p, side, side.fineLead, kSearchSteps.fine, kSearchSteps.fineInverse, first + skip);
}

static inline V RaiseToEstimates(const KeyRun& run, const PixelLanes& p, const SideLanes& side, V a) {
    const V gain = Set(run.darkGain);
    const V aR = FirstEstimate(p.R, p.bgR, gain);
    const V aG = FirstEstimate(p.G, p.bgG);
    const V aB = FirstEstimate(p.B, p.bgB, gain);
    const V leading = Select(side.red, aR, aB);
    const V other = Select(side.red, aB, aR);
    const M otherCounts = Greater(Select(side.red, p.B, p.R), Select(side.red, p.bgB, p.bgR));
    a = Select(Less(a, leading), leading, a);
    a = Select(Less(a, aG), aG, a);
    return Select(And(otherCounts, Less(a, other)), other, a);
}

static inline V UnmixChannel(V seen, V backdrop, V u) {
    return LimitLow((seen - (Set(1) - u) * backdrop) / u, Set(0));
}

static inline void PaintMatteLanes(const KeyRun& run, PixelLanes* p) {
    const V k = Set(run.levelScale);
    const M between = And(Less(p->alpha, Set(1)), Greater(p->alpha, Set(0.01)));
    V t = (p->alpha - Set(0.5)) * Set(run.sScale / 50) + Set(0.5);
    t = Select(between, t + Set((run.sSelect - 100) / 100), p->alpha);
    t = LimitTo(t, Set(0), Set(1));
    const V grey = t * Set(200) * k;
    const V tinted = grey + Set(55) * t;
    const M blue = Greater(p->B, p->R);
    const M opaque = GreaterEqual(p->alpha, Set(0.95));
    const M keyed = LessEqual(p->alpha, Set(0.05));
    const M above = Greater(p->G, p->bgG);
    p->fgR = Select(opaque, Set(40) * k, Select(blue, grey, tinted));
    p->fgG = Select(opaque, Set(40) * k, grey);
    p->fgB = Select(opaque, Set(200) * k, Select(blue, tinted, grey));
    p->fgR = Select(keyed, Select(above, Set(100), Set(50)) * k, p->fgR);
    p->fgG = Select(keyed, Select(above, Set(run.maxSample), Set(150)) * k, p->fgG);
    p->fgB = Select(keyed, Select(above, Set(100), Set(50)) * k, p->fgB);
    p->alpha = Set(1);
}

// The main path of the decision: search, floors, lift of the seen colour, unmixing. The foreground on entry
// does not count.
static inline void SearchLanes(const KeyRun& run, PixelLanes* p) {
    const SideLanes side = SidesOf(run, *p);
    V a = RaiseToEstimates(run, *p, side, SearchA(run, *p, side));
    const V u = LimitHigh(LimitLow(a, Select(side.red, Set(0), Set(0.001))), Set(1));

    const V excessR = p->R - (Set(1) - a) * p->bgR;
    const M lowR = Less(excessR, Set(0));
    V wR = Select(lowR, p->R - excessR, p->R);
    V wG = Select(lowR, p->G - excessR, p->G);
    V wB = Select(lowR, p->B - excessR, p->B);
    const V excessB = wB - (Set(1) - a) * p->bgB;
    const M lowB = Less(excessB, Set(0));
    wR = Select(lowB, wR - excessB, wR);
    wG = Select(lowB, wG - excessB, wG);
    wB = Select(lowB, wB - excessB, wB);

    V fgR = UnmixChannel(wR, p->bgR, u), fgG = UnmixChannel(wG, p->bgG, u), fgB = UnmixChannel(wB, p->bgB, u);
    const V q = (p->R + p->G) / (fgR + fgG);
    const M darker = Less(q, Set(1));
    fgR = Select(darker, fgR * q, fgR);
    fgG = Select(darker, fgG * q, fgG);
    fgB = Select(darker, fgB * q, fgB);

    const M mixed = And(Greater(u, Set(0.005)), Less(u, Set(0.98)));
    const M gone = Equal(u, Set(0));
    p->alpha = LimitTo(u, Set(0), Set(1));
    p->fgR = Select(gone, Set(0), Select(mixed, fgR, p->R));
    p->fgG = Select(gone, Set(0), Select(mixed, fgG, p->G));
    p->fgB = Select(gone, Set(0), Select(mixed, fgB, p->B));
    if (run.showSelect) PaintMatteLanes(run, p);
}

static inline V PullWideChannel(V f, V near, V mx) {
    f = DivideBy<125, 16>((Set(2000) - near) * f) + DivideBy<125, 16>(near) * mx;
    return DivideBy<125, 16>(Set(1500) * f) + Set(0.25) * mx;
}

static inline V PullNarrowChannel(V f, V spread, V mx) {
    return DivideBy<25, 2>(f * spread) + DivideBy<25, 2>((Set(50) - spread) * mx);
}

static inline void RescueDarkLanes(PixelLanes* p, M dark) {
    const V one = Set(1);
    const M third = Less(p->R, p->B);
    const V keyDarkness = one - p->G / p->bgG;
    const V otherDarkness = one - Select(third, p->B, p->R) / Select(third, p->bgB, p->bgR);
    const V v = (keyDarkness + otherDarkness) / Set(2);
    p->alpha = Select(And(dark, Greater(v, p->alpha)), v, p->alpha);
    const V other = Select(third, p->fgB, p->fgR);
    p->fgG = Select(And(dark, Less(other, p->fgG)), other, p->fgG);
}

static inline void CorrectLanes(const KeyRun& run, PixelLanes* p) {
    const V k = Set(run.levelScale), invK = Set(1 / run.levelScale);
    const V five = Set(5 * run.levelScale), ten = Set(10 * run.levelScale);
    const V kR = p->fgR * invK, kG = p->fgG * invK, kB = p->fgB * invK;
    const V spread = Sqrt(Square(kR - kB) + Square(kG - kB) + Square(kG - kR)) * Set(run.maxSample) / p->fgG;

    const M wide = And(Less(spread, Set(500)), And(Less(p->B - five, p->G), Less(p->R - five, p->G)));
    if (Any(wide)) {
        const V mx = Largest(Largest(p->fgR, p->fgG), p->fgB);
        const V near = Set(500) - spread;
        p->fgR = Select(wide, PullWideChannel(p->fgR, near, mx), p->fgR);
        p->fgG = Select(wide, PullWideChannel(p->fgG, near, mx), p->fgG);
        p->fgB = Select(wide, PullWideChannel(p->fgB, near, mx), p->fgB);
    }
    const M narrow = Less(spread, Set(50));
    if (Any(narrow)) {
        const V mx = Largest(Largest(p->fgR, p->fgG), p->fgB);
        p->fgR = Select(narrow, PullNarrowChannel(p->fgR, spread, mx), p->fgR);
        p->fgG = Select(narrow, PullNarrowChannel(p->fgG, spread, mx), p->fgG);
        p->fgB = Select(narrow, PullNarrowChannel(p->fgB, spread, mx), p->fgB);
    }

    const V remove = Set(run.sRemove), fifty = Set(50), green = p->fgG * invK;
    M drop = And(Less(p->fgR * invK + fifty - remove, green), Less(p->fgB * invK + fifty - remove, green));
    drop = And(drop, Less(p->alpha, Set(0.8)));
    p->alpha = Select(drop, Set(0), p->alpha);

    M dark = Less(p->fgR + p->fgG + p->fgB, Set((run.sBlack + run.sBlack)) * k);
    dark = And(dark, And(LessEqual(p->fgR, ten + p->fgG), LessEqual(p->fgB, ten + p->fgG)));
    dark = And(dark, Less(p->G, p->bgG));
    if (Any(dark)) RescueDarkLanes(p, dark);

    const M between = And(Less(p->alpha, Set(1)), Greater(p->alpha, Set(0.01)));
    const V scaled = (p->alpha - Set(0.5)) * Set(run.sScale / 50) + Set(0.5);
    p->alpha = Select(between, scaled + Set((run.sSelect - 100) / 100), p->alpha);
    p->alpha = LimitTo(p->alpha, Set(0), Set(1));
}

}  // namespace FROND_FORM

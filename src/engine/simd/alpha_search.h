// The alpha search and the corrections, many pixels at a time. Each function does for every lane what its
// namesake in alpha_search.cpp and corrections.cpp does for one pixel, in the same order of operations; a
// step that a pixel would not take is worked out and not selected. Divisions by k are multiplications by its
// inverse, which are exact: k is a power of two.
#pragma once

#include "engine/key_run.h"
#include "engine/simd/search_steps.h"
#include "engine/simd/vec.h"

namespace keying::FROND_VARIANT {

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

// The stop test on a foreground in 0..M.
static inline M MeetsStopTest(const KeyRun& run, const SideLanes& side, V lead, V fR, V fG, V fB) {
    const V invK = Set(1 / run.levelScale), dark = Set(5 * run.levelScale), alter = Set(run.sAlter);
    M stop = And(Less(fG, dark), Less(Select(side.red, fR, fB), dark));
    stop = Or(stop, Less(fG * invK, fR * invK - Set(40) + alter - Set(100)));
    stop = Or(stop, Less(fG * invK, fB * invK + lead + alter - Set(100)));
    return Or(stop, And(side.halfway, LessEqual(fG, (fR + fB) / Set(2))));
}

static inline M StopsSearch(const KeyRun& run, const PixelLanes& p, const SideLanes& side, V lead, V a) {
    const V maxSample = Set(run.maxSample);
    return MeetsStopTest(run, side, lead, Candidate(p.R, p.bgR, a, maxSample),
                         Candidate(p.G, p.bgG, a, maxSample), Candidate(p.B, p.bgB, a, maxSample));
}

// The lanes whose coarse and fine search both stop at their first step, a = 1, at which a candidate is the
// seen channel itself, whatever the backdrop, if only that is a number.
static inline M StopsAtOnce(const KeyRun& run, const PixelLanes& p) {
    const SideLanes side = SidesOf(run, p);
    const V maxSample = Set(run.maxSample);
    const V R = LimitHigh(p.R, maxSample), G = LimitHigh(p.G, maxSample), B = LimitHigh(p.B, maxSample);
    M stops = MeetsStopTest(run, side, side.fineLead, R, G, B);
    if (run.blueLogic) stops = And(stops, MeetsStopTest(run, side, side.coarseLead, R, G, B));
    return And(stops, Less(Abs(p.bgR) + Abs(p.bgG) + Abs(p.bgB), Set(1e9)));
}

// Takes the open lanes on from step `at` of the steps until each stops or has run out; gives the step that
// each ends with.
static inline V Descend(const KeyRun& run, const PixelLanes& p, const SideLanes& side, V lead,
                        const double* steps, M open, V at) {
    V a = Gather(steps, at);
    open = And(open, Greater(a, Set(0)));
    while (Any(open)) {
        open = AndNot(open, StopsSearch(run, p, side, lead, a));
        at = Select(open, at + Set(1), at);
        a = Gather(steps, at);
        open = And(open, Greater(a, Set(0)));
    }
    return at;
}

// The fine step that the open lanes' search ends with; it does not stop before the coarse step given.
static inline V SearchFrom(const KeyRun& run, const PixelLanes& p, const SideLanes& side, M open, V coarse) {
    const V row = Descend(run, p, side, side.coarseLead, kSearchSteps.coarse, open, coarse);
    return Descend(run, p, side, side.fineLead, kSearchSteps.fine, open, row * Set(kFineStride));
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
// does not count. coarse and fine: what FindSteps found.
static inline void SearchLanes(const KeyRun& run, V coarse, V fine, PixelLanes* p) {
    const SideLanes side = SidesOf(run, *p);
    const M open = Less(fine, Set(0));
    if (Any(open)) fine = Select(open, SearchFrom(run, *p, side, open, coarse), fine);
    const V a = RaiseToEstimates(run, *p, side, Gather(kSearchSteps.fine, fine));
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

}  // namespace keying::FROND_VARIANT

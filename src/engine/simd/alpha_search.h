// The alpha search, many pixels at a time. Each function does for every lane what its namesake in
// scalar/alpha_search.cpp does for one pixel, in the same order of operations. A step that a pixel does not
// take is computed and not selected.
#pragma once

#include "engine/colour.h"
#include "engine/constants.h"
#include "engine/key_run.h"
#include "engine/simd/search_steps.h"
#include "engine/simd/vec.h"

namespace keying::FROND_VARIANT {

struct Pixels {
    Doubles R, G, B;
    Doubles bgR, bgG, bgB;
    Doubles fgR, fgG, fgB;
    Doubles alpha;
};

// The side of the stronger of red and third channel, and what follows from it.
struct Side {
    DoubleMask red;
    Doubles coarseLead, fineLead;
    DoubleMask halfwayTest;
};

static inline Side SideOf(const KeyRun& run, const Pixels& p) {
    const DoubleMask red = !(p.B > p.R);
    const Doubles lead = run.blueLogic ? -kStopSlack : kStopLead;
    return {red, Select(red, kStopLead, lead), lead, run.blueLogic ? !red : red};
}

// The seen colour while the search works on it.
struct Search {
    Doubles wR, wG, wB;
    Doubles a;  // the alpha under search
    Doubles u;  // the alpha that unmixing uses
};

static inline Doubles FirstEstimate(Doubles seen, Doubles backdrop, Doubles gain) {
    const Doubles level = backdrop * gain;
    const DoubleMask below = level > seen;
    const Doubles ratio = Select(below, seen, seen - level) / Select(below, backdrop, kEstimateWhite - level);
    return Select(below, 1 - ratio * gain, ratio);
}

static inline Doubles FirstEstimate(Doubles seen, Doubles backdrop) {
    const DoubleMask below = backdrop > seen;
    const Doubles ratio =
        Select(below, seen, seen - backdrop) / Select(below, backdrop, kEstimateWhite - backdrop);
    return Select(below, 1 - ratio, ratio);
}

static inline Doubles Candidate(Doubles seen, Doubles backdrop, Doubles a, Doubles maxSample) {
    return LimitTo((seen - (1 - a) * backdrop) / a, 0, maxSample);
}

// The stop test on a foreground in 0..M.
static inline DoubleMask MeetsStopTest(const KeyRun& run, const Side& side, Doubles lead, Doubles fR,
                                       Doubles fG, Doubles fB) {
    const Scale k{run.levelScale};
    DoubleMask stop = (fG < kStopDark * k) & (Select(side.red, fR, fB) < kStopDark * k);
    stop = stop | (fG / k < fR / k - kStopSlack + run.sAlter - kAlterNeutral);
    stop = stop | (fG / k < fB / k + lead + run.sAlter - kAlterNeutral);
    return stop | (side.halfwayTest & (fG <= (fR + fB) / 2));
}

static inline DoubleMask StopsSearch(const KeyRun& run, const Pixels& p, const Side& side, Doubles lead,
                                     Doubles a) {
    const Doubles maxSample = run.maxSample;
    return MeetsStopTest(run, side, lead, Candidate(p.R, p.bgR, a, maxSample),
                         Candidate(p.G, p.bgG, a, maxSample), Candidate(p.B, p.bgB, a, maxSample));
}

// The lanes whose coarse and fine search both stop at their first step, a = 1. A candidate is the seen
// channel there, if the backdrop is a number.
static inline DoubleMask StopsAtOnce(const KeyRun& run, const Pixels& p) {
    const Side side = SideOf(run, p);
    const Doubles R = Min(p.R, run.maxSample), G = Min(p.G, run.maxSample), B = Min(p.B, run.maxSample);
    DoubleMask stops = MeetsStopTest(run, side, side.fineLead, R, G, B);
    if (run.blueLogic) stops = stops & MeetsStopTest(run, side, side.coarseLead, R, G, B);
    return stops & (Abs(p.bgR) + Abs(p.bgG) + Abs(p.bgB) < 1e9);
}

// The lanes whose leading estimate is at least 1, which the alpha then is. With samples of 16 bits the gain
// is far below 0, and nearly every pixel is among them.
static inline DoubleMask IsOpaqueByEstimate(const KeyRun& run, const Pixels& p) {
    const DoubleMask red = !(p.B > p.R);
    const Doubles level = Select(red, p.bgR, p.bgB) * run.darkGain;
    return (Select(red, p.R, p.B) >= kEstimateWhite) & (level < kEstimateWhite) & (level > -1e9);
}

// Takes the searching lanes on from step `at` of the steps until each stops or has run out; gives the step
// that each ends with.
static inline Doubles DescendToStop(const KeyRun& run, const Pixels& p, const Side& side, Doubles lead,
                                    const double* steps, DoubleMask searching, Doubles at) {
    Doubles a = Gather(steps, at);
    searching = searching & (a > 0);
    while (Any(searching)) {
        searching = searching & !StopsSearch(run, p, side, lead, a);
        at = Select(searching, at + 1, at);
        a = Gather(steps, at);
        searching = searching & (a > 0);
    }
    return at;
}

// The fine step that the lanes end with, from what FindSteps found.
static inline Doubles FineStep(const KeyRun& run, const Pixels& p, const Side& side, Doubles coarse,
                               Doubles fine) {
    const DoubleMask searching = coarse > kDecided, coarsely = coarse > kCoarseFound;
    if (!Any(searching)) return fine;
    const Doubles row =
        DescendToStop(run, p, side, side.coarseLead, kSearchSteps.coarse, coarsely, Max(coarse, 0));
    return DescendToStop(run, p, side, side.fineLead, kSearchSteps.fine, searching,
                         Select(coarsely, row * kFineStride, fine));
}

static inline void RaiseToEstimates(const KeyRun& run, const Pixels& p, const Side& side, Search* s) {
    const Doubles aR = FirstEstimate(p.R, p.bgR, run.darkGain);
    const Doubles aG = FirstEstimate(p.G, p.bgG);
    const Doubles aB = FirstEstimate(p.B, p.bgB, run.darkGain);
    const Doubles leading = Select(side.red, aR, aB);
    const Doubles other = Select(side.red, aB, aR);
    const DoubleMask otherCounts = Select(side.red, p.B, p.R) > Select(side.red, p.bgB, p.bgR);
    s->a = Max(s->a, leading);
    s->a = Max(s->a, aG);
    s->a = Select(otherCounts, Max(s->a, other), s->a);
}

static inline void Lift(Search* s, Doubles excess) {
    const DoubleMask low = excess < 0;
    s->wR = Select(low, s->wR - excess, s->wR);
    s->wG = Select(low, s->wG - excess, s->wG);
    s->wB = Select(low, s->wB - excess, s->wB);
}

// coarse and fine: what FindSteps found.
static inline void FindAlpha(const KeyRun& run, Doubles coarse, Doubles fine, Pixels* p, Search* s) {
    const Side side = SideOf(run, *p);
    s->a = Gather(kSearchSteps.fine, FineStep(run, *p, side, coarse, fine));
    RaiseToEstimates(run, *p, side, s);
    s->u = LimitTo(s->a, Select(side.red, 0, kThirdSideFloor), 1);
    p->alpha = LimitTo(s->u, 0, 1);

    Lift(s, s->wR - (1 - s->a) * p->bgR);
    Lift(s, s->wB - (1 - s->a) * p->bgB);
}

static inline Doubles UnmixChannel(Doubles seen, Doubles backdrop, Doubles u) {
    return Max((seen - (1 - u) * backdrop) / u, 0);
}

static inline void Unmix(Pixels* p, const Search& s) {
    const Doubles fgR = UnmixChannel(s.wR, p->bgR, s.u);
    const Doubles fgG = UnmixChannel(s.wG, p->bgG, s.u);
    const Doubles fgB = UnmixChannel(s.wB, p->bgB, s.u);
    const Doubles q = (p->R + p->G) / (fgR + fgG);
    const DoubleMask darker = q < 1;
    const DoubleMask mixed = (s.u > kUnmixAbove) & (s.u < kUnmixBelow);
    const DoubleMask gone = s.u == 0;
    p->fgR = Select(gone, 0, Select(mixed, Select(darker, fgR * q, fgR), p->R));
    p->fgG = Select(gone, 0, Select(mixed, Select(darker, fgG * q, fgG), p->G));
    p->fgB = Select(gone, 0, Select(mixed, Select(darker, fgB * q, fgB), p->B));
}

// Contrast and offset of alpha, which PaintMatte and CorrectPixel apply.
static inline Doubles ApplyContrast(const KeyRun& run, Doubles alpha) {
    const DoubleMask between = (alpha < 1) & (alpha > kContrastAbove);
    const Doubles t = (alpha - kContrastCentre) * (run.sScale / kContrastUnit) + kContrastCentre;
    return LimitTo(Select(between, t + (run.sSelect - kOffsetNeutral) / kOffsetUnit, alpha), 0, 1);
}

// The view of a keyed pixel: red and third channel, and the key channel.
struct KeyedPaint {
    Doubles dim, key;
};

static inline KeyedPaint KeyedPaintOf(const KeyRun& run, const Pixels& p) {
    const DoubleMask above = p.G > p.bgG;
    return {Select(above, kKeyedBrightDim, kKeyedDarkDim), Select(above, run.maxSample, kKeyedDarkKey)};
}

static inline void PaintMatte(const KeyRun& run, Pixels* p) {
    const Scale k{run.levelScale};
    const Doubles t = ApplyContrast(run, p->alpha);
    const Doubles grey = t * kMatteGrey * k;
    const Doubles tinted = grey + kMatteTint * t;
    const DoubleMask blue = p->B > p->R;
    const DoubleMask opaque = p->alpha >= kMatteOpaqueFrom;
    const DoubleMask keyed = p->alpha <= kMatteKeyedTo;
    const KeyedPaint paint = KeyedPaintOf(run, *p);
    p->fgR = Select(opaque, kMatteOpaqueDim * k, Select(blue, grey, tinted));
    p->fgG = Select(opaque, kMatteOpaqueDim * k, grey);
    p->fgB = Select(opaque, kMatteOpaqueThird * k, Select(blue, tinted, grey));
    p->fgR = Select(keyed, paint.dim * k, p->fgR);
    p->fgG = Select(keyed, paint.key * k, p->fgG);
    p->fgB = Select(keyed, paint.dim * k, p->fgB);
    p->alpha = 1;
}

// SearchAlpha for the pixels that need the search. The foreground on entry does not count. coarse and fine:
// what FindSteps found.
static inline void SearchAlphas(const KeyRun& run, Doubles coarse, Doubles fine, Pixels* p) {
    Search s{p->R, p->G, p->B, 1, 1};
    FindAlpha(run, coarse, fine, p, &s);
    Unmix(p, s);
    if (run.showSelect) PaintMatte(run, p);
}

}  // namespace keying::FROND_VARIANT

// The corrections, many pixels at a time. Each function does for every lane what its namesake in
// scalar/corrections.cpp does for one pixel.
#pragma once

#include "engine/simd/alpha_search.h"

namespace keying::FROND_VARIANT {

static inline Doubles Spread(const KeyRun& run, const Pixels& p) {
    const Scale k{run.levelScale};
    return Sqrt(Square(p.fgR / k - p.fgB / k) + Square(p.fgG / k - p.fgB / k) +
                Square(p.fgG / k - p.fgR / k)) *
           run.maxSample / p.fgG;
}

static inline void PullWide(Pixels* p, DoubleMask wide, Doubles spread) {
    const Doubles mx = Max(Max(p->fgR, p->fgG), p->fgB);
    const Doubles near = kWideLimit - spread;
    const auto pull = [&](Doubles f) {
        f = DivideBy<kWideSpan>((kWideSpan - near) * f) + DivideBy<kWideSpan>(near) * mx;
        return DivideBy<kWideSpan>((kWideSpan - kWideLimit) * f) + kWideShare * mx;
    };
    p->fgR = Select(wide, pull(p->fgR), p->fgR);
    p->fgG = Select(wide, pull(p->fgG), p->fgG);
    p->fgB = Select(wide, pull(p->fgB), p->fgB);
}

static inline void PullNarrow(Pixels* p, DoubleMask narrow, Doubles spread) {
    const Doubles mx = Max(Max(p->fgR, p->fgG), p->fgB);
    const auto pull = [&](Doubles f) {
        return DivideBy<kGreyLimit>(f * spread) + DivideBy<kGreyLimit>((kGreyLimit - spread) * mx);
    };
    p->fgR = Select(narrow, pull(p->fgR), p->fgR);
    p->fgG = Select(narrow, pull(p->fgG), p->fgG);
    p->fgB = Select(narrow, pull(p->fgB), p->fgB);
}

static inline DoubleMask IsStillGreen(const KeyRun& run, const Pixels& p) {
    const Scale k{run.levelScale};
    return (p.fgR / k + kStillGreenLead - run.sRemove < p.fgG / k) &
           (p.fgB / k + kStillGreenLead - run.sRemove < p.fgG / k);
}

static inline DoubleMask IsDark(const KeyRun& run, const Pixels& p) {
    const Scale k{run.levelScale};
    return (p.fgR + p.fgG + p.fgB < (run.sBlack + run.sBlack) * k) & (p.fgR <= kDarkLead * k + p.fgG) &
           (p.fgB <= kDarkLead * k + p.fgG) & (p.G < p.bgG);
}

static inline void RescueDark(Pixels* p, DoubleMask dark) {
    const DoubleMask third = p->R < p->B;
    const Doubles keyDarkness = 1 - p->G / p->bgG;
    const Doubles otherDarkness = 1 - Select(third, p->B, p->R) / Select(third, p->bgB, p->bgR);
    const Doubles v = (keyDarkness + otherDarkness) / 2;
    p->alpha = Select(dark & (v > p->alpha), v, p->alpha);
    const Doubles other = Select(third, p->fgB, p->fgR);
    p->fgG = Select(dark & (other < p->fgG), other, p->fgG);
}

// Whether red and third channel are so low that the wide pull can apply.
static inline DoubleMask IsLow(const KeyRun& run, const Pixels& p) {
    const Scale k{run.levelScale};
    return (p.B - kWideLead * k < p.G) & (p.R - kWideLead * k < p.G);
}

// The corrections of the foreground, which come first.
static inline void PullToGrey(const KeyRun& run, Pixels* p) {
    const Doubles spread = Spread(run, *p);
    const DoubleMask wide = (spread < kWideLimit) & IsLow(run, *p);
    if (Any(wide)) PullWide(p, wide, spread);
    const DoubleMask narrow = spread < kGreyLimit;
    if (Any(narrow)) PullNarrow(p, narrow, spread);
}

static inline void CorrectPixels(const KeyRun& run, Pixels* p) {
    PullToGrey(run, p);
    p->alpha = Select(IsStillGreen(run, *p) & (p->alpha < kStillGreenBelow), 0, p->alpha);
    const DoubleMask dark = IsDark(run, *p);
    if (Any(dark)) RescueDark(p, dark);
    p->alpha = ApplyContrast(run, p->alpha);
}

}  // namespace keying::FROND_VARIANT

#include "engine/scalar/corrections.h"

#include <cmath>
#include <initializer_list>

#include "engine/colour.h"
#include "engine/constants.h"

namespace keying {

namespace {

// How far the foreground is from grey. With a key channel of 0 this is infinite or NaN, and no pull runs.
double Spread(const KeyRun& run, const Pixel& p) {
    const double k = run.levelScale;
    return std::sqrt(Square(p.fgR / k - p.fgB / k) + Square(p.fgG / k - p.fgB / k) +
                     Square(p.fgG / k - p.fgR / k)) *
           run.maxSample / p.fgG;
}

// Up to a quarter of the way to the brightest channel, by how grey the foreground is, and then a fixed
// quarter.
void PullWide(Pixel* p, double spread) {
    const double mx = Largest(p->fgR, p->fgG, p->fgB);
    const double near = kWideLimit - spread;
    for (double* f : {&p->fgR, &p->fgG, &p->fgB}) {
        *f = (kWideSpan - near) * *f / kWideSpan + near / kWideSpan * mx;
        *f = (kWideSpan - kWideLimit) * *f / kWideSpan + kWideShare * mx;
    }
}

void PullNarrow(Pixel* p, double spread) {
    const double mx = Largest(p->fgR, p->fgG, p->fgB);
    for (double* f : {&p->fgR, &p->fgG, &p->fgB}) {
        *f = *f * spread / kGreyLimit + (kGreyLimit - spread) * mx / kGreyLimit;
    }
}

bool IsStillGreen(const KeyRun& run, const Pixel& p) {
    const double k = run.levelScale;
    return p.fgR / k + kStillGreenLead - run.sRemove < p.fgG / k &&
           p.fgB / k + kStillGreenLead - run.sRemove < p.fgG / k;
}

bool IsDark(const KeyRun& run, const Pixel& p) {
    const double k = run.levelScale;
    return p.fgR + p.fgG + p.fgB < (run.sBlack + run.sBlack) * k && p.fgR <= kDarkLead * k + p.fgG &&
           p.fgB <= kDarkLead * k + p.fgG && p.G < p.bgG;
}

// Alpha rises to the pixel's mean darkness against the backdrop in the key channel and in the stronger other
// channel, and the key channel cannot stay above that other channel.
void RescueDark(Pixel* p) {
    const double keyDarkness = 1 - p->G / p->bgG;
    if (p->R < p->B) {
        const double v = ((1 - p->B / p->bgB) + keyDarkness) / 2;
        if (v > p->alpha) p->alpha = v;
        if (p->fgB < p->fgG) p->fgG = p->fgB;
    } else {
        const double v = (keyDarkness + (1 - p->R / p->bgR)) / 2;
        if (v > p->alpha) p->alpha = v;
        if (p->fgR < p->fgG) p->fgG = p->fgR;
    }
}

}  // namespace

void CorrectPixel(const KeyRun& run, Pixel* p) {
    const double k = run.levelScale;
    const double spread = Spread(run, *p);
    if (spread < kWideLimit && p->B - kWideLead * k < p->G && p->R - kWideLead * k < p->G)
        PullWide(p, spread);
    if (spread < kGreyLimit) PullNarrow(p, spread);
    if (IsStillGreen(run, *p) && p->alpha < kStillGreenBelow) p->alpha = 0;
    if (IsDark(run, *p)) RescueDark(p);
    if (p->alpha < 1 && p->alpha > kContrastAbove) {
        p->alpha = (p->alpha - kContrastCentre) * (run.sScale / kContrastUnit) + kContrastCentre;
        p->alpha += (run.sSelect - kOffsetNeutral) / kOffsetUnit;
    }
    if (p->alpha < 0) p->alpha = 0;
    if (p->alpha > 1) p->alpha = 1;
}

}  // namespace keying

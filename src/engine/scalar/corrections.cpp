#include "engine/scalar/corrections.h"

#include <cmath>
#include <initializer_list>

#include "engine/colour.h"

namespace {

constexpr double greyLimit = 50.0;  // 8-bit levels, of a foreground brought to full key channel
constexpr double kWideLimit = greyLimit * 10;

double Square(double v) {
    return v * v;
}

// How far the foreground is from grey. A key channel of 0 makes this infinite or no number, and no pull runs.
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
        *f = (2000 - near) * *f / 2000 + near / 2000 * mx;
        *f = (2000 - 500) * *f / 2000 + 500.0 / 2000 * mx;
    }
}

void PullNarrow(Pixel* p, double spread) {
    const double mx = Largest(p->fgR, p->fgG, p->fgB);
    for (double* f : {&p->fgR, &p->fgG, &p->fgB}) {
        *f = *f * spread / greyLimit + (greyLimit - spread) * mx / greyLimit;
    }
}

bool IsStillGreen(const KeyRun& run, const Pixel& p) {
    const double k = run.levelScale;
    return p.fgR / k + 50 - run.sRemove < p.fgG / k && p.fgB / k + 50 - run.sRemove < p.fgG / k;
}

bool IsDark(const KeyRun& run, const Pixel& p) {
    const double k = run.levelScale;
    return p.fgR + p.fgG + p.fgB < (run.sBlack + run.sBlack) * k && p.fgR <= 10 * k + p.fgG &&
           p.fgB <= 10 * k + p.fgG && p.G < p.bgG;
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
    if (spread < kWideLimit && p->B - 5 * k < p->G && p->R - 5 * k < p->G) PullWide(p, spread);
    if (spread < greyLimit) PullNarrow(p, spread);
    if (IsStillGreen(run, *p) && p->alpha < 0.8) p->alpha = 0;
    if (IsDark(run, *p)) RescueDark(p);
    if (p->alpha < 1 && p->alpha > 0.01) {
        p->alpha = (p->alpha - 0.5) * (run.sScale / 50) + 0.5;
        p->alpha += (run.sSelect - 100) / 100;
    }
    if (p->alpha < 0) p->alpha = 0;
    if (p->alpha > 1) p->alpha = 1;
}

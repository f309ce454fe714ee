#include "engine/scalar/alpha_search.h"

#include <cmath>

#include "engine/colour.h"
#include "engine/constants.h"

namespace keying {

namespace {

// The side of the stronger of red and third channel, and what follows from it.
struct Side {
    bool red;
    double coarseLead, fineLead;  // v: how far the key channel stays above the third channel
    bool halfwayTest;
};

// The lopsided kStopLead of the red side's coarse search under blue logic is intended.
Side SideOf(const KeyRun& run, const Pixel& p) {
    const bool red = !(p.B > p.R);
    const double lead = run.blueLogic ? -kStopSlack : kStopLead;
    return {red, red ? kStopLead : lead, lead, red != run.blueLogic};
}

// The seen colour while the search works on it.
struct Search {
    double wR, wG, wB;
    double a;  // the alpha under search, carried by repeated subtraction
    double u;  // the alpha that unmixing uses
};

// Distance in 8-bit levels of the pixel from the backdrop's colour scaled by t.
double LineDistance(const KeyRun& run, const Pixel& p, double t) {
    const double k = run.levelScale;
    return std::sqrt(Square(p.R / k - p.bgR * t / k) + Square(p.G / k - p.bgG * t / k) +
                     Square(p.B / k - p.bgB * t / k));
}

bool IsPlainBackdrop(const KeyRun& run, const Pixel& p) {
    const double k = run.levelScale;
    const double dist =
        std::sqrt(Square(p.R / k - p.bgR / k) + Square(p.G / k - p.bgG / k) + Square(p.B / k - p.bgB / k));
    return dist < kPlainDistance && run.sRemove > kPlainFromRemove;
}

// Whether the pixel is near the line from black through the backdrop's colour.
bool IsBackdropByShape(const KeyRun& run, const Pixel& p) {
    const double dG = LineDistance(run, p, p.G / p.bgG);
    const double dR = LineDistance(run, p, p.R / p.bgR) * p.bgR / p.bgG;
    const double dB = LineDistance(run, p, p.B / p.bgB) * p.bgB / p.bgG;
    const double lineDist = dR + dG + dB;
    const double lineLoss = lineDist * (p.G - Larger(p.R, p.B)) / run.maxSample;
    return lineDist - lineLoss < run.sRemove;
}

void Paint(Pixel* p, const Rgb& colour, double scale) {
    p->fgR = colour.r * scale;
    p->fgG = colour.g * scale;
    p->fgB = colour.b * scale;
}

Rgb KeyedPaint(const KeyRun& run, const Pixel& p) {
    return p.G > p.bgG ? Rgb{kKeyedBrightDim, run.maxSample, kKeyedBrightDim}
                       : Rgb{kKeyedDarkDim, kKeyedDarkKey, kKeyedDarkDim};
}

// Steps 1 to 5 of the decision: the cases that need no search. False when the pixel is none of them.
bool SettleSpecialCase(const KeyRun& run, Pixel* p) {
    if (IsPlainBackdrop(run, *p)) {
        p->alpha = 0;
        Paint(p, {0, 0, 0}, 1);
        if (run.showSelect) {
            p->alpha = 1;
            Paint(p, KeyedPaint(run, *p), 1);  // the one paint that is not scaled to the depth, on purpose
        }
        return true;
    }
    const double chroma = std::sqrt(Square(p->R - p->G) + Square(p->G - p->B));
    if (chroma < run.sBlack * kGreyChroma && p->bgG - p->bgR > p->maxC) {
        // Dark and nearly colourless: foreground, even if it is near the line.
        p->fgG = Smaller(p->G, Larger(p->R, p->B));
        return true;
    }
    if (chroma > run.sBlack + run.sBlack && IsBackdropByShape(run, *p)) {
        p->alpha = 0;
        Paint(p, {kShapeForeground, run.maxSample, 0}, 1);  // stays in the ring
        if (run.showSelect) {
            p->alpha = 1;
            Paint(p, KeyedPaint(run, *p), run.levelScale);
        }
        return true;
    }
    return false;
}

// An estimate of alpha from one channel alone: how far it is from the backdrop's level, raised by `gain`,
// towards black or towards kEstimateWhite.
double FirstEstimate(double seen, double backdrop, double gain) {
    const double level = backdrop * gain;
    return level > seen ? 1 - seen / backdrop * gain : (seen - level) / (kEstimateWhite - level);
}

double FirstEstimate(double seen, double backdrop) {
    return backdrop > seen ? 1 - seen / backdrop : (seen - backdrop) / (kEstimateWhite - backdrop);
}

double Candidate(double seen, double backdrop, double a, double maxSample) {
    double f = (seen - (1 - a) * backdrop) / a;
    if (f < 0) f = 0;
    if (f > maxSample) f = maxSample;
    return f;
}

// Whether the foreground left at `a` is dark, or no longer greenish. lead: v of the side.
bool StopsSearch(const KeyRun& run, const Pixel& p, const Search& s, const Side& side, double lead) {
    const double k = run.levelScale;
    const double fR = Candidate(s.wR, p.bgR, s.a, run.maxSample);
    const double fG = Candidate(s.wG, p.bgG, s.a, run.maxSample);
    const double fB = Candidate(s.wB, p.bgB, s.a, run.maxSample);
    if (fG < kStopDark * k && (side.red ? fR : fB) < kStopDark * k) return true;
    if (fG / k < fR / k - kStopSlack + run.sAlter - kAlterNeutral) return true;
    if (fG / k < fB / k + lead + run.sAlter - kAlterNeutral) return true;
    return side.halfwayTest && fG <= (fR + fB) / 2;
}

void DescendToStop(const KeyRun& run, const Pixel& p, const Side& side, double lead, double step, Search* s) {
    while (s->a > 0) {
        if (StopsSearch(run, p, *s, side, lead)) return;
        s->a -= step;
    }
}

// `a` becomes at least each first estimate; the channel that does not lead counts only above the backdrop.
void RaiseToEstimates(const KeyRun& run, const Pixel& p, const Side& side, Search* s) {
    const double aR = FirstEstimate(p.R, p.bgR, run.darkGain);
    const double aG = FirstEstimate(p.G, p.bgG);
    const double aB = FirstEstimate(p.B, p.bgB, run.darkGain);
    const double leading = side.red ? aR : aB;
    const double other = side.red ? aB : aR;
    const bool otherCounts = side.red ? p.B > p.bgB : p.R > p.bgR;
    if (s->a < leading) s->a = leading;
    if (s->a < aG) s->a = aG;
    if (otherCounts && s->a < other) s->a = other;
}

void Lift(Search* s, double excess) {
    if (!(excess < 0)) return;
    s->wR -= excess;
    s->wG -= excess;
    s->wB -= excess;
}

// Finds alpha; `a` keeps its unlimited value for the lift of the seen colour, which keeps red and third
// channel reachable. The key channel has no such step.
void FindAlpha(const KeyRun& run, Pixel* p, const Side& side, Search* s) {
    s->a = 1.0;
    DescendToStop(run, *p, side, side.coarseLead, kCoarseStep, s);
    if (s->a != 1.0) s->a += kCoarseStep;
    DescendToStop(run, *p, side, side.fineLead, kFineStep, s);
    RaiseToEstimates(run, *p, side, s);

    p->alpha = s->a;
    const double floor = side.red ? 0 : kThirdSideFloor;
    if (p->alpha < floor) p->alpha = floor;
    if (p->alpha > 1) p->alpha = 1;
    s->u = p->alpha;

    Lift(s, s->wR - (1 - s->a) * p->bgR);
    Lift(s, s->wB - (1 - s->a) * p->bgB);
}

double UnmixChannel(double seen, double backdrop, double u) {
    const double f = (seen - (1 - u) * backdrop) / u;
    return f < 0 ? 0 : f;
}

// Unmixing may change the colour but cannot make red plus key channel brighter than the seen pixel.
void Unmix(Pixel* p, const Search& s) {
    if (s.u > kUnmixAbove && s.u < kUnmixBelow) {
        p->fgR = UnmixChannel(s.wR, p->bgR, s.u);
        p->fgG = UnmixChannel(s.wG, p->bgG, s.u);
        p->fgB = UnmixChannel(s.wB, p->bgB, s.u);
        const double q = (p->R + p->G) / (p->fgR + p->fgG);
        if (q < 1) {
            p->fgR *= q;
            p->fgG *= q;
            p->fgB *= q;
        }
    }
    if (s.u == 0) Paint(p, {0, 0, 0}, 1);
}

// The view of the matte: blue where it is opaque, green where it is keyed, tinted greys between.
void PaintMatte(const KeyRun& run, Pixel* p) {
    double t = p->alpha;
    if (p->alpha < 1 && p->alpha > kContrastAbove) {
        t = (p->alpha - kContrastCentre) * (run.sScale / kContrastUnit) + kContrastCentre;
        t += (run.sSelect - kOffsetNeutral) / kOffsetUnit;
    }
    if (t < 0) t = 0;
    if (t > 1) t = 1;
    p->fgR = p->fgG = p->fgB = t * kMatteGrey * run.levelScale;
    (p->B > p->R ? p->fgB : p->fgR) += kMatteTint * t;  // the tint is not scaled to the depth, on purpose
    if (p->alpha >= kMatteOpaqueFrom)
        Paint(p, {kMatteOpaqueDim, kMatteOpaqueDim, kMatteOpaqueThird}, run.levelScale);
    if (p->alpha <= kMatteKeyedTo) Paint(p, KeyedPaint(run, *p), run.levelScale);
    p->alpha = 1;
}

}  // namespace

void SearchAlpha(const KeyRun& run, Pixel* p) {
    if (SettleSpecialCase(run, p)) return;

    const Side side = SideOf(run, *p);
    Search s{p->R, p->G, p->B, 1, 1};
    if ((side.red ? p->R : p->B) > kOpaqueLead * run.levelScale + p->G) {
        p->alpha = 1;  // plainly not backdrop
    } else {
        FindAlpha(run, p, side, &s);
    }
    if (p->alpha < 0) p->alpha = 0;
    if (p->alpha > 1) p->alpha = 1;
    Unmix(p, s);
    if (run.showSelect) PaintMatte(run, p);
}

}  // namespace keying

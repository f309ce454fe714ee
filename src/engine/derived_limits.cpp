#include "engine/derived_limits.h"

#include <cmath>
#include <limits>

#include "engine/constants.h"
#include "engine/scalar/corrections.h"

namespace keying {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// The smallest s with sqrt(s) >= root; 0 when every root is.
double SmallestWithRootFrom(double root) {
    if (!(root > 0)) return 0;
    double s = root * root;
    while (std::sqrt(s) >= root) s = std::nextafter(s, 0.0);
    while (std::sqrt(s) < root) s = std::nextafter(s, kInfinity);
    return s;
}

// The largest s with sqrt(s) <= root; -1 when no root is.
double LargestWithRootTo(double root) {
    if (root < 0) return -1;
    double s = root * root;
    while (std::sqrt(s) <= root) s = std::nextafter(s, kInfinity);
    while (std::sqrt(s) > root) s = std::nextafter(s, 0.0);
    return s;
}

// Corrects the foreground of a pixel that is backdrop by its shape. The seen pixel is made up so that the
// wide pull applies or not, and that the dark rescue does not.
Rgb CorrectShape(const KeyRun& run, bool wide) {
    Pixel p = {};
    p.R = wide ? 0 : 2 * kWideLead * run.levelScale;
    p.bgG = -1;
    p.fgR = kShapeForeground;
    p.fgG = run.maxSample;
    CorrectPixel(run, &p);
    return {p.fgR, p.fgG, p.fgB};
}

bool MayBeDark(const KeyRun& run, const Rgb& fg) {
    return fg.r + fg.g + fg.b < (run.sBlack + run.sBlack) * run.levelScale;
}

}  // namespace

DerivedLimits MakeDerivedLimits(const KeyRun& run) {
    DerivedLimits limits;
    limits.plainBelow = run.sRemove > kPlainFromRemove ? SmallestWithRootFrom(kPlainDistance) : 0;
    limits.greyBelow = SmallestWithRootFrom(run.sBlack * kGreyChroma);
    limits.colouredAbove = LargestWithRootTo(run.sBlack + run.sBlack);
    limits.shapeWide = CorrectShape(run, true);
    limits.shapeNarrow = CorrectShape(run, false);
    limits.shapeIsConstant =
        !run.showSelect && !MayBeDark(run, limits.shapeWide) && !MayBeDark(run, limits.shapeNarrow);
    return limits;
}

}  // namespace keying

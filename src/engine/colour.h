// Colour triples and their hue.
//
// Functions of the engine's headers have internal linkage: the sources of the vector variants include them
// too, and a copy made for one instruction set must not serve another.
#pragma once

#include "engine/constants.h"

namespace keying {

// Logical channels: g is the key channel.
struct Rgb {
    double r, g, b;
};

template <class Number>
static inline Number Square(Number v) {
    return v * v;
}

static inline double Larger(double a, double b) {
    return a < b ? b : a;
}

static inline double Smaller(double a, double b) {
    return b < a ? b : a;
}

static inline double Largest(double r, double g, double b) {
    return Larger(Larger(r, g), b);
}

static inline double Smallest(double r, double g, double b) {
    return Smaller(Smaller(r, g), b);
}

struct HueSat {
    double hue;  // degrees, 0 up to but not including 360
    double sat;  // 0 to 1
};

// Hue and saturation of a colour; both 0 when its channels lie closer together than minDelta (0: when equal).
// Ties of the largest channel go to red, then to green.
static inline HueSat HueSatOf(const Rgb& c, double minDelta) {
    const double mx = Largest(c.r, c.g, c.b);
    const double delta = mx - Smallest(c.r, c.g, c.b);
    if (delta == 0 || delta < minDelta) return {0, 0};

    const double dr = (mx - c.r) * kHueSector / delta + kHalfCircle;
    const double dg = (mx - c.g) * kHueSector / delta + kHalfCircle;
    const double db = (mx - c.b) * kHueSector / delta + kHalfCircle;
    double hue = mx == c.r ? db - dg : mx == c.g ? kKeyHue + dr - db : kThirdHue + dg - dr;
    if (hue < 0) hue += kFullCircle;
    if (hue >= kFullCircle) hue -= kFullCircle;
    return {hue, delta / mx};
}

}  // namespace keying

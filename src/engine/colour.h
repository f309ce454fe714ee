// Colour triples and their hue.
//
// Functions of the engine's headers have internal linkage: the sources of the vector variants include them
// too, and a copy made for one instruction set must not serve another.
#pragma once

// Logical channels: g is the key channel.
struct Rgb {
    double r, g, b;
};

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

    const double dr = (mx - c.r) * 60 / delta + 180;
    const double dg = (mx - c.g) * 60 / delta + 180;
    const double db = (mx - c.b) * 60 / delta + 180;
    double hue = mx == c.r ? db - dg : mx == c.g ? 120 + dr - db : 240 + dg - dr;
    if (hue < 0) hue += 360;
    if (hue >= 360) hue -= 360;
    return {hue, delta / mx};
}

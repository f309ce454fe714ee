#include "rig/edge_pictures.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "rig/form_cases.h"

namespace {

struct Colour {
    double r, g, b;  // whole samples
};

void SetTop(EngineRig* rig, std::int64_t i, const Colour& c) {
    const auto sample = [&](double v) {
        return static_cast<std::uint16_t>(std::min<double>(std::max(v, 0.0), rig->globals.maxSample));
    };
    rig->SetColour(kTopR, i, sample(c.r), sample(c.g), sample(c.b));
}

// A colour of about that hue and lead in samples over its smallest channel, its ratios as near to the edge of
// a bin as samples come.
Colour ColourAt(double hue, double delta, double green, Draws* draws) {
    const double turn = std::round((hue - 120) / 60 * delta) + draws->Between(-1, 1);
    const double least = green - delta;
    return turn < 0 ? Colour{least - turn, green, least} : Colour{least, green, least + turn};
}

// A run over one backdrop, which is set and not measured.
struct Backdrop {
    double r, g, b, k, M;
    double sRemove, sBlack, sAlter;
};

double Distance(const Backdrop& bg, const Colour& c, double t) {
    return std::hypot(c.r - bg.r * t, c.g - bg.g * t, c.b - bg.b * t) / bg.k;
}

// What the engine decides by, in words of its own, of a colour and of the foreground that it leaves at a.
// Only where these change their sign matters here.
constexpr std::size_t kDecisions = 12;
std::array<double, kDecisions> Decisions(const Backdrop& bg, const Colour& c, double a) {
    const auto left = [&](double seen, double backdrop) {
        return std::min(std::max((seen - (1 - a) * backdrop) / a, 0.0), bg.M) / bg.k;
    };
    const Colour f{left(c.r, bg.r), left(c.g, bg.g), left(c.b, bg.b)};
    const double chroma = std::hypot(c.r - c.g, c.g - c.b), strong = std::max(c.r, c.b);
    const double line = Distance(bg, c, c.g / bg.g) + Distance(bg, c, c.r / bg.r) * bg.r / bg.g +
                        Distance(bg, c, c.b / bg.b) * bg.b / bg.g;
    return {Distance(bg, c, 1) - 0.4,
            chroma - bg.sBlack * 0.15,
            chroma - bg.sBlack * 2,
            bg.g - bg.r - std::max(c.g, strong),
            line - line * (c.g - strong) / bg.M - bg.sRemove,
            strong - 40 * bg.k - c.g,
            std::max(f.g, f.r) - 5,
            f.g - f.r - bg.sAlter + 140,
            f.g - f.b - bg.sAlter + 80,
            2 * f.g - f.r - f.b,
            std::hypot(c.r - c.b, c.g - c.b, c.g - c.r) / bg.k * bg.M / c.g - 50,
            c.b - 5 * bg.k - c.g};
}

Colour DrawColour(const Backdrop& bg, Draws* draws) {
    const double share = draws->Below(4) == 0 ? draws->Between(0, 300) / 200.0 : 0;  // of the backdrop
    const auto any = [&](double v) {
        return share > 0 ? std::round(std::min(v * share, bg.M)) : draws->Between(0, static_cast<int>(bg.M));
    };
    const Colour c{any(bg.r), any(bg.g), any(bg.b)};
    return {c.r, std::max(1.0, c.g), c.b};
}

// Two colours between which a decision turns, as near to each other as samples come, each on `run` pixels; of
// no other use when it does not turn between the colours drawn.
void SetNeighbours(EngineRig* rig, std::int64_t i, std::int64_t run, const Backdrop& bg, Draws* draws) {
    const std::uint32_t which = draws->Below(kDecisions);
    const double a = draws->Between(1, 200) * 0.005;
    const auto below = [&](const Colour& c) { return Decisions(bg, c, a)[which] < 0; };
    Colour yes = DrawColour(bg, draws), no = DrawColour(bg, draws);
    for (int tries = 0; tries < 20 && !below(yes); ++tries) yes = DrawColour(bg, draws);
    for (int tries = 0; tries < 20 && below(no); ++tries) no = DrawColour(bg, draws);
    for (int halving = 0; halving < 16; ++halving) {
        const Colour middle = {std::floor((yes.r + no.r) / 2), std::floor((yes.g + no.g) / 2),
                               std::floor((yes.b + no.b) / 2)};
        (below(middle) ? yes : no) = middle;
    }
    for (std::int64_t end = i + run; i < end; ++i) {
        SetTop(rig, i, yes);
        SetTop(rig, i + run, no);
    }
}

}  // namespace

std::unique_ptr<EngineRig> BackdropAndOnePixelEach(RunKind kind, std::uint64_t seed) {
    Draws draws(seed);
    auto rig = std::make_unique<EngineRig>(40, 20, kind);
    const double M = rig->globals.maxSample, k = std::floor(M / 255);
    const double level = draws.Between(60, 255) * k, hue = draws.Between(64, 176);
    const double spread = level * draws.Between(52, 99) / 100;
    for (std::int64_t i = 0; i < rig->Pixels(); i += 2) {
        SetTop(rig.get(), i, ColourAt(hue + 0.5, spread, level, &draws));
        const double delta = draws.Between(20, static_cast<std::int32_t>(M));
        const double greens[] = {2 * delta, level * 0.2, level,
                                 M,         30 * k,      std::round(200 * delta / draws.Between(15, 200))};
        const double hues[] = {hue - 20, hue + 20, hue - 4, hue + 5, double(draws.Between(61, 179)), 120};
        const double green = greens[draws.Below(6)], nudged = green + draws.Between(-1, 1);
        const double lead = draws.Below(3) == 0 ? draws.Between(9, 22) : std::min(delta, nudged);
        SetTop(rig.get(), i + 1, ColourAt(hues[draws.Below(6)], lead, nudged, &draws));
    }
    return rig;
}

std::unique_ptr<EngineRig> OnePixel(RunKind kind, std::uint64_t seed) {
    Draws draws(seed);
    auto rig = std::make_unique<EngineRig>(1, 1, kind);
    const double delta = draws.Between(8, rig->globals.maxSample);
    const double fullest = std::round(200 * delta / draws.Between(15, 200));
    const double green = std::min<double>(fullest + draws.Between(-1, 1), rig->globals.maxSample);
    const double hue = draws.Between(61, 179);
    SetTop(rig.get(), 0, ColourAt(hue, delta, green, &draws));
    return rig;
}

std::unique_ptr<EngineRig> EdgesOfDecisions(RunKind kind, std::uint64_t seed) {
    Draws draws(seed);
    auto rig = std::make_unique<EngineRig>(256, 4, kind);
    Globals& g = rig->globals;
    DrawParameters(&draws, rig.get());
    g.SliderAdjBGLevel = draws.Below(2) == 0 ? 100 : draws.Between(80, 120);
    // The foreground itself with its matte, the usual way, or the false colours.
    const unsigned ways[] = {kBlend | kTransparency, kBlend, kView};
    SetFlags(rig.get(), ways[draws.Below(3)]);
    const double M = g.maxSample, k = std::floor(M / 255);
    const double part = draws.Below(3) == 0 ? 0 : draws.Between(0, 999) / 1000.0;
    Backdrop bg{draws.Between(1, 150) * k + part,
                draws.Between(60, 250) * k + part,
                draws.Between(1, 150) * k + part,
                k,
                M,
                double(g.SliderRemoveGreen),
                double(g.SliderRestoreBlack),
                double(g.SliderAlterGreen)};
    // Where bounds on the distance from the backdrop's line are tight.
    if (draws.Below(3) == 0) bg.g = bg.r + bg.b;
    if (draws.Below(6) == 0) bg.b = k;
    rig->LayBackdrop(bg.r, bg.g, bg.b);
    for (double* level : {&bg.r, &bg.g, &bg.b}) *level *= g.SliderAdjBGLevel / 100.0;
    // Alone, and as many as the largest group that a faster form decides about as one.
    const std::int64_t run = draws.Below(2) == 0 ? 1 : 16;
    for (std::int64_t i = 0; i < rig->Pixels(); i += 2 * run) SetNeighbours(rig.get(), i, run, bg, &draws);
    if (draws.Below(4) == 0) {
        g.FlagBlueLogic = 1;
        rig->ExchangePlanes(kTopG, kTopB);
    }
    return rig;
}

#include "edge_pictures.h"

#include <algorithm>
#include <cmath>

#include "engine/keying.h"
#include "form_cases.h"

namespace {

struct Colour {
    double r, g, b;  // whole samples
};

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

using Decision = bool (*)(const Backdrop&, const Colour&, double a);

double Candidate(const Backdrop& bg, double seen, double backdrop, double a) {
    return std::min(std::max((seen - (1 - a) * backdrop) / a, 0.0), bg.M);
}

double Distance(const Backdrop& bg, const Colour& c, double t) {
    return std::hypot(c.r - bg.r * t, c.g - bg.g * t, c.b - bg.b * t) / bg.k;
}

// What the engine decides by, in words of its own; only where it changes its mind matters here.
const Decision kDecisions[] = {
    [](const Backdrop& bg, const Colour& c, double) { return Distance(bg, c, 1) < 0.4; },
    [](const Backdrop& bg, const Colour& c, double) {
        return std::hypot(c.r - c.g, c.g - c.b) < bg.sBlack * 0.15;
    },
    [](const Backdrop& bg, const Colour& c, double) {
        return std::hypot(c.r - c.g, c.g - c.b) > 2 * bg.sBlack;
    },
    [](const Backdrop& bg, const Colour& c, double) {
        return bg.g - bg.r > std::max({c.r, c.g, c.b});
    },
    [](const Backdrop& bg, const Colour& c, double) {
        const double sum = Distance(bg, c, c.g / bg.g) + Distance(bg, c, c.r / bg.r) * bg.r / bg.g +
                           Distance(bg, c, c.b / bg.b) * bg.b / bg.g;
        return sum - sum * (c.g - std::max(c.r, c.b)) / bg.M < bg.sRemove;
    },
    [](const Backdrop& bg, const Colour& c, double) { return std::max(c.r, c.b) > 40 * bg.k + c.g; },
    [](const Backdrop& bg, const Colour& c, double a) {
        return std::max(Candidate(bg, c.g, bg.g, a), Candidate(bg, c.r, bg.r, a)) < 5 * bg.k;
    },
    [](const Backdrop& bg, const Colour& c, double a) {
        return (Candidate(bg, c.g, bg.g, a) - Candidate(bg, c.r, bg.r, a)) / bg.k < bg.sAlter - 140;
    },
    [](const Backdrop& bg, const Colour& c, double a) {
        return (Candidate(bg, c.g, bg.g, a) - Candidate(bg, c.b, bg.b, a)) / bg.k < bg.sAlter - 80;
    },
    [](const Backdrop& bg, const Colour& c, double a) {
        return 2 * Candidate(bg, c.g, bg.g, a) <= Candidate(bg, c.r, bg.r, a) + Candidate(bg, c.b, bg.b, a);
    },
    [](const Backdrop& bg, const Colour& c, double) {
        return std::hypot(c.r - c.b, c.g - c.b, c.g - c.r) / bg.k * bg.M / c.g < 50;
    },
    [](const Backdrop& bg, const Colour& c, double) { return c.b - 5 * bg.k < c.g; },
};

Colour DrawColour(const Backdrop& bg, Draws* draws) {
    const auto sample = [&](double v) { return std::round(std::min(std::max(v, 0.0), bg.M)); };
    const double share = draws->Below(4) == 0 ? draws->Between(0, 300) / 200.0 : 0;  // of the backdrop
    const auto any = [&](double v) { return sample(share > 0 ? v * share : draws->Between(0, int(bg.M))); };
    const double r = any(bg.r), g = any(bg.g);
    return {r, std::max(1.0, g), any(bg.b)};
}

// Two colours between which the decision turns, as near to each other as samples come; of no other use when
// it does not turn between the colours drawn.
void DrawNeighbours(const Backdrop& bg, Draws* draws, Colour* yes, Colour* no) {
    const Decision decides = kDecisions[draws->Below(std::size(kDecisions))];
    const double a = draws->Between(1, 200) * 0.005;
    *yes = DrawColour(bg, draws);
    *no = DrawColour(bg, draws);
    for (int tries = 0; tries < 20 && !decides(bg, *yes, a); ++tries) *yes = DrawColour(bg, draws);
    for (int tries = 0; tries < 20 && decides(bg, *no, a); ++tries) *no = DrawColour(bg, draws);
    for (int halving = 0; halving < 16; ++halving) {
        const Colour middle = {std::floor((yes->r + no->r) / 2), std::floor((yes->g + no->g) / 2),
                               std::floor((yes->b + no->b) / 2)};
        *(decides(bg, middle, a) ? yes : no) = middle;
    }
}

}  // namespace

std::unique_ptr<EngineRig> BackdropAndOnePixelEach(RunKind kind, std::uint64_t seed) {
    Draws draws(seed);
    auto rig = std::make_unique<EngineRig>(40, 20, kind);
    const double M = rig->globals.maxSample, k = std::floor(M / 255);
    const double level = draws.Between(60, 255) * k, hue = draws.Between(64, 176);
    const double spread = level * draws.Between(52, 99) / 100;
    const auto set = [&](std::int64_t i, const Colour& c) {
        const auto sample = [&](double v) {
            return static_cast<std::uint16_t>(std::min(std::max(v, 0.0), M));
        };
        rig->SetColour(kTopR, i, sample(c.r), sample(c.g), sample(c.b));
    };
    for (std::int64_t i = 0; i < rig->Pixels(); i += 2) {
        set(i, ColourAt(hue + 0.5, spread, level, &draws));
        const double delta = draws.Between(20, static_cast<std::int32_t>(M));
        const double greens[] = {2 * delta, level * 0.2, level,
                                 M,         30 * k,      std::round(200 * delta / draws.Between(15, 200))};
        const double green = greens[draws.Below(6)] + draws.Between(-1, 1);
        const double lead = draws.Below(3) == 0 ? draws.Between(9, 22) : std::min(delta, green);
        const double hues[] = {hue - 20, hue + 20, hue - 4, hue + 5, double(draws.Between(61, 179)), 120};
        set(i + 1, ColourAt(hues[draws.Below(6)], lead, green, &draws));
    }
    return rig;
}

std::unique_ptr<EngineRig> OnePixel(RunKind kind, std::uint64_t seed) {
    Draws draws(seed);
    auto rig = std::make_unique<EngineRig>(1, 1, kind);
    const std::int32_t M = rig->globals.maxSample;
    const double delta = draws.Between(8, M);
    const double green = std::round(200 * delta / draws.Between(15, 200)) + draws.Between(-1, 1);
    const Colour c = ColourAt(draws.Between(61, 179), delta, std::min(green, double(M)), &draws);
    rig->SetColour(kTopR, 0, static_cast<std::uint16_t>(std::max(0.0, c.r)), static_cast<std::uint16_t>(c.g),
                   static_cast<std::uint16_t>(std::max(0.0, c.b)));
    return rig;
}

std::unique_ptr<EngineRig> EdgesOfDecisions(RunKind kind, std::uint64_t seed) {
    Draws draws(seed);
    auto rig = std::make_unique<EngineRig>(256, 4, kind);
    Globals& g = rig->globals;
    DrawParameters(&draws, rig.get());
    g.SliderAdjBGLevel = draws.Below(2) == 0 ? 100 : draws.Between(80, 120);
    // The matte and the foreground themselves, or the usual way.
    SetFlags(rig.get(), (draws.Below(4) == 0 ? 1 : 0) + (draws.Below(3) == 0 ? 4 : 8 + 16 * draws.Below(2)));
    Backdrop bg{};
    bg.M = g.maxSample;
    bg.k = std::floor(bg.M / 255);
    const double part = draws.Below(3) == 0 ? 0 : draws.Between(0, 999) / 1000.0;
    bg.r = draws.Between(1, 150) * bg.k + part;
    bg.b = draws.Between(1, 150) * bg.k + part;
    bg.g = draws.Between(60, 250) * bg.k + part;
    // Where bounds on the distance from the backdrop's line are tight.
    if (draws.Below(3) == 0) bg.g = bg.r + bg.b;
    if (draws.Below(6) == 0) bg.b = bg.k;
    bg.sRemove = g.SliderRemoveGreen;
    bg.sBlack = g.SliderRestoreBlack;
    bg.sAlter = g.SliderAlterGreen;
    g.backdropMeanR = bg.r;
    g.backdropMeanG = bg.g;
    g.backdropMeanB = bg.b;
    std::fill(std::begin(gBackdropGrid.gridR), std::end(gBackdropGrid.gridR), bg.r);
    std::fill(std::begin(gBackdropGrid.gridG), std::end(gBackdropGrid.gridG), bg.g);
    std::fill(std::begin(gBackdropGrid.gridB), std::end(gBackdropGrid.gridB), bg.b);
    const double adjust = g.SliderAdjBGLevel / 100.0;
    bg.r *= adjust;
    bg.g *= adjust;
    bg.b *= adjust;
    for (std::int64_t i = 0; i < rig->Pixels(); i += 2) {
        Colour pair[2];
        DrawNeighbours(bg, &draws, &pair[0], &pair[1]);
        for (int one = 0; one < 2; ++one) {
            const auto r = static_cast<std::uint16_t>(pair[one].r),
                       key = static_cast<std::uint16_t>(pair[one].g),
                       third = static_cast<std::uint16_t>(pair[one].b);
            rig->SetColour(kTopR, i + one, r, g.FlagBlueLogic ? third : key, g.FlagBlueLogic ? key : third);
        }
    }
    return rig;
}

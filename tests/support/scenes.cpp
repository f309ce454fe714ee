#include "tests/support/scenes.h"

#include <algorithm>
#include <iterator>

namespace test_support {

Random::Random(const std::uint8_t* bytes, std::size_t size)
    : bytes_(bytes), left_(size), state_(HashBytes(bytes, size) | 1) {}

std::uint32_t Random::Below(std::uint32_t count) {
    if (left_ == 0) {
        state_ = state_ * 6364136223846793005u + 1442695040888963407u;
        return static_cast<std::uint32_t>(((state_ >> 32) * count) >> 32);
    }
    std::uint32_t number = 0;
    for (std::uint32_t range = count - 1; range != 0 && left_ != 0; range >>= 8, --left_)
        number = number << 8 | *bytes_++;
    return number % count;
}

namespace {

// In 8-bit levels, limited when stored. Doubles of 256ths are exact.
struct Colour {
    double r, g, b;
};

// share: 0 .. 1, of `over`.
Colour Mix(const Colour& under, const Colour& over, double share) {
    const auto mix = [share](double a, double b) { return a + (b - a) * share; };
    return {mix(under.r, over.r), mix(under.g, over.g), mix(under.b, over.b)};
}

// Draws the pixels in rows.
struct Painter {
    TestEngine* engine;
    Random draws;
    Colour palette[6];  // the first is the backdrop
    double x, y;        // of the pixel, from -1 to 1

    double Level(double low, double high) { return low + (high - low) * draws.Between(0, 65535) / 65536; }
    Colour Noisy(const Colour& c, double levels) {
        return {c.r + Level(-levels, levels), c.g + Level(-levels, levels), c.b + Level(-levels, levels)};
    }
};

// A backdrop that is darker towards the edges, and a figure that fades between 0.6 and 0.75 of the half
// picture, with strands across its upper part and a veil at the lower left.
Colour FigurePixel(Painter* p) {
    const double distance = p->x * p->x + p->y * p->y;
    const int along = static_cast<int>(p->x * 40 + 40), down = static_cast<int>(p->y * 30 + 30);
    const Colour backdrop = p->Noisy({52, 196 - 60 * distance, 84 - 20 * distance}, 2);
    const double share = p->Level(0, 1);
    if (p->y < 0 && (along * 7 + down * 3) % 23 < 4) return Mix(backdrop, {90, 50, 34}, share);
    if (distance > 0.36 && p->x < -0.5 && p->y > 0) return Mix(backdrop, {200, 196, 190}, 0.4);
    const Colour cloth[] = {{214, 168, 140}, {24, 25, 26}, {236, 238, 235}, {120, 122, 118}, {150, 40, 46}};
    const Colour subject = p->Noisy(cloth[(along / 5 + down / 3) % 5], 1);
    return Mix(backdrop, subject, std::min(1.0, std::max(0.0, (0.5625 - distance) / (0.5625 - 0.36))));
}

Colour PalettePixel(Painter* p) {
    const std::uint32_t kind = p->draws.Below(8);
    const Colour &backdrop = p->palette[0], &other = p->palette[kind < 6 ? kind : 1];
    if (kind < 4) return Mix(backdrop, other, p->draws.Between(0, 20) / 20.0);
    return kind < 6 ? other : Mix({0, 0, 0}, backdrop, p->draws.Between(10, 200) / 100.0);
}

Colour TopPixel(Painter* p, Scene scene) {
    switch (scene) {
        case Scene::kFigure:
            return FigurePixel(p);
        case Scene::kPalette:
            return PalettePixel(p);
        default:
            return {p->Level(0, 256), p->Level(0, 256), p->Level(0, 256)};
    }
}

// Opaque except a corner that fades, near the engine's limits, or random.
double TopAlpha(Painter* p, Scene scene) {
    const double limits[] = {3, 13, 51, 128, 204, 230, 242, 252, 255, 255};
    if (scene == Scene::kNoise) return p->Level(0, 256);
    const double limit = limits[p->draws.Below(10)];
    if (scene == Scene::kPalette) return limit + p->draws.Between(-1, 1);
    return 256 * std::min(1.0, 3 - 2 * (p->x + p->y));
}

std::uint16_t SampleOf(const TestEngine& engine, double level) {
    const double M = engine.planes.maxSample, scale = M == 32767 ? 128 : 1;
    return static_cast<std::uint16_t>(std::min(std::max(level * scale, 0.0), M));
}

// Zero, one, near the largest sample, and at 16 bits the largest of the host and of the type.
std::uint16_t ExtremeSample(const TestEngine& engine, Random* draws) {
    const std::int32_t M = engine.planes.maxSample;
    const std::int32_t samples[] = {0, 0, 1, M / 2, M - 1, M, M, M + 1, 65535};
    return static_cast<std::uint16_t>(samples[draws->Below(engine.planes.depth == 2 ? 9 : 7)]);
}

void PaintPixel(Painter* p, Scene scene, std::int64_t i) {
    TestEngine& engine = *p->engine;
    const auto set = [&](Plane red, const Colour& c, bool exchanged) {
        const std::uint16_t g = SampleOf(engine, c.g), b = SampleOf(engine, c.b);
        engine.SetColour(red, i, SampleOf(engine, c.r), exchanged ? b : g, exchanged ? g : b);
    };
    set(kTopR, TopPixel(p, scene), engine.settings.blueBackdrop);
    set(kBottomR, {p->Level(0, 60) + 90 * (1 + p->x), 128 - 127 * p->x * p->y, p->Level(0, 256)}, false);
    engine.Set(kTopA, i, SampleOf(engine, TopAlpha(p, scene)));
    engine.Set(kSelection, i, p->draws.Below(4) == 0 ? 0 : SampleOf(engine, p->Level(1, 256)));
    if (scene != Scene::kExtremes) return;
    for (Plane plane : {kTopR, kTopG, kTopB, kTopA, kBottomR, kBottomG, kBottomB})
        engine.Set(plane, i, ExtremeSample(engine, &p->draws));
}

}  // namespace

void PaintScene(TestEngine* engine, Scene scene, Random draws) {
    Painter p{engine, draws, {}, 0, 0};
    for (Colour& colour : p.palette) colour = {p.Level(0, 256), p.Level(0, 256), p.Level(0, 256)};
    p.palette[0].g = std::max(p.palette[0].g, 60.0);
    for (std::int64_t i = 0; i < engine->Pixels(); ++i) {
        p.x = 2.0 * static_cast<double>(i % engine->Width()) / engine->Width() - 1;
        p.y = 2.0 * static_cast<double>(i / engine->Width()) / engine->Height() - 1;
        PaintPixel(&p, scene, i);
    }
}

void SetFlags(TestEngine* engine, unsigned bits) {
    for (const auto& flag : kFlags) {
        engine->settings.*flag.field = (bits & 1) != 0;
        bits >>= 1;
    }
}

}  // namespace test_support

#include "engine_scenes.h"

#include <algorithm>
#include <cstdlib>

namespace {

// Numbers are drawn one to an expression, or in a list between braces: elsewhere the order of evaluation is
// the compiler's, and pictures would differ from one to the next.

// A pixel in 256ths of an 8-bit level: 0 .. 65535.
struct Colour {
    std::int32_t r, g, b;
};

constexpr std::int32_t kLevel = 256;
constexpr std::int32_t kOpaque = 65535;

Colour Levels(std::int32_t r, std::int32_t g, std::int32_t b) {
    return {r * kLevel, g * kLevel, b * kLevel};
}

// share: 0 .. 256, of `over`.
Colour Mix(const Colour& under, const Colour& over, std::int32_t share) {
    const auto mix = [share](std::int32_t a, std::int32_t b) {
        return (a * (256 - share) + b * share) / 256;
    };
    return {mix(under.r, over.r), mix(under.g, over.g), mix(under.b, over.b)};
}

Colour Scaled(const Colour& c, std::int32_t share) {
    return Mix(Colour{0, 0, 0}, c, share);
}

Colour Noisy(const Colour& c, std::int32_t levels, Random* random) {
    const auto noise = [&] {
        return static_cast<std::int32_t>(random->Below(static_cast<std::uint32_t>(2 * levels * kLevel + 1))) -
               levels * kLevel;
    };
    return {c.r + noise(), c.g + noise(), c.b + noise()};
}

std::int32_t Between(std::int32_t low, std::int32_t high, Random* random) {
    return low + static_cast<std::int32_t>(random->Below(static_cast<std::uint32_t>(high - low + 1)));
}

// Distance from the middle of the picture, in 256ths of the half diagonal of its smaller side; squared.
std::int64_t SquaredDistance(const EngineRig& rig, std::int64_t x, std::int64_t y) {
    const std::int64_t half = std::max(1, std::min(rig.Width(), rig.Height()) / 2);
    const std::int64_t dx = (x - rig.Width() / 2) * 256 / half, dy = (y - rig.Height() / 2) * 256 / half;
    return dx * dx + dy * dy;
}

// Falls off from the middle, with folds and noise.
Colour Backdrop(const EngineRig& rig, std::int64_t x, std::int64_t y, Random* random) {
    const auto fall =
        static_cast<std::int32_t>(std::min<std::int64_t>(SquaredDistance(rig, x, y) / 2048, 90));
    const auto fold = static_cast<std::int32_t>(std::abs((x * 3 + y * 2) % 97 - 48) / 4);
    return Noisy(Levels(52 + fold, 196 - fall + fold, 84 - fall / 3), 2, random);
}

Colour Subject(std::int64_t x, std::int64_t y, std::int64_t distance, Random* random) {
    const auto shade = static_cast<std::int32_t>(256 - std::min<std::int64_t>(distance / 512, 120));
    const std::int64_t band = (x / 5 + y / 3) % 5;
    const Colour cloth[] = {Levels(214, 168, 140), Levels(24, 25, 26), Levels(236, 238, 235),
                            Levels(120, 122, 118), Levels(150, 40, 46)};
    return Noisy(Scaled(cloth[band], shade), 1, random);
}

Colour FigurePixel(const EngineRig& rig, std::int64_t x, std::int64_t y, Random* random) {
    const Colour backdrop = Backdrop(rig, x, y, random);
    const std::int64_t distance = SquaredDistance(rig, x, y);
    const Colour subject = Subject(x, y, distance, random);
    // Wholly subject inside 0.6 of the radius, softly fading out to 0.75; a veil on the left of the figure.
    constexpr std::int64_t kInner = 154 * 154, kOuter = 192 * 192;
    if (distance <= kInner) return subject;
    const bool veil = x * 5 < rig.Width() && y * 2 > rig.Height();
    if (veil) return Mix(backdrop, Levels(200, 196, 190), 110);
    if (distance >= kOuter) return backdrop;
    const auto share = static_cast<std::int32_t>((kOuter - distance) * 256 / (kOuter - kInner));
    return Mix(backdrop, Mix(subject, backdrop, 30), share);
}

Colour HairPixel(const EngineRig& rig, std::int64_t x, std::int64_t y, Random* random) {
    const Colour backdrop = Backdrop(rig, x, y, random);
    const std::int64_t strand = (x * 7 + y * 3 + (y * y) / 11) % 23;
    if (strand > 3) return backdrop;
    const Colour hair = Levels(70 + Between(0, 40, random), 50, 34);
    return Mix(backdrop, hair, Between(24, 256, random));
}

Colour RampPixel(const EngineRig& rig, std::int64_t x, std::int64_t y) {
    const auto along = static_cast<std::int32_t>(x * 256 / std::max(1, rig.Width()));
    const auto down = static_cast<std::int32_t>(y * 256 / std::max(1, rig.Height()));
    const std::int32_t g = (40 + down * 215 / 256) * kLevel;
    return {g * (256 - along) / 300, g, g * along / 280 + (down % 16) * 60};
}

Colour GreyPixel(const EngineRig& rig, std::int64_t x, std::int64_t y, Random* random) {
    if ((x / 3 + y / 2) % 4 == 0) return Backdrop(rig, x, y, random);
    const auto level = static_cast<std::int32_t>((x * 37 + y * 11) % 256) * kLevel;
    return {level + Between(-4, 4, random) * kLevel, level + Between(-3, 6, random) * kLevel,
            level + Between(-4, 4, random) * kLevel};
}

Colour ThresholdPixel(Random* random) {
    const auto near = [&](std::int32_t level) {
        return level * kLevel + Between(-2, 2, random) * kLevel / 2;
    };
    switch (random->Below(5)) {
        case 0:  // the backdrop itself, as good as
            return {near(50), near(200), near(100)};
        case 1:  // darker on the backdrop's line
            return Scaled(Levels(50, 200, 100), Between(8, 256, random));
        case 2:  // 40 levels from the key channel, and 5
            return {near(100 + 40 * Between(0, 1, random)), near(100), near(95 + 45 * Between(0, 1, random))};
        case 3:  // hardly lit
            return {near(Between(0, 12, random)), near(Between(0, 12, random)), near(Between(0, 12, random))};
        default:  // equal channels
            return Levels(100, 100 + Between(0, 1, random), 100);
    }
}

Colour NoisePixel(Random* random) {
    return {Between(0, kOpaque, random), Between(0, kOpaque, random), Between(0, kOpaque, random)};
}

Colour TopPixel(const EngineRig& rig, Scene scene, std::int64_t x, std::int64_t y, Random* random) {
    switch (scene) {
        case Scene::kRamps:
            return RampPixel(rig, x, y);
        case Scene::kSubject:
            return FigurePixel(rig, x, y, random);
        case Scene::kHair:
            return HairPixel(rig, x, y, random);
        case Scene::kGreys:
            return GreyPixel(rig, x, y, random);
        case Scene::kThresholds:
            return ThresholdPixel(random);
        default:
            return NoisePixel(random);
    }
}

// Opaque, but for a corner that fades away in the natural scenes and for the engine's limits of alpha in the
// others.
std::int32_t TopAlpha(const EngineRig& rig, Scene scene, std::int64_t x, std::int64_t y, Random* random) {
    if (scene == Scene::kNoise) return Between(0, kOpaque, random);
    if (scene == Scene::kThresholds) {
        const std::int32_t limits[] = {3, 13, 51, 128, 204, 230, 242, 252, 255, 255};
        const std::int32_t limit = limits[random->Below(10)] * kLevel;
        return std::min(kOpaque, limit + Between(-1, 1, random) * kLevel);
    }
    const std::int64_t corner = x + y - (std::int64_t{rig.Width()} + rig.Height()) * 3 / 4;
    return corner <= 0 ? kOpaque
                       : static_cast<std::int32_t>(std::max<std::int64_t>(0, kOpaque - corner * 6000));
}

std::uint16_t SampleOf(const EngineRig& rig, std::int32_t value) {
    value = std::min(std::max(value, 0), kOpaque);
    return static_cast<std::uint16_t>(rig.globals.maxSample == kMaxSample16 ? value / 2 : value / kLevel);
}

// Zero, one, round the largest sample, and at 16 bits the host's own largest and the type's.
std::uint16_t ExtremeSample(const EngineRig& rig, Random* random) {
    const std::int32_t M = rig.globals.maxSample;
    const std::int32_t samples[] = {0, 0, 1, M / 2, M - 1, M, M, M + 1, 65535};
    const std::int32_t sample = samples[random->Below(rig.globals.depthBytes == 2 ? 9 : 7)];
    return static_cast<std::uint16_t>(sample);
}

void SetTop(EngineRig* rig, std::int64_t i, const Colour& c, std::int32_t alpha) {
    const bool blue = rig->globals.FlagBlueLogic != 0;
    rig->Set(kTopR, i, SampleOf(*rig, c.r));
    rig->Set(blue ? kTopB : kTopG, i, SampleOf(*rig, c.g));
    rig->Set(blue ? kTopG : kTopB, i, SampleOf(*rig, c.b));
    rig->Set(kTopA, i, SampleOf(*rig, alpha));
}

void SetBottom(EngineRig* rig, std::int64_t i, std::int64_t x, std::int64_t y, Random* random) {
    const auto level = static_cast<std::int32_t>((x * 5 + y * 9) % 256);
    rig->Set(kBottomR, i, SampleOf(*rig, level * kLevel + Between(0, 255, random)));
    rig->Set(kBottomG, i, SampleOf(*rig, (255 - level) * kLevel));
    rig->Set(kBottomB, i, SampleOf(*rig, Between(0, kOpaque, random)));
}

}  // namespace

void PaintScene(EngineRig* rig, Scene scene, std::uint64_t seed) {
    Random random(seed);
    for (std::int64_t y = 0, i = 0; y < rig->Height(); ++y) {
        for (std::int64_t x = 0; x < rig->Width(); ++x, ++i) {
            const Colour top = TopPixel(*rig, scene, x, y, &random);
            SetTop(rig, i, top, TopAlpha(*rig, scene, x, y, &random));
            SetBottom(rig, i, x, y, &random);
            rig->Set(kSelection, i, random.Below(4) == 0 ? 0 : SampleOf(*rig, Between(1, kOpaque, &random)));
            if (scene != Scene::kExtremes) continue;
            for (Plane plane : {kTopR, kTopG, kTopB, kTopA, kBottomR, kBottomG, kBottomB}) {
                rig->Set(plane, i, ExtremeSample(*rig, &random));
            }
        }
    }
}

void RandomSliders(EngineRig* rig, Random* random) {
    Globals& g = rig->globals;
    for (std::int32_t* slider : {&g.SliderAdjBGLevel, &g.SliderRemoveGreen, &g.SliderRestoreBlack,
                                 &g.SliderAlterGreen, &g.SliderSelectTransp, &g.SliderScaleTransp}) {
        *slider = random->Below(8) == 0 ? Between(-1000, 1000, random) : Between(0, 200, random);
    }
}

void SetFlags(EngineRig* rig, unsigned bits) {
    Globals& g = rig->globals;
    g.FlagBlueLogic = bits & 1;
    g.FlagOrgPhoto = bits >> 1 & 1;
    g.FlagShowSelect = bits >> 2 & 1;
    g.FlagRealityInteg = bits >> 3 & 1;
    g.FlagOutputAlpha = bits >> 4 & 1;
}

#include "sample_plate/surroundings.h"

#include "sample_plate/noise.h"

namespace sample_plate {

namespace {

constexpr Vec3 kGreenCloth{0.048f, 0.330f, 0.062f};
constexpr Vec3 kBlueCloth{0.040f, 0.085f, 0.400f};

// Height of the cloth: long vertical folds, and creases from packing.
float ClothHeight(Vec2 at) {
    const float bend = Turbulence(at.x * 1.1f + 3, at.y * 0.7f, 2, 5);
    const float folds = Turbulence((at.x + 0.25f * bend + 0.06f * at.y) * 5.5f, at.y * 0.75f, 3, 21);
    const float bulge = Turbulence(at.x * 2.2f, at.y * 1.8f, 3, 41);
    float creases = 0;
    for (const float line : {-0.43f, 0.02f, 0.47f}) {
        const float d = std::fabs(at.x - line + 0.006f * Wave(at.y * 1.7f));
        creases += 0.03f * SmoothStep(0.010f, 0.0f, d);
    }
    for (const float line : {0.22f, 0.71f}) {
        const float d = std::fabs(at.y - line + 0.005f * Wave(at.x * 1.3f));
        creases += 0.025f * SmoothStep(0.010f, 0.0f, d);
    }
    return 0.16f * folds + 0.15f * bulge + creases * 0.10f;
}

// The figure's shadow: its outline, blurred and shifted away from the light.
float ShadowAt(Vec2 at, const FigureMaps& maps) {
    const float near = OutlineDistanceAt(maps, {at.x - 0.13f, at.y - 0.085f});
    const float far = OutlineDistanceAt(maps, {at.x - 0.16f, at.y - 0.11f});
    return 1 - 0.34f * SmoothStep(0.10f, -0.05f, near) - 0.14f * SmoothStep(0.16f, -0.06f, far);
}

// x: the light on the cloth, y: 0 to 1, how far it faces away from the lamp.
Vec2 ClothLightAt(Vec2 at, const FigureMaps& maps) {
    constexpr float kStep = 0.004f;
    const float here = ClothHeight(at);
    const float slopeX = (ClothHeight({at.x + kStep, at.y}) - here) / kStep;
    const float slopeY = (ClothHeight({at.x, at.y + kStep}) - here) / kStep;
    const Vec3 normal = Normalized({-slopeX * 0.5f, -slopeY * 0.5f, 1});
    const float facing = Clamp01(Dot(normal, MainLight())) / MainLight().z;

    // A lamp from the upper left, a weaker one from the right, and the lens's fall-off.
    const float dx = at.x + 0.35f, dy = at.y - 0.30f;
    const float lamp = 1 / (1 + 0.55f * (dx * dx + dy * dy));
    const float fill = 0.16f / (1 + 2 * ((at.x - 0.7f) * (at.x - 0.7f) + (at.y - 0.8f) * (at.y - 0.8f)));
    const float fromMiddle = at.x * at.x + (at.y - 0.5f) * (at.y - 0.5f);
    const float fallOff = 1 - 0.22f * fromMiddle;
    return {(lamp * Mix(1, facing, 0.75f) * ShadowAt(at, maps) + fill) * fallOff, Clamp01(1 - facing)};
}

}  // namespace

Vec3 BackdropAt(const Surroundings& surroundings, Vec2 at) {
    const Vec2 cloth = Interpolate(surroundings.backdrop, surroundings.backdropShape,
                                   CellAt(surroundings.backdropShape, at));
    const float weave = 1 + 0.05f * (Noise(at.x * 900, at.y * 900, 77) - 0.5f) +
                        0.03f * (Noise(at.x * 260, at.y * 1900, 78) - 0.5f);
    // Where folds face away, the cloth's nap reflects a little neutral light.
    const Vec3 nap = Vec3{0.012f, 0.012f, 0.013f} * (1 + 2 * cloth.y);
    return (surroundings.isBlue ? kBlueCloth : kGreenCloth) * (cloth.x * weave) + nap;
}

Vec3 PureBackdrop(bool isBlue) {
    return isBlue ? Vec3{0, 0, 0.5f} : Vec3{0, 0.5f, 0};
}

Vec3 SpillColour(bool isBlue) {
    return isBlue ? Vec3{0.02f, 0.07f, 0.26f} : Vec3{0.03f, 0.24f, 0.05f};
}

namespace {

// Height of a mountain chain above the horizon.
float Ridge(float x, float roughness, std::uint32_t seed) {
    return Turbulence(x * roughness, 0.5f, 6, seed);
}

Vec3 SkyAt(Vec2 at) {
    const Vec3 high{0.13f, 0.27f, 0.60f}, low{0.78f, 0.70f, 0.58f};
    const float t = Clamp01(at.y / 0.60f);
    Vec3 sky = Mix(high, low, t * t * (0.6f + 0.4f * t));
    const float stretch = 1 / (0.72f - at.y);
    const float cloud = Turbulence(at.x * 1.6f * stretch + 5, stretch * 2.4f, 6, 301);
    const float veil = SmoothStep(0.48f, 0.78f, cloud);
    const float dx = at.x + 0.45f, dy = at.y - 0.42f;
    const float sun = 1 / (1 + 24 * (dx * dx + dy * dy));
    sky = Mix(sky, Vec3{0.90f, 0.84f, 0.78f}, 0.75f * veil);
    return sky + Vec3{0.42f, 0.30f, 0.14f} * (sun * sun);
}

Vec3 MeadowAt(Vec2 at) {
    // Tall grass out of focus: broad patches that shrink towards the horizon.
    const float depth = 1 / (at.y - 0.545f);
    const float broad = Turbulence(at.x * depth * 0.5f, depth * 1.5f, 4, 401);
    const float blades = Turbulence(at.x * depth * 7, depth * 6, 3, 431);
    const Vec3 grass =
        Mix(Vec3{0.045f, 0.075f, 0.016f}, Vec3{0.27f, 0.24f, 0.070f}, SmoothStep(0.25f, 0.75f, broad));
    const float light = (0.70f + 0.5f * SmoothStep(0.6f, -0.7f, at.x)) * (0.72f + 0.56f * blades);
    const float nearness = SmoothStep(0.64f, 1.0f, at.y);
    return Mix(grass * light, Vec3{0.34f, 0.36f, 0.36f}, 0.30f * (1 - nearness) * (1 - nearness));
}

// Rock and snow of a chain; `below` is the distance below its edge.
Vec3 MountainAt(Vec2 at, float below, float edge, std::uint32_t seed) {
    const auto relief = [seed](float x, float y) {
        return Turbulence(x * 9 + y * 4, y * 7 - x * 3, 5, seed);
    };
    const float here = relief(at.x, at.y);
    // Lit from the left by the evening sun.
    const float slope = Clamp01(0.5f + 14 * (relief(at.x + 0.004f, at.y + 0.001f) - here) / 0.9f);
    const float snowLine = 0.10f * Turbulence(at.x * 20, at.y * 8, 3, seed + 60);
    const float snow = SmoothStep(0.030f, 0.0f, below - snowLine) * SmoothStep(0.43f, 0.34f, edge);
    const Vec3 rock =
        Mix(Vec3{0.020f, 0.030f, 0.040f}, Vec3{0.22f, 0.17f, 0.115f}, slope * (0.4f + 0.6f * here));
    return Mix(rock, Mix(Vec3{0.36f, 0.42f, 0.55f}, Vec3{0.90f, 0.83f, 0.74f}, slope), snow);
}

Vec3 ViewAt(Vec2 at) {
    struct Chain {
        float base, height, roughness, haze;
        std::uint32_t seed;
    };
    constexpr Chain kChains[] = {{0.50f, 0.44f, 1.7f, 0.55f, 501},
                                 {0.57f, 0.30f, 2.6f, 0.30f, 521},
                                 {0.645f, 0.14f, 4.5f, 0.10f, 541}};
    constexpr float kHorizon = 0.655f;
    Vec3 colour = SkyAt({at.x, std::min(at.y, 0.66f)});
    const Vec3 haze =
        Mix(Vec3{0.36f, 0.44f, 0.58f}, Vec3{0.66f, 0.58f, 0.50f}, SmoothStep(0.5f, -0.7f, at.x));
    for (const Chain& chain : kChains) {
        const float edge = chain.base - chain.height * (Ridge(at.x, chain.roughness, chain.seed) - 0.35f);
        // Soft edges: the lens is focused on the figure.
        const float cover = SmoothStep(-0.0022f, 0.0022f, at.y - edge);
        if (cover <= 0) continue;
        const float distance = chain.haze + 0.35f * Clamp01((at.y - edge) / 0.2f);
        const Vec3 ground = MountainAt(at, at.y - edge, edge, chain.seed + 7);
        colour = Mix(colour, Mix(ground, haze, std::min(0.9f, distance)), cover);
    }
    if (at.y < 0.63f) return colour;
    // A line of trees ends the meadow.
    const float trees = kHorizon - 0.020f * Turbulence(at.x * 26, 0.5f, 4, 561);
    colour = Mix(colour, Vec3{0.030f, 0.042f, 0.026f}, SmoothStep(-0.002f, 0.002f, at.y - trees));
    return Mix(colour, MeadowAt(at), SmoothStep(kHorizon - 0.002f, kHorizon + 0.003f, at.y));
}

}  // namespace

Surroundings PrepareSurroundings(int height, float aspect, const FigureMaps& maps, bool isBlue) {
    // Folds are broad and the landscape is out of focus: finer grids show no difference.
    constexpr int kBackdropRows = 720, kLandscapeRows = 1440;
    Surroundings surroundings;
    surroundings.isBlue = isBlue;
    surroundings.backdropShape = MakeGridShape(std::min(kBackdropRows, height), aspect);
    surroundings.landscapeShape = MakeGridShape(std::min(kLandscapeRows, height), aspect);
    surroundings.backdrop =
        FillGrid<Vec2>(surroundings.backdropShape, [&maps](Vec2 at) { return ClothLightAt(at, maps); });
    surroundings.landscape = FillGrid<Vec3>(surroundings.landscapeShape, ViewAt);
    return surroundings;
}

Vec3 LandscapeAt(const Surroundings& surroundings, Vec2 at) {
    return Interpolate(surroundings.landscape, surroundings.landscapeShape,
                       CellAt(surroundings.landscapeShape, at));
}

}  // namespace sample_plate

#include "sample_plate/shading.h"

#include "sample_plate/noise.h"

namespace sample_plate {

namespace {

constexpr Vec3 kSkinTone{0.56f, 0.335f, 0.245f};
constexpr Vec3 kGreyCloth{0.165f, 0.165f, 0.172f};
constexpr Vec3 kBlackCloth{0.0105f, 0.0102f, 0.0110f};
constexpr Vec3 kWhiteCloth{0.80f, 0.80f, 0.79f};
constexpr Vec3 kHair{0.115f, 0.062f, 0.032f};
constexpr Vec3 kLightHair{0.42f, 0.30f, 0.17f};
constexpr Vec3 kLightBehind{2.6f, 2.4f, 2.0f};  // through thin hair; more than white

// Composites light and spill with the given coverage over the point.
void CompositeOver(ShadedPoint& point, Vec3 light, float spill, float cover) {
    point.light = point.light * (1 - cover) + light * cover;
    point.spill = point.spill * (1 - cover) + spill * cover;
    point.alpha = point.alpha * (1 - cover) + cover;
}

// Diffuse light on a surface: the main lamp, a weak lamp from the right, and ambient light.
float DiffuseLight(Vec3 normal, float light) {
    const float main = std::max(0.0f, Dot(normal, MainLight())) * light;
    const float fill = std::max(0.0f, Dot(normal, Normalized({0.8f, -0.1f, 0.6f})));
    return 0.95f * main + 0.14f * fill + 0.16f * (0.7f - 0.3f * normal.y);
}

float SpecularLight(Vec3 normal, int power) {
    const Vec3 half = Normalized(MainLight() + Vec3{0, 0, 1});
    float shine = std::max(0.0f, Dot(normal, half));
    for (int i = 0; i < power; ++i) shine *= shine;
    return shine;
}

// The backdrop's light reaches surfaces near the outline that face away from the viewer.
float SpillAmount(Vec3 normal, float distance) {
    const float away = 1 - Clamp01(normal.z);
    return 0.025f + 0.62f * away * away * SmoothStep(-0.030f, -0.004f, distance);
}

float Coverage(float distance, float pixels) {
    return Clamp01(0.5f - distance * pixels);
}

float SegmentDistance(Vec2 p, Vec2 a, Vec2 b) {
    const float dx = b.x - a.x, dy = b.y - a.y;
    const float t = Clamp01(((p.x - a.x) * dx + (p.y - a.y) * dy) / (dx * dx + dy * dy));
    const float ex = p.x - a.x - dx * t, ey = p.y - a.y - dy * t;
    return std::sqrt(ex * ex + ey * ey);
}

float EllipseDistance(Vec2 p, Vec2 centre, Vec2 radii) {
    const float x = (p.x - centre.x) / radii.x, y = (p.y - centre.y) / radii.y;
    return (std::sqrt(x * x + y * y) - 1) * std::min(radii.x, radii.y);
}

// Skin with lips, mouth and brows.
void AddSkin(const Figure& figure, Vec2 p, const SurfaceHit& surface, ShadedPoint& point) {
    const float pixels = static_cast<float>(figure.height);
    const float cover = Coverage(surface.distance, pixels);
    if (cover <= 0) return;
    const float q = std::fabs(p.x);
    Vec3 base = kSkinTone * (0.93f + 0.14f * Turbulence(p.x * 420, p.y * 420, 3, 801));
    const float flush =
        SmoothStep(0.030f, 0.0f, EllipseDistance({q, p.y}, {0.042f, 0.325f}, {0.010f, 0.008f}));
    base = base * Mix(Vec3{1, 1, 1}, Vec3{1.06f, 0.84f, 0.82f}, flush);
    const float lipShape = EllipseDistance(p, {0, 0.3545f}, {0.0235f, 0.0105f});
    const float lips = SmoothStep(0.0012f, -0.0012f, lipShape);
    base = Mix(base, Vec3{0.40f, 0.115f, 0.105f}, 0.85f * lips);
    const float mouth = std::fabs(p.y - 0.3545f + 1.2f * q * q) - 0.0005f;
    base = base * (1 - 0.75f * SmoothStep(0.0011f, -0.0004f, mouth) * SmoothStep(0.024f, 0.019f, q));
    const float brow = SegmentDistance({q, p.y + 0.0016f * Noise(p.x * 1500, p.y * 300, 9)},
                                       {0.017f, 0.2505f}, {0.049f, 0.2470f});
    base = Mix(base, kHair * 0.6f, 0.85f * SmoothStep(0.0042f, 0.0018f, brow));

    Vec3 normal = surface.normal;
    normal.x += 0.05f * (Noise(p.x * 700, p.y * 700, 811) - 0.5f);
    normal.y += 0.05f * (Noise(p.x * 700, p.y * 700, 812) - 0.5f);
    normal = Normalized(normal);
    // Light scatters under the skin: shadows are soft and warm.
    const float lit = DiffuseLight(normal, surface.light),
                soft = DiffuseLight(normal, 0.4f + 0.6f * surface.light);
    Vec3 light{base.x * Mix(lit, soft, 0.75f), base.y * Mix(lit, soft, 0.3f), base.z * Mix(lit, soft, 0.2f)};
    light = light + Vec3{1, 0.97f, 0.92f} * (surface.light * (0.10f * SpecularLight(normal, 4) +
                                                              lips * 0.12f * SpecularLight(normal, 5)));
    CompositeOver(point, light, SpillAmount(normal, surface.distance), cover);
}

// Dark glasses with reflections and a thin frame.
void AddGlasses(const Figure& figure, Vec2 p, ShadedPoint& point) {
    const float q = std::fabs(p.x);
    const float pixels = static_cast<float>(figure.height);
    const float lens =
        EllipseDistance({q, p.y}, {0.0345f, 0.2765f}, {0.0285f, 0.0215f + 0.08f * (q - 0.03f)});
    const float bridge = SegmentDistance({q, p.y}, {0, 0.2690f}, {0.011f, 0.2705f}) - 0.0017f;
    const float temple = SegmentDistance({q, p.y}, {0.059f, 0.2690f}, {0.080f, 0.2665f}) - 0.0022f;
    const float shape = std::min(lens, std::min(bridge, temple));
    const float cover = Coverage(shape, pixels);
    if (cover <= 0) return;
    // Reflected in the lenses: the studio's soft light above, the bright bar of a window, darkness below.
    const float across = (p.x - (p.x < 0 ? -0.0345f : 0.0345f) - 0.5f * (p.y - 0.275f)) * 17;
    const float studio = 0.050f * SmoothStep(0.292f, 0.254f, p.y);
    const float window =
        0.16f * SmoothStep(0.10f, 0.06f, std::fabs(across + 0.20f)) * SmoothStep(0.283f, 0.262f, p.y);
    const float rim = SmoothStep(-0.0030f, -0.0020f, lens);
    const Vec3 light = Vec3{0.006f, 0.006f, 0.007f} +
                       Vec3{0.80f, 0.85f, 0.92f} * ((studio + window) * (1 - rim)) +
                       Vec3{0.030f, 0.027f, 0.024f} * rim;
    CompositeOver(point, light, 0.03f, cover);
}

// The clothing at a point. Borders are one pixel sharp.
struct Clothing {
    Vec3 colour;
    float gloss;
    float fold;  // darkening at seams and edges
};

Clothing ClothingAt(Vec2 p, float pixels) {
    const float q = std::fabs(p.x);
    const float sharp = 0.7f / pixels;
    const auto inside = [sharp](float d) { return SmoothStep(sharp, -sharp, d); };
    const float down = p.y - 0.49f;
    const float opening = std::max(q - (0.064f - down * 0.200f), p.y - 0.812f);  // the jacket's inner edge
    const float width = 0.058f * SmoothStep(0.34f, 0.10f, down) * (p.y < 0.585f ? 1 : 0.86f);
    const float lapel = std::max(q - (0.064f - down * 0.200f) - width, p.y - 0.812f);
    const float collar = std::max(q - (0.066f - (p.y - 0.485f) * 0.30f), p.y - 0.560f + 0.35f * q);
    const float tie = std::max(q - (0.0095f + (p.y - 0.545f) * 0.050f), 0.545f - p.y);
    const float knot = std::max(q - 0.0155f + (p.y - 0.530f) * 0.28f, std::fabs(p.y - 0.545f) - 0.0155f);
    Clothing clothing{kGreyCloth, 0.02f, 1};
    const float weave = 0.86f + 0.28f * Noise(p.x * 1100, p.y * 1100, 821);
    const float stripe = 1 + 0.06f * Wave((p.x + 0.12f * p.y) * 150);
    clothing.colour = clothing.colour * (weave * stripe);
    const auto put = [&clothing](Vec3 colour, float gloss, float amount) {
        clothing.colour = Mix(clothing.colour, colour, amount);
        clothing.gloss = Mix(clothing.gloss, gloss, amount);
    };
    // The jacket with edge, pocket and button; then lapel, shirt, collar and tie.
    const float closing = std::max(std::fabs(p.x - 0.006f) - 0.0005f, 0.80f - p.y);
    const float pocket =
        std::max(std::fabs(p.x - 0.098f) - 0.026f, std::fabs(p.y - 0.672f + 0.08f * p.x) - 0.0045f);
    clothing.fold *=
        1 - 0.5f * SmoothStep(0.0016f, 0.0f, closing) - 0.28f * SmoothStep(0.0016f, -0.0006f, pocket);
    const float button = EllipseDistance(p, {-0.010f, 0.838f}, {0.0085f, 0.0085f});
    put(kBlackCloth * 2, 0.20f, inside(button));
    put(kBlackCloth, 0.10f, inside(lapel) * (1 - inside(opening)));
    clothing.fold *= 1 - 0.45f * SmoothStep(0.012f, 0.0f, lapel) * (1 - inside(lapel));
    put(kWhiteCloth * (0.97f + 0.06f * Noise(p.x * 1300, p.y * 1300, 822)), 0.01f, inside(opening));
    clothing.fold *= 1 - 0.5f * SmoothStep(-0.018f, 0.0f, opening) * inside(opening);
    clothing.fold *= 1 - 0.30f * SmoothStep(0.010f, 0.0f, collar) * (1 - inside(collar)) * inside(opening);
    put(kBlackCloth * 1.4f, 0.04f, inside(tie) * inside(opening));
    put(kBlackCloth * 1.8f, 0.04f, inside(knot));
    // The shirt's cuff at the raised hand.
    const float along = (p.x - 0.345f) * 0.371f + (p.y - 0.575f) * -0.928f;
    put(kWhiteCloth, 0.01f, p.x > 0.28f && p.y < 0.62f ? inside(0.016f - along) : 0);
    return clothing;
}

void AddClothing(const Figure& figure, Vec2 p, const SurfaceHit& surface, ShadedPoint& point) {
    const float pixels = static_cast<float>(figure.height);
    const float q = std::fabs(p.x);
    const float throat =
        std::max(q - (0.034f - (p.y - 0.475f) * 0.44f), p.y - 0.545f);  // open above the knot
    const float cover = Coverage(surface.distance, pixels) * (1 - Coverage(throat, pixels));
    if (cover <= 0) return;
    const Clothing clothing = ClothingAt(p, pixels);
    // Creases: strong at the bends of the arms, long and slack on the chest.
    const float bend = SmoothStep(0.16f, 0.02f, SegmentDistance(p, {0.24f, 0.70f}, {0.285f, 0.78f})) +
                       SmoothStep(0.15f, 0.02f, SegmentDistance(p, {-0.21f, 0.74f}, {-0.22f, 0.84f}));
    const float strength = 0.35f + 0.75f * bend;
    const auto height = [](Vec2 at) {
        const float slack = Turbulence(at.x * 7 + at.y * 5, at.y * 3.5f - at.x * 2, 2, 831);
        return std::fabs(slack - 0.5f) * 0.085f + Turbulence(at.x * 11, at.y * 7, 2, 835) * 0.030f;
    };
    constexpr float kStep = 0.002f;
    const float here = height(p);
    Vec3 normal = surface.normal;
    normal.x -= strength * (height({p.x + kStep, p.y}) - here) / kStep;
    normal.y -= strength * (height({p.x, p.y + kStep}) - here) / kStep;
    normal = Normalized(normal);
    const float lit = DiffuseLight(normal, surface.light) * clothing.fold;
    const Vec3 light =
        clothing.colour * lit + Vec3{1, 1, 1} * (clothing.gloss * surface.light * SpecularLight(normal, 3));
    const float spill =
        SpillAmount(normal, surface.distance) * (0.25f + 0.75f * Clamp01(clothing.colour.y * 4));
    CompositeOver(point, light, spill, cover);
}

void AddHair(const HairBuffer& hair, bool isBlown, int column, int row, ShadedPoint& point) {
    const int x = column - hair.left, y = row - hair.top;
    if (x < 0 || y < 0 || x >= hair.width || y >= hair.height) return;
    const std::size_t at = static_cast<std::size_t>(y) * hair.width + x;
    const float cover = hair.coverage[at];
    if (cover <= 0) return;
    const float tone = hair.tone[at] / cover;
    const Vec3 shine = Vec3{0.05f, 0.042f, 0.032f} * (tone * tone * 0.6f);
    const Vec3 light =
        isBlown ? kLightHair * tone + shine + kLightBehind * (tone * (1 - cover)) : kHair * tone + shine;
    // Single hairs receive more of the backdrop's light than dense hair.
    CompositeOver(point, light, 0.03f + 0.22f * (1 - cover), cover);
}

void AddBackHair(const Figure& figure, Vec2 p, ShadedPoint& point) {
    const SurfaceHit surface = SurfaceAt(figure.maps, kBackHair, p);
    // The outline frays: the solid part ends slightly inside it.
    const float fray = 0.010f * Turbulence(p.x * 260, p.y * 26, 2, 841) + 0.004f;
    const float cover = SmoothStep(0.0f, -0.006f, surface.distance + fray);
    if (cover <= 0) return;
    const float strands = 0.55f + 0.9f * Turbulence((p.x + 0.02f * Wave(p.y * 3)) * 330, p.y * 9, 3, 842);
    const Vec3 base = figure.isBlown ? kLightHair : kHair;
    CompositeOver(point, base * (DiffuseLight(surface.normal, surface.light) * 0.55f * strands), 0.04f,
                  cover);
}

// A net with folds and a denser hem, from the crown over the left shoulder.
void AddVeil(const Figure& figure, Vec2 p, ShadedPoint& point) {
    const float pixels = static_cast<float>(figure.height);
    const float t = Clamp01((p.y - 0.18f) / 0.72f);
    const float outer = Mix(-0.075f, -0.44f, t * (1.35f - 0.35f * t)) - 0.012f * Wave(p.y * 2.3f + 0.2f);
    const float inner = Mix(-0.045f, -0.150f, t) + 0.010f * Wave(p.y * 3.1f);
    const float hemLine = 0.905f + 0.018f * Wave(p.x * 8.5f);
    const float edge = std::max(std::max(outer - p.x, p.x - inner), std::max(0.185f - p.y, p.y - hemLine));
    const float cover = Coverage(edge, pixels);
    if (cover <= 0) return;
    const float along = (p.x - outer) / (inner - outer);
    const float fold = Turbulence(along * 9 + 0.6f * Noise(p.x * 4, p.y * 5, 851), p.y * 1.6f, 3, 852);
    const float ridge = 1 - std::fabs(2 * fold - 1);
    const float net = 0.9f + 0.2f * Noise(p.x * 800, p.y * 800, 853);
    const float hem = SmoothStep(-0.012f, -0.004f, edge);
    const float density = Clamp01((0.12f + 0.45f * ridge * ridge + 0.20f * hem) * net);
    const float tone = 0.50f + 0.55f * fold - 0.12f * t;
    CompositeOver(point, Vec3{0.80f, 0.79f, 0.78f} * tone, 0.12f, cover * density);
}

// The waving hand, averaged over the exposure.
void AddHand(const Figure& figure, Vec2 p, ShadedPoint& point) {
    if (p.x < 0.20f || p.x > 0.52f || p.y < 0.34f || p.y > 0.62f) return;
    constexpr int kMoments = 24;
    const float pixels = static_cast<float>(figure.height);
    ShadedPoint sum;
    for (int i = 0; i < kMoments; ++i) {
        const float time = (static_cast<float>(i) + 0.5f) / kMoments;
        const float d = HandDistance(p, time);
        const float cover = Coverage(
            d, std::min(pixels, 900.0f));  // limits the sharpness, so that single moments are not visible
        if (cover <= 0) continue;
        // A round section: the normal faces the viewer more with the distance from the outline.
        constexpr float kStep = 0.0015f;
        const float slope = 1 - Clamp01(-d / 0.013f);
        const Vec3 normal = Normalized({slope * (HandDistance({p.x + kStep, p.y}, time) - d) / kStep,
                                        slope * (HandDistance({p.x, p.y + kStep}, time) - d) / kStep, 0.75f});
        const Vec3 light = kSkinTone * DiffuseLight(normal, 0.95f) +
                           Vec3{1, 0.97f, 0.92f} * (0.03f * SpecularLight(normal, 3));
        sum.light = sum.light + light * (cover / kMoments);
        sum.spill += SpillAmount(normal, d) * cover / kMoments;
        sum.alpha += cover / kMoments;
    }
    if (sum.alpha > 0)
        CompositeOver(point, sum.light * (1 / sum.alpha), sum.spill / sum.alpha, std::min(1.0f, sum.alpha));
}

}  // namespace

Figure PrepareFigure(int width, int height, bool isBlown) {
    return {TraceFigure(height, static_cast<float>(width) / static_cast<float>(height)),
            DrawHair(HairLayer::kBehind, width, height, isBlown),
            DrawHair(HairLayer::kInFront, width, height, isBlown),
            width,
            height,
            isBlown};
}

ShadedPoint ShadeFigure(const Figure& figure, int column, int row) {
    const float scale = 1 / static_cast<float>(figure.height);
    const Vec2 p{(static_cast<float>(column) + 0.5f - static_cast<float>(figure.width) * 0.5f) * scale,
                 (static_cast<float>(row) + 0.5f) * scale};
    ShadedPoint point;
    AddBackHair(figure, p, point);
    AddHair(figure.hairBehind, figure.isBlown, column, row, point);
    AddHand(figure, p, point);
    AddSkin(figure, p, SurfaceAt(figure.maps, kSkin, p), point);
    AddClothing(figure, p, SurfaceAt(figure.maps, kCloth, p), point);
    AddGlasses(figure, p, point);
    AddHair(figure.hairInFront, figure.isBlown, column, row, point);
    AddVeil(figure, p, point);
    return point;
}

}  // namespace sample_plate

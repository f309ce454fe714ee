#include "sample_plate/subject.h"

namespace sample_plate {

namespace {

constexpr Vec3 kSkinTone{0.56f, 0.335f, 0.245f};
constexpr Vec3 kGreyCloth{0.165f, 0.165f, 0.172f};
constexpr Vec3 kBlackCloth{0.0105f, 0.0102f, 0.0110f};
constexpr Vec3 kWhiteCloth{0.80f, 0.80f, 0.79f};
constexpr Vec3 kHair{0.115f, 0.062f, 0.032f};

// Lays `top` of the given coverage over what was seen before.
void Lay(Seen& seen, Vec3 light, float spill, float cover) {
    seen.light = seen.light * (1 - cover) + light * cover;
    seen.spill = seen.spill * (1 - cover) + spill * cover;
    seen.alpha = seen.alpha * (1 - cover) + cover;
}

// Diffuse light on a surface: the main lamp, a weak one from the right, and the room.
float Lit(Vec3 normal, float light) {
    const float main = std::max(0.0f, Dot(normal, MainLight())) * light;
    const float fill = std::max(0.0f, Dot(normal, Normal({0.8f, -0.1f, 0.6f})));
    return 0.95f * main + 0.14f * fill + 0.16f * (0.7f - 0.3f * normal.y);
}

float Gloss(Vec3 normal, int power) {
    const Vec3 half = Normal(MainLight() + Vec3{0, 0, 1});
    float shine = std::max(0.0f, Dot(normal, half));
    for (int i = 0; i < power; ++i) shine *= shine;
    return shine;
}

// The backdrop shines on what turns away from the viewer, near an outline: further in, the figure itself is
// in its way.
float SpillOn(Vec3 normal, float clearance) {
    const float away = 1 - Clamp01(normal.z);
    return 0.025f + 0.62f * away * away * SmoothStep(-0.030f, -0.004f, clearance);
}

float Cover(float clearance, float pixels) {
    return Clamp01(0.5f - clearance * pixels);
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

// Colour and gloss of the skin with what is painted on it.
void SkinAt(const Subject& subject, Vec2 p, const Sight& sight, Seen& seen) {
    const float pixels = static_cast<float>(subject.height);
    const float cover = Cover(sight.clearance, pixels);
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

    Vec3 normal = sight.normal;
    normal.x += 0.05f * (Noise(p.x * 700, p.y * 700, 811) - 0.5f);
    normal.y += 0.05f * (Noise(p.x * 700, p.y * 700, 812) - 0.5f);
    normal = Normal(normal);
    // Light wanders a little under the skin, so its shadows are warm and never hard.
    const float lit = Lit(normal, sight.light), soft = Lit(normal, 0.4f + 0.6f * sight.light);
    Vec3 light{base.x * Mix(lit, soft, 0.75f), base.y * Mix(lit, soft, 0.3f), base.z * Mix(lit, soft, 0.2f)};
    light = light + Vec3{1, 0.97f, 0.92f} *
                        (sight.light * (0.10f * Gloss(normal, 4) + lips * 0.12f * Gloss(normal, 5)));
    Lay(seen, light, SpillOn(normal, sight.clearance), cover);
}

// Dark glasses: nearly black, with the lamp's reflection and a thin frame.
void GlassesAt(const Subject& subject, Vec2 p, Seen& seen) {
    const float q = std::fabs(p.x);
    const float pixels = static_cast<float>(subject.height);
    const float lens =
        EllipseDistance({q, p.y}, {0.0345f, 0.2765f}, {0.0285f, 0.0215f + 0.08f * (q - 0.03f)});
    const float bridge = SegmentDistance({q, p.y}, {0, 0.2690f}, {0.011f, 0.2705f}) - 0.0017f;
    const float temple = SegmentDistance({q, p.y}, {0.059f, 0.2690f}, {0.080f, 0.2665f}) - 0.0022f;
    const float shape = std::min(lens, std::min(bridge, temple));
    const float cover = Cover(shape, pixels);
    if (cover <= 0) return;
    // What the lenses show: the studio's soft light above, a window's bright bar across, the dark room below.
    const float across = (p.x - (p.x < 0 ? -0.0345f : 0.0345f) - 0.5f * (p.y - 0.275f)) * 17;
    const float room = 0.050f * SmoothStep(0.292f, 0.254f, p.y);
    const float window =
        0.16f * SmoothStep(0.10f, 0.06f, std::fabs(across + 0.20f)) * SmoothStep(0.283f, 0.262f, p.y);
    const float rim = SmoothStep(-0.0030f, -0.0020f, lens);
    const Vec3 light = Vec3{0.006f, 0.006f, 0.007f} +
                       Vec3{0.80f, 0.85f, 0.92f} * ((room + window) * (1 - rim)) +
                       Vec3{0.030f, 0.027f, 0.024f} * rim;
    Lay(seen, light, 0.03f, cover);
}

// Which cloth is at a place of the clothed body. Borders are as sharp as a pixel.
struct Dress {
    Vec3 colour;
    float gloss;
    float fold;  // darkening at seams and under edges
};

Dress DressAt(Vec2 p, float pixels) {
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
    Dress dress{kGreyCloth, 0.02f, 1};
    const float weave = 0.86f + 0.28f * Noise(p.x * 1100, p.y * 1100, 821);
    const float stripe = 1 + 0.06f * Wave((p.x + 0.12f * p.y) * 150);
    dress.colour = dress.colour * (weave * stripe);
    const auto put = [&dress](Vec3 colour, float gloss, float amount) {
        dress.colour = Mix(dress.colour, colour, amount);
        dress.gloss = Mix(dress.gloss, gloss, amount);
    };
    // Jacket: its closing edge, a pocket, a button; then what lies over and under it.
    const float closing = std::max(std::fabs(p.x - 0.006f) - 0.0005f, 0.80f - p.y);
    const float pocket =
        std::max(std::fabs(p.x - 0.098f) - 0.026f, std::fabs(p.y - 0.672f + 0.08f * p.x) - 0.0045f);
    dress.fold *=
        1 - 0.5f * SmoothStep(0.0016f, 0.0f, closing) - 0.28f * SmoothStep(0.0016f, -0.0006f, pocket);
    const float button = EllipseDistance(p, {-0.010f, 0.838f}, {0.0085f, 0.0085f});
    put(kBlackCloth * 2, 0.20f, inside(button));
    put(kBlackCloth, 0.10f, inside(lapel) * (1 - inside(opening)));
    dress.fold *= 1 - 0.45f * SmoothStep(0.012f, 0.0f, lapel) * (1 - inside(lapel));
    put(kWhiteCloth * (0.97f + 0.06f * Noise(p.x * 1300, p.y * 1300, 822)), 0.01f, inside(opening));
    dress.fold *= 1 - 0.5f * SmoothStep(-0.018f, 0.0f, opening) * inside(opening);
    dress.fold *= 1 - 0.30f * SmoothStep(0.010f, 0.0f, collar) * (1 - inside(collar)) * inside(opening);
    put(kBlackCloth * 1.4f, 0.04f, inside(tie) * inside(opening));
    put(kBlackCloth * 1.8f, 0.04f, inside(knot));
    // The shirt's cuff at the raised hand.
    const float along = (p.x - 0.345f) * 0.371f + (p.y - 0.575f) * -0.928f;
    put(kWhiteCloth, 0.01f, p.x > 0.28f && p.y < 0.62f ? inside(0.016f - along) : 0);
    return dress;
}

void ClothAt(const Subject& subject, Vec2 p, const Sight& sight, Seen& seen) {
    const float pixels = static_cast<float>(subject.height);
    const float q = std::fabs(p.x);
    const float throat =
        std::max(q - (0.034f - (p.y - 0.475f) * 0.44f), p.y - 0.545f);  // open above the knot
    const float cover = Cover(sight.clearance, pixels) * (1 - Cover(throat, pixels));
    if (cover <= 0) return;
    const Dress dress = DressAt(p, pixels);
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
    Vec3 normal = sight.normal;
    normal.x -= strength * (height({p.x + kStep, p.y}) - here) / kStep;
    normal.y -= strength * (height({p.x, p.y + kStep}) - here) / kStep;
    normal = Normal(normal);
    const float lit = Lit(normal, sight.light) * dress.fold;
    const Vec3 light = dress.colour * lit + Vec3{1, 1, 1} * (dress.gloss * sight.light * Gloss(normal, 3));
    const float spill = SpillOn(normal, sight.clearance) * (0.25f + 0.75f * Clamp01(dress.colour.y * 4));
    Lay(seen, light, spill, cover);
}

void HairAt(const HairBuffer& hair, int column, int row, Seen& seen) {
    const int x = column - hair.left, y = row - hair.top;
    if (x < 0 || y < 0 || x >= hair.width || y >= hair.height) return;
    const std::size_t at = static_cast<std::size_t>(y) * hair.width + x;
    const float cover = hair.coverage[at];
    if (cover <= 0) return;
    const float tone = hair.tone[at] / cover;
    const Vec3 light = kHair * tone + Vec3{0.05f, 0.042f, 0.032f} * (tone * tone * 0.6f);
    // Single hairs before the backdrop catch more of its light than the dense mass does.
    Lay(seen, light, 0.03f + 0.22f * (1 - cover), cover);
}

void BackHairAt(const Subject& subject, Vec2 p, Seen& seen) {
    const Sight sight = SightAt(subject.maps, kBackHair, p);
    // Its outline is hair, too: the solid part ends a little inside, and frays.
    const float fray = 0.010f * Turbulence(p.x * 260, p.y * 26, 2, 841) + 0.004f;
    const float cover = SmoothStep(0.0f, -0.006f, sight.clearance + fray);
    if (cover <= 0) return;
    const float strands = 0.55f + 0.9f * Turbulence((p.x + 0.02f * Wave(p.y * 3)) * 330, p.y * 9, 3, 842);
    Lay(seen, kHair * (Lit(sight.normal, sight.light) * 0.55f * strands), 0.04f, cover);
}

// Net with folds, from the crown over the shoulder to the left; its hem is a little denser.
void VeilAt(const Subject& subject, Vec2 p, Seen& seen) {
    const float pixels = static_cast<float>(subject.height);
    const float t = Clamp01((p.y - 0.18f) / 0.72f);
    const float outer = Mix(-0.075f, -0.44f, t * (1.35f - 0.35f * t)) - 0.012f * Wave(p.y * 2.3f + 0.2f);
    const float inner = Mix(-0.045f, -0.150f, t) + 0.010f * Wave(p.y * 3.1f);
    const float hemLine = 0.905f + 0.018f * Wave(p.x * 8.5f);
    const float edge = std::max(std::max(outer - p.x, p.x - inner), std::max(0.185f - p.y, p.y - hemLine));
    const float cover = Cover(edge, pixels);
    if (cover <= 0) return;
    const float along = (p.x - outer) / (inner - outer);
    const float fold = Turbulence(along * 9 + 0.6f * Noise(p.x * 4, p.y * 5, 851), p.y * 1.6f, 3, 852);
    const float ridge = 1 - std::fabs(2 * fold - 1);
    const float net = 0.9f + 0.2f * Noise(p.x * 800, p.y * 800, 853);
    const float hem = SmoothStep(-0.012f, -0.004f, edge);
    const float density = Clamp01((0.12f + 0.45f * ridge * ridge + 0.20f * hem) * net);
    const float tone = 0.50f + 0.55f * fold - 0.12f * t;
    Lay(seen, Vec3{0.80f, 0.79f, 0.78f} * tone, 0.12f, cover * density);
}

// The waving hand, averaged over the exposure.
void HandAt(const Subject& subject, Vec2 p, Seen& seen) {
    if (p.x < 0.20f || p.x > 0.52f || p.y < 0.34f || p.y > 0.62f) return;
    constexpr int kMoments = 24;
    const float pixels = static_cast<float>(subject.height);
    Seen sum;
    for (int i = 0; i < kMoments; ++i) {
        const float time = (static_cast<float>(i) + 0.5f) / kMoments;
        const float d = HandClearance(p, time);
        const float cover = Cover(d, std::min(pixels, 900.0f));  // one moment's own step must not show
        if (cover <= 0) continue;
        // Round in section: the deeper inside, the more it faces the viewer.
        constexpr float kStep = 0.0015f;
        const float slope = 1 - Clamp01(-d / 0.013f);
        const Vec3 normal = Normal({slope * (HandClearance({p.x + kStep, p.y}, time) - d) / kStep,
                                    slope * (HandClearance({p.x, p.y + kStep}, time) - d) / kStep, 0.75f});
        const Vec3 light =
            kSkinTone * Lit(normal, 0.95f) + Vec3{1, 0.97f, 0.92f} * (0.03f * Gloss(normal, 3));
        sum.light = sum.light + light * (cover / kMoments);
        sum.spill += SpillOn(normal, d) * cover / kMoments;
        sum.alpha += cover / kMoments;
    }
    if (sum.alpha > 0)
        Lay(seen, sum.light * (1 / sum.alpha), sum.spill / sum.alpha, std::min(1.0f, sum.alpha));
}

}  // namespace

Subject PrepareSubject(int width, int height) {
    return {MeasureFigure(height, static_cast<float>(width) / static_cast<float>(height)),
            DrawHair(HairLayer::kBehind, width, height), DrawHair(HairLayer::kInFront, width, height), width,
            height};
}

Seen SubjectAt(const Subject& subject, int column, int row) {
    const float scale = 1 / static_cast<float>(subject.height);
    const Vec2 p{(static_cast<float>(column) + 0.5f - static_cast<float>(subject.width) * 0.5f) * scale,
                 (static_cast<float>(row) + 0.5f) * scale};
    Seen seen;
    BackHairAt(subject, p, seen);
    HairAt(subject.hairBehind, column, row, seen);
    HandAt(subject, p, seen);
    SkinAt(subject, p, SightAt(subject.maps, kSkin, p), seen);
    ClothAt(subject, p, SightAt(subject.maps, kCloth, p), seen);
    GlassesAt(subject, p, seen);
    HairAt(subject.hairInFront, column, row, seen);
    VeilAt(subject, p, seen);
    return seen;
}

}  // namespace sample_plate

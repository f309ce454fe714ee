#include "sample_plate/hair.h"

#include "sample_plate/noise.h"

namespace sample_plate {

namespace {

constexpr float kStrandWidth = 0.00022f;  // in picture heights; about 0.15 mm
constexpr Vec2 kWindowFrom{-0.34f, 0.10f}, kWindowTo{0.34f, 0.86f};

// A cubic Bezier curve with a wave added.
struct Strand {
    Vec2 points[4];
    float wave, waveCount, phase;
    float width;  // in picture heights
    float tone;
};

Vec2 PointOf(const Strand& strand, float t) {
    const float u = 1 - t;
    const float w[4] = {u * u * u, 3 * u * u * t, 3 * u * t * t, t * t * t};
    Vec2 p;
    for (int i = 0; i < 4; ++i) {
        p.x += strand.points[i].x * w[i];
        p.y += strand.points[i].y * w[i];
    }
    const float swing = strand.wave * t * Wave(strand.phase + strand.waveCount * t);
    return {p.x + swing, p.y + swing * 0.3f};
}

// Composites coverage `amount` at a position in pixels over the four nearest pixels.
void AddCoverage(HairBuffer& buffer, float x, float y, float amount, float tone) {
    const float fx = std::floor(x - 0.5f), fy = std::floor(y - 0.5f);
    const int ix = static_cast<int>(fx) - buffer.left, iy = static_cast<int>(fy) - buffer.top;
    if (ix < 0 || iy < 0 || ix + 1 >= buffer.width || iy + 1 >= buffer.height) return;
    const float tx = x - 0.5f - fx, ty = y - 0.5f - fy;
    const std::size_t at = static_cast<std::size_t>(iy) * buffer.width + ix;
    const float shares[4] = {(1 - tx) * (1 - ty), tx * (1 - ty), (1 - tx) * ty, tx * ty};
    const std::size_t places[4] = {at, at + 1, at + buffer.width, at + buffer.width + 1};
    for (int i = 0; i < 4; ++i) {
        const float cover = std::min(1.0f, shares[i] * amount);
        buffer.coverage[places[i]] = buffer.coverage[places[i]] * (1 - cover) + cover;
        buffer.tone[places[i]] = buffer.tone[places[i]] * (1 - cover) + cover * tone;
    }
}

// The brightness: hair shines where it runs across the light's direction, as on the crown.
float ToneAlong(const Strand& strand, Vec2 p, Vec2 direction) {
    const float length = std::sqrt(direction.x * direction.x + direction.y * direction.y) + 1e-9f;
    const float across =
        Clamp01(0.95f - 0.9f * std::fabs(direction.x * 0.45f + direction.y * 0.85f) / length);
    const float crown = SmoothStep(0.075f, 0.0f, std::fabs(p.y - 0.235f + p.x * 0.10f));
    const float side = SmoothStep(0.16f, -0.10f, p.x);
    return strand.tone * (0.45f + 0.75f * side + 0.5f * across + 0.9f * crown * side);
}

void DrawStrand(HairBuffer& buffer, const Strand& strand, int width, int height) {
    const float scale = static_cast<float>(height);
    float reach = 0;
    for (int i = 0; i < 3; ++i) {
        const float dx = strand.points[i + 1].x - strand.points[i].x;
        const float dy = strand.points[i + 1].y - strand.points[i].y;
        reach += std::sqrt(dx * dx + dy * dy);
    }
    const int steps = std::max(8, static_cast<int>(reach * scale * 1.5f));
    Vec2 last = PointOf(strand, 0);
    for (int i = 1; i <= steps; ++i) {
        const float t = static_cast<float>(i) / static_cast<float>(steps);
        const Vec2 p = PointOf(strand, t);
        const Vec2 direction{p.x - last.x, p.y - last.y};
        const float length = std::sqrt(direction.x * direction.x + direction.y * direction.y) * scale;
        const float thickness = strand.width * scale * (1 - 0.6f * t * t);  // thinner towards the tip
        const float tone = ToneAlong(strand, p, direction);
        const float x = p.x * scale + static_cast<float>(width) * 0.5f, y = p.y * scale;
        // A strand wider than a pixel is several lines side by side.
        const int lines = std::max(1, static_cast<int>(std::ceil(thickness)));
        for (int line = 0; line < lines; ++line) {
            const float shift = static_cast<float>(line) - static_cast<float>(lines - 1) * 0.5f;
            AddCoverage(buffer, x + shift, y, thickness / static_cast<float>(lines) * length, tone);
        }
        last = p;
    }
}

// Hair combed down from the parting; `side` is -1 or 1. The strands of a lock share wave and brightness.
Strand CombedStrand(Random& random, float side, float spread) {
    Strand strand{};
    const float depth = random.Next();  // 0: next to the face, 1: outermost
    const auto lock = static_cast<std::uint32_t>(depth * 26) + (side < 0 ? 100u : 0u);
    strand.points[0] = {0.012f + random.Next(-0.010f, 0.010f),
                        0.196f - 0.006f * depth + random.Next(-0.004f, 0.006f)};
    strand.points[1] = {side * Mix(0.055f, 0.074f, depth), Mix(0.200f, 0.160f, depth)};
    strand.points[2] = {side * Mix(0.072f, 0.120f, depth), Mix(0.300f, 0.235f, depth)};
    const float length = random.Next(0.46f, 0.66f);
    strand.points[3] = {side * (Mix(0.070f, 0.125f, depth) + random.Next(-1, 1) * spread), length};
    strand.wave = 0.004f + 0.012f * Uniform(lock, 1, 7) + random.Next(0, 0.003f);
    strand.waveCount = 1.3f + 0.9f * Uniform(lock, 2, 7) + random.Next(0, 0.2f);
    strand.phase = Uniform(lock, 3, 7) + random.Next(0, 0.12f);
    strand.width = kStrandWidth * random.Next(0.8f, 1.6f);
    strand.tone = (0.45f + 0.75f * Uniform(lock, 4, 7)) * random.Next(0.55f, 1.35f);
    return strand;
}

// A single hair away from the others.
Strand LooseStrand(Random& random) {
    const float side = random.Next() < 0.5f ? -1.0f : 1.0f;
    Strand strand = CombedStrand(random, side, 0.02f);
    const float height = random.Next(0.14f, 0.62f);
    const float away = random.Next();
    strand.points[1] = {side * random.Next(0.05f, 0.09f), random.Next(0.150f, 0.20f)};
    strand.points[2] = {side * random.Next(0.10f, 0.15f), Mix(0.20f, height, 0.6f)};
    strand.points[3] = {side * (0.115f + 0.13f * away * away), height + random.Next(-0.02f, 0.05f)};
    strand.wave *= 1.8f;
    strand.width = kStrandWidth * random.Next(0.6f, 1.1f);
    strand.tone = random.Next(0.8f, 1.5f);
    return strand;
}

// A short hair that rises from the crown before the backdrop.
Strand CrownStrand(Random& random) {
    Strand strand{};
    const float x = random.Next(-0.085f, 0.085f);
    const float y = 0.172f + 5.0f * x * x;
    const float rise = 0.003f + 0.034f * random.Next() * random.Next(),
                lean = random.Next(-0.045f, 0.045f) + x * 0.3f;
    strand.points[0] = {x, y + 0.02f};
    strand.points[1] = {x + lean * 0.2f, y - rise * 0.5f};
    strand.points[2] = {x + lean * 0.6f, y - rise};
    strand.points[3] = {x + lean, y - rise * 0.6f};
    strand.wave = random.Next(0.0f, 0.004f);
    strand.waveCount = 1.5f;
    strand.phase = random.Next();
    strand.width = kStrandWidth * random.Next(0.6f, 1.0f);
    strand.tone = random.Next(0.5f, 1.2f);
    return strand;
}

// A hair of one of 40 locks in the wind.
Strand BlownStrand(Random& random) {
    Strand strand{};
    const auto lock = static_cast<std::uint32_t>(random.Next() * 40) + 200u;
    const float to = Uniform(lock, 2, 7), apart = random.Next(-1, 1);
    const float reach = Mix(Uniform(lock, 1, 7), random.Next() * random.Next(), 0.6f);
    strand.points[0] = {random.Next(-0.05f, 0.07f), 0.18f + random.Next(0, 0.05f)};
    strand.points[1] = {0.09f, 0.17f + 0.10f * to + 0.015f * apart};
    strand.points[2] = {0.12f + 0.08f * reach, 0.15f + 0.30f * to + 0.012f * apart};
    strand.points[3] = {0.14f + 0.20f * reach, 0.14f + 0.38f * to * to + (0.01f + 0.05f * reach) * apart};
    strand.wave = 0.008f + 0.016f * Uniform(lock, 3, 7) + random.Next(0, 0.006f);
    strand.waveCount = 1.2f + Uniform(lock, 4, 7) + random.Next(0, 0.3f);
    strand.phase = Uniform(lock, 5, 7) + random.Next(0, 0.2f);
    strand.width = kStrandWidth * random.Next(0.5f, 1.2f);
    strand.tone = random.Next(0.4f, 1.4f);
    return strand;
}

}  // namespace

HairBuffer DrawHair(HairLayer layer, int width, int height, bool isBlown) {
    const float scale = static_cast<float>(height);
    HairBuffer buffer;
    buffer.left = std::max(0, static_cast<int>(kWindowFrom.x * scale + static_cast<float>(width) * 0.5f));
    buffer.top = static_cast<int>(kWindowFrom.y * scale);
    buffer.width = std::min(width, static_cast<int>(kWindowTo.x * scale + static_cast<float>(width) * 0.5f)) -
                   buffer.left;
    buffer.height = static_cast<int>(kWindowTo.y * scale) - buffer.top;
    const std::size_t count =
        static_cast<std::size_t>(buffer.width) * static_cast<std::size_t>(buffer.height);
    buffer.coverage.assign(count, 0);
    buffer.tone.assign(count, 0);

    const bool behind = layer == HairLayer::kBehind;
    Random random{behind ? 11u : 29u};
    const int combed = behind ? 5000 : 9000;
    for (int i = 0; i < combed; ++i) {
        DrawStrand(buffer, CombedStrand(random, i % 2 == 0 ? -1.0f : 1.0f, behind ? 0.045f : 0.022f), width,
                   height);
    }
    for (int i = 0; i < (behind ? 300 : 60); ++i) DrawStrand(buffer, LooseStrand(random), width, height);
    for (int i = 0; i < (behind ? 190 : 0); ++i) DrawStrand(buffer, CrownStrand(random), width, height);
    for (int i = 0; i < (behind && isBlown ? 1200 : 0); ++i)
        DrawStrand(buffer, BlownStrand(random), width, height);
    return buffer;
}

}  // namespace sample_plate

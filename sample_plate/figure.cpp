#include "sample_plate/figure.h"

namespace sample_plate {

namespace {

float Ellipsoid(Vec3 p, Vec3 centre, Vec3 radii) {
    const Vec3 q = p - centre;
    const Vec3 a{q.x / radii.x, q.y / radii.y, q.z / radii.z};
    const Vec3 b{a.x / radii.x, a.y / radii.y, a.z / radii.z};
    const float lengthB = Length(b);
    const float lengthA = Length(a);
    return lengthB > 1e-6f ? lengthA * (lengthA - 1) / lengthB : -std::min(radii.x, radii.y);
}

// A capsule from a to b with the radii ra and rb at its ends.
float Capsule(Vec3 p, Vec3 a, Vec3 b, float ra, float rb) {
    const Vec3 along = b - a;
    const float t = Clamp01(Dot(p - a, along) / Dot(along, along));
    return Length(p - a - along * t) - Mix(ra, rb, t);
}

// The union of two shapes with a fillet of size k.
float SmoothUnion(float a, float b, float k) {
    const float h = Clamp01(0.5f + 0.5f * (b - a) / k);
    return Mix(b, a, h) - k * h * (1 - h);
}

// Mirrors x, for the symmetric shapes of head and shoulders.
Vec3 Mirrored(Vec3 p) {
    return {std::fabs(p.x), p.y, p.z};
}

float Skin(Vec3 p) {
    const Vec3 q = Mirrored(p);
    float d = Ellipsoid(p, {0, 0.285f, 0}, {0.074f, 0.098f, 0.090f});
    d = SmoothUnion(d, Ellipsoid(p, {0, 0.340f, 0.018f}, {0.054f, 0.054f, 0.058f}), 0.035f);
    d = SmoothUnion(d, Ellipsoid(q, {0.034f, 0.318f, 0.058f}, {0.024f, 0.026f, 0.022f}), 0.030f);  // cheeks
    d = SmoothUnion(d, Ellipsoid(p, {0, 0.388f, 0.058f}, {0.018f, 0.014f, 0.014f}), 0.022f);       // chin
    d = SmoothUnion(d, Capsule(p, {0, 0.272f, 0.088f}, {0, 0.318f, 0.106f}, 0.006f, 0.010f), 0.018f);  // nose
    d = SmoothUnion(d, Ellipsoid(q, {0.009f, 0.322f, 0.094f}, {0.008f, 0.006f, 0.009f}), 0.008f);
    d = SmoothUnion(d, Ellipsoid(p, {0, 0.3495f, 0.073f}, {0.022f, 0.0055f, 0.013f}), 0.007f);  // lips
    d = SmoothUnion(d, Ellipsoid(p, {0, 0.3595f, 0.072f}, {0.018f, 0.0065f, 0.013f}), 0.007f);
    d = SmoothUnion(d, Ellipsoid(q, {0.032f, 0.262f, 0.080f}, {0.026f, 0.006f, 0.010f}), 0.014f);    // brows
    d = SmoothUnion(d, Capsule(p, {0, 0.37f, -0.02f}, {0, 0.50f, -0.03f}, 0.043f, 0.050f), 0.022f);  // neck
    d = SmoothUnion(d, Ellipsoid(p, {0, 0.585f, -0.01f}, {0.09f, 0.10f, 0.095f}), 0.04f);
    return d;
}

float Cloth(Vec3 p) {
    const Vec3 q = Mirrored(p);
    float d = Capsule(q, {0.03f, 0.515f, -0.03f}, {0.150f, 0.560f, -0.03f}, 0.055f, 0.064f);  // shoulders
    d = SmoothUnion(d, Ellipsoid(p, {0, 0.70f, 0.0f}, {0.165f, 0.22f, 0.105f}), 0.06f);
    d = SmoothUnion(d, Ellipsoid(p, {0, 1.00f, 0.0f}, {0.155f, 0.25f, 0.100f}), 0.08f);
    const float leftArm =
        SmoothUnion(Capsule(p, {-0.175f, 0.575f, -0.03f}, {-0.225f, 0.80f, -0.04f}, 0.058f, 0.050f),
                    Capsule(p, {-0.225f, 0.80f, -0.04f}, {-0.205f, 1.08f, 0.06f}, 0.048f, 0.042f), 0.02f);
    const float rightArm =
        SmoothUnion(Capsule(p, {0.175f, 0.575f, -0.03f}, {0.265f, 0.775f, 0.0f}, 0.058f, 0.049f),
                    Capsule(p, {0.265f, 0.775f, 0.0f}, {0.345f, 0.575f, 0.06f}, 0.047f, 0.036f), 0.025f);
    return SmoothUnion(SmoothUnion(d, leftArm, 0.025f), rightArm, 0.03f);
}

float BackHair(Vec3 p) {
    const Vec3 q = Mirrored(p);
    float d = Ellipsoid(p, {0, 0.285f, -0.035f}, {0.094f, 0.112f, 0.085f});
    d = SmoothUnion(d, Capsule(q, {0.068f, 0.30f, -0.04f}, {0.098f, 0.50f, -0.06f}, 0.036f, 0.046f), 0.03f);
    d = SmoothUnion(d, Capsule(q, {0.098f, 0.50f, -0.06f}, {0.112f, 0.60f, -0.06f}, 0.046f, 0.022f), 0.02f);
    return d;
}

using Shape = float (*)(Vec3);
constexpr Shape kShapes[kPartCount] = {BackHair, Skin, Cloth};

float FigureDistance(Vec3 p) {
    return std::min(BackHair(p), std::min(Skin(p), Cloth(p)));
}

Vec3 Gradient(Shape shape, Vec3 p) {
    constexpr float kStep = 0.0012f;
    return Normalized({shape({p.x + kStep, p.y, p.z}) - shape({p.x - kStep, p.y, p.z}),
                       shape({p.x, p.y + kStep, p.z}) - shape({p.x, p.y - kStep, p.z}),
                       shape({p.x, p.y, p.z + kStep}) - shape({p.x, p.y, p.z - kStep})});
}

// The share of the soft main light that reaches a point of the surface, 0 to 1.
float LightAt(Vec3 p, Vec3 normal) {
    const Vec3 start = p + normal * 0.004f;
    float light = 1;
    for (float t = 0.006f; t < 0.45f;) {
        const float d = FigureDistance(start + MainLight() * t);
        light = std::min(light, 0.5f + 4.5f * d / t);
        if (light <= 0) return 0;
        t += std::max(0.006f, d * 0.8f);
    }
    return light;
}

// Follows a line of sight from front to back.
SurfaceHit Trace(Shape shape, float x, float y) {
    SurfaceHit surface{1, {0, 0, 1}, 1};
    bool met = false;
    for (float z = 0.20f; z > -0.20f;) {
        const float d = shape({x, y, z});
        surface.distance = std::min(surface.distance, d);
        if (!met && d < 0.0006f) {
            met = true;
            surface.normal = Gradient(shape, {x, y, z});
            surface.light = LightAt({x, y, z}, surface.normal);
        }
        z -= std::max(met ? 0.003f : 0.0004f, std::fabs(d) * 0.8f);
    }
    return surface;
}

// Copies normal and light of the nearest surface over three grid points outside the outline. Without it,
// interpolation at the outline would use values that belong to no surface.
void ExtendOutwards(GridValues<SurfaceHit>& surfaces, int columns, int rows) {
    for (int pass = 0; pass < 3; ++pass) {
        std::vector<SurfaceHit> spread = surfaces;
        for (int y = 1; y + 1 < rows; ++y) {
            for (int x = 1; x + 1 < columns; ++x) {
                const int at = y * columns + x;
                if (surfaces[at].distance < 0.0006f) continue;
                int best = at;
                for (const int other : {at - 1, at + 1, at - columns, at + columns}) {
                    if (surfaces[other].distance < surfaces[best].distance) best = other;
                }
                spread[at].normal = surfaces[best].normal;
                spread[at].light = surfaces[best].light;
            }
        }
        surfaces.swap(spread);
    }
}

}  // namespace

Vec3 MainLight() {
    return Normalized({-0.55f, -0.62f, 0.70f});
}

FigureMaps TraceFigure(int height, float aspect) {
    constexpr int kRows = 720;
    FigureMaps maps;
    maps.shape = MakeGridShape(std::min(kRows, height), aspect);
    for (int part = 0; part < kPartCount; ++part) {
        maps.parts[part] =
            FillGrid<SurfaceHit>(maps.shape, [part](Vec2 at) { return Trace(kShapes[part], at.x, at.y); });
    }
    maps.outline.resize(maps.parts[0].size());
    for (std::size_t i = 0; i < maps.outline.size(); ++i) {
        maps.outline[i] = std::min(maps.parts[kBackHair][i].distance,
                                   std::min(maps.parts[kSkin][i].distance, maps.parts[kCloth][i].distance));
    }
    for (auto& part : maps.parts) ExtendOutwards(part, maps.shape.columns, maps.shape.rows);
    return maps;
}

SurfaceHit SurfaceAt(const FigureMaps& maps, Part part, Vec2 at) {
    return Interpolate(maps.parts[part], maps.shape, CellAt(maps.shape, at));
}

float OutlineDistanceAt(const FigureMaps& maps, Vec2 at) {
    return Interpolate(maps.outline, maps.shape, CellAt(maps.shape, at));
}

float HandDistance(Vec2 at, float time) {
    // The hand rotates about the wrist by about 16 degrees within the exposure.
    constexpr Vec2 kWrist{0.352f, 0.560f};
    const float angle = 0.10f + 0.28f * (time - 0.5f);
    const float sine = angle - angle * angle * angle / 6, cosine = 1 - angle * angle / 2;
    const float dx = at.x - kWrist.x, dy = at.y - kWrist.y;
    const Vec3 p{dx * cosine + dy * sine, dy * cosine - dx * sine, 0};
    float d = Capsule(p, {0, 0.02f, 0}, {0, -0.02f, 0}, 0.024f, 0.022f);
    d = SmoothUnion(d, Ellipsoid(p, {0, -0.052f, 0}, {0.034f, 0.040f, 0.034f}), 0.012f);
    constexpr Vec2 kTips[] = {{-0.036f, -0.135f}, {-0.012f, -0.152f}, {0.013f, -0.147f}, {0.037f, -0.124f}};
    for (int i = 0; i < 4; ++i) {
        const float rootX = -0.024f + 0.016f * static_cast<float>(i);
        d = SmoothUnion(d, Capsule(p, {rootX, -0.075f, 0}, {kTips[i].x, kTips[i].y, 0}, 0.0090f, 0.0070f),
                        0.006f);
    }
    return SmoothUnion(d, Capsule(p, {-0.024f, -0.035f, 0}, {-0.068f, -0.078f, 0}, 0.011f, 0.0078f), 0.010f);
}

}  // namespace sample_plate

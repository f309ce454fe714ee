// Small vectors. Uses only operations with the same result on every platform (no sin, no pow), as the sample
// plate is the same everywhere.
#pragma once

#include <algorithm>
#include <cmath>

namespace sample_plate {

struct Vec2 {
    float x = 0, y = 0;
};

struct Vec3 {
    float x = 0, y = 0, z = 0;
};

inline Vec3 operator+(Vec3 a, Vec3 b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vec3 operator-(Vec3 a, Vec3 b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vec3 operator*(Vec3 a, float s) {
    return {a.x * s, a.y * s, a.z * s};
}
inline Vec3 operator*(Vec3 a, Vec3 b) {
    return {a.x * b.x, a.y * b.y, a.z * b.z};
}
inline float Dot(Vec3 a, Vec3 b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline float Length(Vec3 a) {
    return std::sqrt(Dot(a, a));
}
inline Vec3 Normalized(Vec3 a) {
    const float length = Length(a);
    return length > 0 ? a * (1 / length) : Vec3{0, 0, 1};
}

inline float Clamp01(float v) {
    return std::min(1.0f, std::max(0.0f, v));
}
inline float Mix(float a, float b, float t) {
    return a + (b - a) * t;
}
inline Vec2 Mix(Vec2 a, Vec2 b, float t) {
    return {Mix(a.x, b.x, t), Mix(a.y, b.y, t)};
}
inline Vec3 Mix(Vec3 a, Vec3 b, float t) {
    return a + (b - a) * t;
}
inline float SmoothStep(float from, float to, float v) {
    const float t = Clamp01((v - from) / (to - from));
    return t * t * (3 - 2 * t);
}

// An approximate sine of period 1.
inline float Wave(float x) {
    const float t = x - std::floor(x) - 0.5f;
    const float y = 8 * t * (1 - 2 * std::fabs(t));
    return -(0.225f * (y * std::fabs(y) - y) + y);
}

}  // namespace sample_plate

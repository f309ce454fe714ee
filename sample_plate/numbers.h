// Small vectors and a noise of our own for the demonstration plate. Only operations whose result is the same
// on every platform are used (no sin, no pow), so that the plate is too.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

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
inline Vec3 Normal(Vec3 a) {
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

// A wave of period 1 between -1 and 1, near enough to a sine.
inline float Wave(float x) {
    const float t = x - std::floor(x) - 0.5f;
    const float y = 8 * t * (1 - 2 * std::fabs(t));
    return -(0.225f * (y * std::fabs(y) - y) + y);
}

// 32 well mixed bits of two coordinates and a seed.
inline std::uint32_t Hash(std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
    std::uint32_t h = x * 0x9E3779B1u ^ (y + 0x7F4A7C15u) * 0x85EBCA77u ^ seed * 0xC2B2AE3Du;
    h = (h ^ h >> 15) * 0x2C1B3C6Du;
    h = (h ^ h >> 12) * 0x297A2D39u;
    return h ^ h >> 15;
}

// 0 up to and without 1.
inline float Uniform(std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
    return static_cast<float>(Hash(x, y, seed) >> 8) * (1.0f / 16777216);
}

// A sequence of such numbers.
struct Dice {
    std::uint32_t seed;
    std::uint32_t count = 0;

    float Roll() { return Uniform(count++, 0, seed); }
    float Roll(float from, float to) { return from + (to - from) * Roll(); }
};

// Mean 0, deviation 1, from one hash: the sum of four bytes, which is bell-shaped enough for a sensor.
inline float Gaussian(std::uint32_t hash) {
    const int sum = static_cast<int>((hash & 255) + (hash >> 8 & 255) + (hash >> 16 & 255) + (hash >> 24));
    return static_cast<float>(sum - 510) * (1.0f / 147.8f);
}

// Smooth noise between 0 and 1 on a lattice of unit cells.
inline float Noise(float x, float y, std::uint32_t seed) {
    const float fx = std::floor(x), fy = std::floor(y);
    const auto ix = static_cast<std::uint32_t>(static_cast<std::int32_t>(fx));
    const auto iy = static_cast<std::uint32_t>(static_cast<std::int32_t>(fy));
    const float tx = x - fx, ty = y - fy;
    const float sx = tx * tx * tx * (tx * (tx * 6 - 15) + 10), sy = ty * ty * ty * (ty * (ty * 6 - 15) + 10);
    const float top = Mix(Uniform(ix, iy, seed), Uniform(ix + 1, iy, seed), sx);
    const float bottom = Mix(Uniform(ix, iy + 1, seed), Uniform(ix + 1, iy + 1, seed), sx);
    return Mix(top, bottom, sy);
}

// Octaves of it, each half as strong and twice as fine; between 0 and 1.
inline float Turbulence(float x, float y, int octaves, std::uint32_t seed) {
    float sum = 0, weight = 0.5f, total = 0;
    for (int i = 0; i < octaves; ++i) {
        sum += Noise(x, y, seed + static_cast<std::uint32_t>(i)) * weight;
        total += weight;
        weight *= 0.5f;
        // A turn of some 37 degrees hides the lattice.
        const float turnedX = x * 1.6f - y * 1.2f + 17.3f;
        y = x * 1.2f + y * 1.6f + 9.1f;
        x = turnedX;
    }
    return sum / total;
}

}  // namespace sample_plate

// Hashes, random numbers and noise with the same values on every platform.
#pragma once

#include <cmath>
#include <cstdint>

#include "sample_plate/vectors.h"

namespace sample_plate {

// 32 mixed bits of two coordinates and a seed.
inline std::uint32_t Hash(std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
    std::uint32_t h = x * 0x9E3779B1u ^ (y + 0x7F4A7C15u) * 0x85EBCA77u ^ seed * 0xC2B2AE3Du;
    h = (h ^ h >> 15) * 0x2C1B3C6Du;
    h = (h ^ h >> 12) * 0x297A2D39u;
    return h ^ h >> 15;
}

// In [0, 1).
inline float Uniform(std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
    return static_cast<float>(Hash(x, y, seed) >> 8) * (1.0f / 16777216);
}

// A sequence of uniform numbers.
struct Random {
    std::uint32_t seed;
    std::uint32_t count = 0;

    float Next() { return Uniform(count++, 0, seed); }
    float Next(float from, float to) { return from + (to - from) * Next(); }
};

// Approximately normal with mean 0 and deviation 1: the sum of a hash's four bytes.
inline float Gaussian(std::uint32_t hash) {
    const int sum = static_cast<int>((hash & 255) + (hash >> 8 & 255) + (hash >> 16 & 255) + (hash >> 24));
    return static_cast<float>(sum - 510) * (1.0f / 147.8f);
}

// Smooth noise in [0, 1] on a lattice of unit cells.
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

// The sum of octaves of noise, each with half the amplitude and half the scale of the one before, in [0, 1].
inline float Turbulence(float x, float y, int octaves, std::uint32_t seed) {
    float sum = 0, weight = 0.5f, total = 0;
    for (int i = 0; i < octaves; ++i) {
        sum += Noise(x, y, seed + static_cast<std::uint32_t>(i)) * weight;
        total += weight;
        weight *= 0.5f;
        // A rotation by about 37 degrees hides the lattice.
        const float turnedX = x * 1.6f - y * 1.2f + 17.3f;
        y = x * 1.2f + y * 1.6f + 9.1f;
        x = turnedX;
    }
    return sum / total;
}

}  // namespace sample_plate

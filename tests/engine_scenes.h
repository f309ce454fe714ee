// Pictures for the engine's tests and benchmarks, the same on every platform: whole numbers only, and a
// generator of their own.
#pragma once

#include <cstdint>

#include "engine_rig.h"

// Uniform 32-bit numbers; the same seed gives the same row everywhere.
struct Random {
    explicit Random(std::uint64_t seed) : state(seed * 2 + 1) {}
    std::uint32_t Next() {
        state = state * 6364136223846793005u + 1442695040888963407u;
        return static_cast<std::uint32_t>(state >> 32);
    }
    // 0 .. count - 1
    std::uint32_t Below(std::uint32_t count) {
        return static_cast<std::uint32_t>((std::uint64_t{Next()} * count) >> 32);
    }

    std::uint64_t state;
};

enum class Scene {
    kNoise,       // every sample for itself
    kRamps,       // backdrop of changing hue along the rows, saturation and level down the columns
    kSubject,     // a lit figure before an uneven backdrop: soft edges, cloth, a veil, spill
    kHair,        // thin strands over backdrop, partly covering it
    kGreys,       // nearly neutral colours from black to white, over backdrop
    kThresholds,  // samples round the levels at which the engine decides
    kExtremes     // zeros, maxima and what lies beyond them
};
constexpr Scene kScenes[] = {Scene::kNoise, Scene::kRamps,      Scene::kSubject, Scene::kHair,
                             Scene::kGreys, Scene::kThresholds, Scene::kExtremes};

// Fills the top and bottom planes and the selection, in the scale of the rig's samples. For a blue backdrop
// (FlagBlueLogic) green and blue of the top layer change places.
void PaintScene(EngineRig* rig, Scene scene, std::uint64_t seed);

// Six random slider values: mostly on the dialog's range, at times far off it.
void RandomSliders(EngineRig* rig, Random* random);

// Flags from the low five bits: blue logic, original photo, show selected, blend edges, output alpha.
void SetFlags(EngineRig* rig, unsigned bits);

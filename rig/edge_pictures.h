// Pictures at the edges of the engine's decisions, where a faster way to the same answer would differ first.
#pragma once

#include <cstdint>
#include <memory>

#include "rig/engine_rig.h"

// A backdrop of one colour, and one pixel in each cell of the grid: its count tells whether it was accepted,
// its hue and its saturation lie near the limits of acceptance.
std::unique_ptr<EngineRig> BackdropAndOnePixelEach(RunKind kind, std::uint64_t seed);

// One pixel is the whole picture: the means tell its bins of hue and of saturation.
std::unique_ptr<EngineRig> OnePixel(RunKind kind, std::uint64_t seed);

// Pairs of colours between which a decision of the keying turns, as near to each other as samples come. The
// backdrop is set, in the rig and in gBackdropGrid, and must not be measured again.
std::unique_ptr<EngineRig> EdgesOfDecisions(RunKind kind, std::uint64_t seed);

// Pictures of few pixels, spelled out, through the engine. The original photo is shown, so that the ring
// holds the top layer as it is, with its own alpha.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "rig/engine_rig.h"
#include "rig/engine_scenes.h"

using Colour = std::array<int, 3>;
using Pixel = std::array<int, 4>;
constexpr int kAny = -1;  // in a place of a result that a case does not ask for
constexpr Pixel kNotAsked{kAny, kAny, kAny, kAny};

struct Spot {
    Pixel top;
    Colour bottom{};
    Pixel expected = kNotAsked;  // of the out planes
};

// Pixels in rows of `width`.
inline void LaySpots(const std::vector<Spot>& spots, EngineRig* rig) {
    for (std::size_t n = 0; n < spots.size(); ++n) {
        const Spot& s = spots[n];
        const auto i = static_cast<std::int64_t>(n);
        const auto set = [&](Plane red, int r, int g, int b) {
            rig->SetColour(red, i, static_cast<std::uint16_t>(r), static_cast<std::uint16_t>(g),
                           static_cast<std::uint16_t>(b));
        };
        set(kTopR, s.top[0], s.top[1], s.top[2]);
        set(kBottomR, s.bottom[0], s.bottom[1], s.bottom[2]);
        rig->Set(kTopA, i, static_cast<std::uint16_t>(s.top[3]));
    }
}

// flags: of SetFlags, beside kPhoto.
inline void ExpectPicture(RunKind kind, unsigned flags, std::int32_t width, const std::vector<Spot>& spots) {
    EngineRig rig(width, static_cast<std::int32_t>(spots.size()) / width, kind);
    SetFlags(&rig, flags | kPhoto);
    LaySpots(spots, &rig);
    rig.Key();
    for (std::size_t n = 0; n < spots.size(); ++n) {
        Pixel found = OutPixel(rig, static_cast<std::int64_t>(n));
        for (std::size_t c = 0; c < 4; ++c) {
            if (spots[n].expected[c] == kAny) found[c] = kAny;
        }
        EXPECT_EQ(found, spots[n].expected) << "pixel " << n << ", flags " << flags;
    }
    EXPECT_TRUE(rig.GuardsStand());
}

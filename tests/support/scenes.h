// Random pictures for the engine's tests, the same on every platform.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tests/support/test_engine.h"

namespace test_support {

// Random numbers from a seed, or from a fuzzer's bytes and then a seed made of them. The same source gives
// the same numbers everywhere, and a copy gives the same numbers.
//
// Draw one number per expression, or several in a braced list: elsewhere the order of evaluation is
// undefined.
class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed * 2 + 1) {}
    Random(const std::uint8_t* bytes, std::size_t size);

    // 0 .. count - 1
    std::uint32_t Below(std::uint32_t count);
    std::int32_t Between(std::int32_t low, std::int32_t high) {  // not the type's whole range
        const std::uint32_t from = static_cast<std::uint32_t>(low);
        return static_cast<std::int32_t>(from + Below(static_cast<std::uint32_t>(high) - from + 1));
    }

  private:
    const std::uint8_t* bytes_ = nullptr;
    std::size_t left_ = 0;
    std::uint64_t state_;
};

enum class Scene {
    kNoise,    // independent samples
    kFigure,   // a figure on an uneven backdrop: soft edges, cloth, a veil, strands of hair
    kPalette,  // few colours on a backdrop: pure, mixed with it, the backdrop at another level; top
               // alphas near the engine's limits
    kExtremes  // zeros, maxima and samples beyond them
};
constexpr Scene kScenes[] = {Scene::kNoise, Scene::kFigure, Scene::kPalette, Scene::kExtremes};

// Fills the top and bottom planes and the selection, in the scale of the planes' samples. For a blue backdrop
// (blueBackdrop) green and blue of the top layer are exchanged.
void PaintScene(TestEngine* engine, Scene scene, Random draws);

// Flags from the low five bits.
constexpr unsigned kAllFlags = 32, kBlue = 1, kPhoto = 2, kView = 4, kBlend = 8, kTransparency = 16;
void SetFlags(TestEngine* engine, unsigned bits);

}  // namespace test_support

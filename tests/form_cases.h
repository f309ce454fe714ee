// Runs of the engine drawn from numbers, and the comparison of a form with the plain one over such a run: for
// the tests of the forms and for the fuzzer that goes on with them. Knows no test framework.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "engine_rig.h"
#include "engine_scenes.h"

// Where a run's numbers come from: a seed, or a fuzzer's bytes and, behind their end, what they seed. Copies
// draw the same numbers.
class Draws {
  public:
    explicit Draws(std::uint64_t seed) : random_(seed) {}
    Draws(const std::uint8_t* bytes, std::size_t size);

    std::uint32_t Below(std::uint32_t count);
    std::int32_t Between(std::int32_t low, std::int32_t high) {  // not the type's whole range
        const std::uint32_t from = static_cast<std::uint32_t>(low);
        return static_cast<std::int32_t>(from + Below(static_cast<std::uint32_t>(high) - from + 1));
    }

  private:
    const std::uint8_t* bytes_ = nullptr;
    std::size_t left_ = 0;
    Random random_;
};

// Flags, sliders from the default to the ends of their type, selection and abort.
void DrawParameters(Draws* draws, EngineRig* rig);

// One of the scenes, or a picture of few colours, mixed and scaled. Follows the flags of the rig.
void DrawPicture(Draws* draws, EngineRig* rig);

// All of it: sizes up to some 100,000 pixels, thin ones among them.
std::unique_ptr<EngineRig> DrawRun(Draws draws);

// Makes the same rig at every call.
using RigMaker = std::function<std::unique_ptr<EngineRig>()>;

enum class Stage { kAnalysisAndKeying, kKeying };

// Runs a rig in the plain form and one in the form of that name. Gives the first difference between what they
// leave: means and grid, planes of all kinds, progress, calls of the host, guards and blocks; or nothing. The
// form that was active before is active again.
std::string DifferenceFromPlain(const char* form, const RigMaker& make,
                                Stage stage = Stage::kAnalysisAndKeying);

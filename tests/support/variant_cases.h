// Runs of the engine drawn from numbers, and the comparison of a variant with the plain one over such a run:
// for the tests of the variants and for the fuzzer that goes on with them. Knows no test framework.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tests/support/engine_rig.h"
#include "tests/support/engine_scenes.h"

// Flags, sliders from the default to the ends of their type, selection and abort.
void DrawParameters(Random* draws, EngineRig* rig);

// Parameters and one of the scenes in any size: up to some 30,000 pixels, thin ones among them.
std::unique_ptr<EngineRig> DrawRun(Random draws);

// Makes the same rig at every call.
using RigMaker = std::function<std::unique_ptr<EngineRig>()>;

enum class Stage { kAnalysisAndKeying, kKeying };

// Runs a rig in the scalar reference and one in the variant of that name. Gives the first difference between
// what they leave: means and grid, planes of all kinds, progress, calls of the host, guards and blocks; or
// nothing. The variant that was active before is active again.
std::string DifferenceFromPlain(const char* variant, const RigMaker& make,
                                Stage stage = Stage::kAnalysisAndKeying);

// Runs of the engine drawn from numbers, and the comparison of a variant with the scalar reference over such
// a run: for the tests of the variants and for the fuzzer that goes on with them. Knows no test framework.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tests/support/engine_scenes.h"
#include "tests/support/test_engine.h"

namespace test_support {

// Flags, sliders from the default to the ends of their type, selection and stop.
void DrawParameters(Random* draws, TestEngine* engine);

// Parameters and one of the scenes in any size: up to some 30,000 pixels, thin ones among them.
std::unique_ptr<TestEngine> DrawRun(Random draws);

// Makes the same engine at every call.
using EngineMaker = std::function<std::unique_ptr<TestEngine>()>;

enum class Stage { kAnalysisAndKeying, kKeying };

// Runs an engine in the scalar reference and one in the variant of that name. Gives the first difference
// between what they leave: means and grid, planes of all kinds, result and reports, guards and blocks; or
// nothing. The variant that was active before is active again.
std::string DifferenceFromScalar(const char* variant, const EngineMaker& make,
                                 Stage stage = Stage::kAnalysisAndKeying);

}  // namespace test_support

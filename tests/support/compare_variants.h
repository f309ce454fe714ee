// Random runs of the engine, and the comparison of a variant with the scalar reference over such a run, for
// tests and fuzzers. Uses no test framework.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tests/support/scenes.h"
#include "tests/support/test_engine.h"

namespace test_support {

// Flags, sliders from the default to the ends of their type, selection and stop.
void DrawParameters(Random* draws, TestEngine* engine);

// Parameters and one of the scenes in any size up to about 30,000 pixels, thin ones included.
std::unique_ptr<TestEngine> DrawRun(Random draws);

// Makes the same engine in every call.
using EngineMaker = std::function<std::unique_ptr<TestEngine>()>;

enum class Stage { kAnalysisAndKeying, kKeying };

// Runs an engine in the scalar reference and one in the variant of that name, and returns the first
// difference of their means, grid, planes, results, reports, guards and blocks; empty: none. The active
// variant does not change.
std::string DifferenceFromScalar(const char* variant, const EngineMaker& make,
                                 Stage stage = Stage::kAnalysisAndKeying);

}  // namespace test_support

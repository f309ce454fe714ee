#include "tests/support/compare_variants.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>

#include "engine/variants.h"

namespace test_support {

namespace {

std::int32_t DrawSlider(Random* draws) {
    constexpr std::int32_t kLargest = std::numeric_limits<std::int32_t>::max();
    constexpr std::int32_t kFarOff[] = {0, 2000000000, kLargest, -kLargest - 1, 1000000, -1};
    const std::uint32_t kind = draws->Below(10);
    if (kind == 0) return kFarOff[draws->Below(std::size(kFarOff))];
    if (kind < 3) return draws->Between(-1000, 1000);
    return kind == 3 ? draws->Between(0, 7) : draws->Between(0, 200);
}

std::vector<double> RunIn(const char* variant, TestEngine* engine, Stage stage) {
    if (!keying::SetActiveVariant(variant)) std::abort();  // the caller asks first
    if (stage == Stage::kAnalysisAndKeying) engine->Analyse();
    engine->Key();
    return NumbersOfBackdrop(engine->backdrop);
}

}  // namespace

void DrawParameters(Random* draws, TestEngine* engine) {
    const unsigned flags = draws->Below(kAllFlags);
    SetFlags(engine, draws->Below(3) == 0 ? kBlend | (flags & kBlue) : flags);  // the usual flags, or any
    for (const auto& slider : kSliders) {
        if (draws->Below(2) == 0) engine->settings.*slider.field = DrawSlider(draws);
    }
    // As in the shell: a preview has no selection and is never stopped.
    const bool selection = draws->Below(3) == 0;
    const std::int32_t twenties = std::max(0, draws->Between(-6, 3));
    engine->SetHasSelection(selection && engine->settings.fullSize);
    engine->stopFromRow = engine->settings.fullSize ? twenties * 20 : 0;
}

std::unique_ptr<TestEngine> DrawRun(Random draws) {
    const std::uint32_t shape = draws.Below(8);
    std::int32_t width = draws.Between(1, 90), height = draws.Between(1, 60);
    if (shape == 0) {  // past the spans of 256 and the blocks of 1024
        width = draws.Between(200, 2600);
        height = height % 12 + 1;
    } else if (shape == 1) {  // so thin that a cell's share is infinite
        width = width % 3 + 1;
        height = draws.Between(100, 400);
        if (draws.Below(2) == 0) std::swap(width, height);
    }
    const RunKind kind = kRunKinds[draws.Below(4)];
    auto engine = std::make_unique<TestEngine>(width, height, kind, draws.Between(0, 33));
    DrawParameters(&draws, engine.get());
    const Scene scene = kScenes[draws.Below(std::size(kScenes))];
    PaintScene(engine.get(), scene, draws);
    return engine;
}

std::string DifferenceFromScalar(const char* variant, const EngineMaker& make, Stage stage) {
    const char* const active = keying::ActiveVariant()->name;
    const std::unique_ptr<TestEngine> scalar = make(), other = make();
    const std::vector<double> expected = RunIn("scalar", scalar.get(), stage);
    const std::vector<double> actual = RunIn(variant, other.get(), stage);
    keying::SetActiveVariant(active);
    if (std::memcmp(expected.data(), actual.data(), expected.size() * sizeof expected[0]) != 0)
        return "the analyses differ";
    return FirstDifference(*scalar, *other);
}

}  // namespace test_support

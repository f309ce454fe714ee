// The faster forms against the plain one, byte for byte: what the engine leaves must not depend on the
// machine.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>

#include "engine/forms.h"
#include "host/module.h"
#include "rig/edge_pictures.h"
#include "rig/form_cases.h"
#include "shell_rig.h"

#ifndef __has_feature
#define __has_feature(name) 0
#endif

namespace {

// How many cases a test draws where `full` would be many for a build that is slow.
constexpr std::uint64_t Cases(std::uint64_t full) {
#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer) || !defined(NDEBUG)
    return full / 10;
#else
    return full;
#endif
}

class Forms : public testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        if (!FormRunsHere(GetParam())) GTEST_SKIP() << "this machine does not run the form " << GetParam();
    }
    // make(seed) for that many seeds.
    template <class Make>
    void ExpectPlainBytes(std::uint64_t cases, const Make& make, Stage stage = Stage::kAnalysisAndKeying) {
        for (std::uint64_t seed = 0; seed < Cases(cases); ++seed) {
            ASSERT_EQ(DifferenceFromPlain(
                          GetParam(), [&] { return make(seed); }, stage),
                      "")
                << "seed " << seed;
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Engine, Forms, testing::Values("sse2", "avx2", "avx512"),
                         [](const auto& form) { return std::string(form.param); });

TEST_P(Forms, HasPassesOfItsOwn) {
    const char* const before = ActiveForm()->name;
    ASSERT_TRUE(SetActiveForm("scalar"));
    const EngineForm& plain = *ActiveForm();
    ASSERT_TRUE(SetActiveForm(GetParam()));
    const EngineForm& form = *ActiveForm();
    SetActiveForm(before);
    EXPECT_NE(form.bytes.measureLevels, plain.bytes.measureLevels);
    EXPECT_NE(form.bytes.addPixels, plain.bytes.addPixels);
    EXPECT_NE(form.bytes.blendColours, plain.bytes.blendColours);
    EXPECT_NE(form.words.turnRow, plain.words.turnRow);
}

// All widths past two vectors and the refinement's narrowest, and those round spans of 256 and blocks of
// 1024, each with all flags at both depths and for both purposes.
TEST_P(Forms, GiveThePlainBytesAtEveryWidthAndFlag) {
    static constexpr std::int32_t kWide[] = {63, 255, 256, 257, 272, 511, 513, 1023, 1024, 1025, 1030};
    static constexpr std::uint64_t kWidths = 37 + std::size(kWide), kCases = kWidths * 4 * kAllFlags;
    ExpectPlainBytes(kCases, [](std::uint64_t seed) {
        const std::uint64_t n = seed * (kCases / Cases(kCases));
        const auto step = static_cast<std::int32_t>(n), w = step / 4 / 32;
        const std::int32_t width = w < 37 ? w + 1 : kWide[w - 37], height = w < 37 ? step % 47 : step % 9;
        auto rig = std::make_unique<EngineRig>(width, height + 1, kRunKinds[step / 32 % 4], step % 29);
        Draws draws(n);
        DrawParameters(&draws, rig.get());
        SetFlags(rig.get(), static_cast<unsigned>(n % kAllFlags));
        PaintScene(rig.get(), kScenes[n % std::size(kScenes)], draws);
        return rig;
    });
}

TEST_P(Forms, GiveThePlainBytesOfWhateverIsDrawn) {
    ExpectPlainBytes(1500, [](std::uint64_t seed) { return DrawRun(Draws(seed)); });
}

TEST_P(Forms, GiveThePlainBytesAtTheEdgesOfBinsAndDecisions) {
    for (const RunKind kind : {RunKind::kFull8, RunKind::kFull16}) {
        ExpectPlainBytes(2500, [=](std::uint64_t seed) { return BackdropAndOnePixelEach(kind, seed); });
        ExpectPlainBytes(10000, [=](std::uint64_t seed) { return OnePixel(kind, seed); });
        ExpectPlainBytes(
            300, [=](std::uint64_t seed) { return EdgesOfDecisions(kind, seed); }, Stage::kKeying);
    }
}

// ---- The form of a whole module, by the environment -------------------------------------------------------

#ifdef _WIN32
constexpr char kBuiltModule[] = "MarbleFrondKeeper.8bf";
void SetFormVariable(const char* name) {
    _putenv_s("FROND_FORM", name);
}
#else
constexpr char kBuiltModule[] = "MarbleFrondKeeper.so";
void SetFormVariable(const char* name) {
    setenv("FROND_FORM", name, 1);
}
#endif

// Loads the built module, since a form is chosen once, and gives the target layer's planes after the run.
std::vector<std::vector<std::uint8_t>> TargetAfterRun(const char* form, Document document, OSErr expected) {
    SetFormVariable(form);
    HostPtr host = CreateHost();
    std::string error;
    ModulePtr module = OpenModule(kBuiltModule, &error);
    EXPECT_NE(module, nullptr) << error;
    if (module == nullptr) return {};
    const RunResult run = RunFilter(*host, module->pluginMain, document, AskForParameters::kNo);
    EXPECT_EQ(run.result, expected) << form;
    CloseHost(*host);
    module.reset();
    EXPECT_EQ(ViolationText(*host), "") << form;
    const Layer& target = document.layers[1];
    return {target.colour[0].bytes, target.colour[1].bytes, target.colour[2].bytes,
            target.transparency->bytes};
}

TEST(FormOfTheModule, IsTheOneAskedForOrNone) {
    const char* const variable = std::getenv("FROND_FORM");
    const std::string before = variable == nullptr ? "" : variable;
    for (const int depth : {8, 16}) {
        const Document document = GreenDocument(61, 53, depth, 2);
        const auto plain = TargetAfterRun("scalar", document, noErr);
        const auto none = TargetAfterRun("avx1024", document, errPlugInHostInsufficient);
        EXPECT_NE(plain, none);
        for (const char* form : {"", "sse2", "avx2", "avx512", "SSE2", "avx2 "}) {
            const bool runs = *form == 0 || FormRunsHere(form);
            const auto target = TargetAfterRun(form, document, runs ? noErr : errPlugInHostInsufficient);
            EXPECT_EQ(target, runs ? plain : none) << form;
        }
    }
    SetFormVariable(before.c_str());
}

}  // namespace

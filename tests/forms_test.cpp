// The faster forms against the plain one, byte for byte: what the engine leaves must not depend on the
// machine.
#include <gtest/gtest.h>

#include <cstdlib>

#include "edge_pictures.h"
#include "engine/forms.h"
#include "form_cases.h"
#include "host/module.h"
#include "shell_rig.h"

#ifndef __has_feature
#define __has_feature(name) 0
#endif

namespace {

// How many cases a test draws where `full` would be many for a build that is slow.
constexpr int Cases(int full) {
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
};

INSTANTIATE_TEST_SUITE_P(Engine, Forms, testing::Values("sse2", "avx2", "avx512"),
                         [](const auto& form) { return std::string(form.param); });

TEST_P(Forms, HasPassesOfItsOwn) {
    const char* const before = ActiveForm()->name;
    ASSERT_TRUE(SetActiveForm("scalar"));
    const EngineForm* const plain = ActiveForm();
    ASSERT_TRUE(SetActiveForm(GetParam()));
    const EngineForm* const form = ActiveForm();
    SetActiveForm(before);
    EXPECT_STREQ(form->name, GetParam());
    EXPECT_NE(form->bytes.measureLevels, plain->bytes.measureLevels);
    EXPECT_NE(form->bytes.addPixels, plain->bytes.addPixels);
    EXPECT_NE(form->bytes.turnRow, plain->bytes.turnRow);
    EXPECT_NE(form->bytes.blendColours, plain->bytes.blendColours);
    EXPECT_NE(form->words.turnRow, plain->words.turnRow);
}

// All widths past two vectors and the refinement's narrowest, and those round spans of 256 and blocks of
// 1024, each with all flags at both depths and for both purposes.
TEST_P(Forms, GiveThePlainBytesAtEveryWidthAndFlag) {
    std::vector<std::int32_t> widths = {63, 255, 256, 257, 272, 511, 513, 1023, 1024, 1025, 1030};
    for (std::int32_t width = 1; width <= 37; ++width) widths.push_back(width);
    int n = 0;
    for (const std::int32_t width : widths) {
        for (const RunKind kind : kRunKinds) {
            for (unsigned flags = 0; flags < 32; ++flags, ++n) {
                if (n % (1000 / Cases(1000)) != 0) continue;
                const auto make = [&] {
                    Draws draws(static_cast<std::uint64_t>(n));
                    const std::int32_t height = width > 60 ? n % 9 + 1 : n % 47 + 1;
                    auto rig = std::make_unique<EngineRig>(width, height, kind, n % 29);
                    DrawParameters(&draws, rig.get());
                    SetFlags(rig.get(), flags);
                    DrawPicture(&draws, rig.get());
                    return rig;
                };
                ASSERT_EQ(DifferenceFromPlain(GetParam(), make), "") << "seed " << n;
            }
        }
    }
}

TEST_P(Forms, GiveThePlainBytesOfWhateverIsDrawn) {
    for (int seed = 0; seed < Cases(1500); ++seed) {
        const Draws draws(static_cast<std::uint64_t>(seed));
        ASSERT_EQ(DifferenceFromPlain(GetParam(), [&] { return DrawRun(draws); }), "") << "seed " << seed;
    }
}

TEST_P(Forms, MeasureLikeThePlainOneAtTheEdgesOfBins) {
    for (const RunKind kind : {RunKind::kFull8, RunKind::kFull16}) {
        for (int seed = 0; seed < Cases(500); ++seed) {
            const auto make = [&] { return BackdropAndOnePixelEach(kind, static_cast<std::uint64_t>(seed)); };
            ASSERT_EQ(DifferenceFromPlain(GetParam(), make), "") << "seed " << seed;
        }
        for (int seed = 0; seed < Cases(10000); ++seed) {
            const auto make = [&] { return OnePixel(kind, static_cast<std::uint64_t>(seed)); };
            ASSERT_EQ(DifferenceFromPlain(GetParam(), make), "") << "seed " << seed;
        }
    }
}

TEST_P(Forms, KeyLikeThePlainOneAtTheEdgesOfDecisions) {
    for (const RunKind kind : {RunKind::kFull8, RunKind::kFull16}) {
        for (int seed = 0; seed < Cases(300); ++seed) {
            const auto make = [&] { return EdgesOfDecisions(kind, static_cast<std::uint64_t>(seed)); };
            ASSERT_EQ(DifferenceFromPlain(GetParam(), make, Stage::kKeying), "") << "seed " << seed;
        }
    }
}

// ---- The form of a whole module, by the environment -------------------------------------------------------

void SetFormVariable(const char* name) {
#ifdef _WIN32
    _putenv_s("FROND_FORM", name);
#else
    setenv("FROND_FORM", name, 1);
#endif
}

#ifdef _WIN32
constexpr char kBuiltModule[] = "MarbleFrondKeeper.8bf";
#else
constexpr char kBuiltModule[] = "MarbleFrondKeeper.so";
#endif

// Loads the built module, since a form is chosen once, and gives the target layer after the run.
Layer TargetAfterRun(const char* form, const Document& document, OSErr expected) {
    SetFormVariable(form);
    Document mine = document;
    HostPtr host = CreateHost();
    std::string error;
    ModulePtr module = OpenModule(kBuiltModule, &error);
    if (module == nullptr) {
        ADD_FAILURE() << error;
        return {};
    }
    const RunResult run = RunFilter(*host, module->pluginMain, mine, AskForParameters::kNo);
    EXPECT_EQ(run.result, expected) << form;
    CloseHost(*host);
    module.reset();
    EXPECT_EQ(ViolationText(*host), "") << form;
    return mine.layers[1];
}

bool SameSamples(const Layer& a, const Layer& b) {
    for (int i = 0; i < 3; ++i) {
        if (a.colour[i].bytes != b.colour[i].bytes) return false;
    }
    return a.transparency->bytes == b.transparency->bytes;
}

TEST(FormOfTheModule, IsTheOneAskedForOrNone) {
    const char* const variable = std::getenv("FROND_FORM");
    const std::string before = variable == nullptr ? "" : variable;
    for (const int depth : {8, 16}) {
        const Document document = GreenDocument(61, 53, depth, 2);
        const Layer plain = TargetAfterRun("scalar", document, noErr);
        EXPECT_FALSE(SameSamples(plain, document.layers[1]));
        for (const char* form : {"", "sse2", "avx2", "avx512"}) {
            const bool runs = *form == 0 || FormRunsHere(form);
            const Layer target = TargetAfterRun(form, document, runs ? noErr : errPlugInHostInsufficient);
            EXPECT_TRUE(SameSamples(target, runs ? plain : document.layers[1])) << form;
        }
        for (const char* form : {"avx1024", "SSE2", "avx2 "}) {
            const Layer target = TargetAfterRun(form, document, errPlugInHostInsufficient);
            EXPECT_TRUE(SameSamples(target, document.layers[1])) << form;
        }
    }
    SetFormVariable(before.c_str());
}

}  // namespace

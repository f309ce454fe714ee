// What must hold for any picture: what each parameter acts on, blue against exchanged planes, how far a row's
// influence reaches, and that a run leaves nothing behind for the next. Each test goes through all kinds of
// runs, and most through all flags.
#include <gtest/gtest.h>

#include "tests/support/engine_scenes.h"
#include "tests/support/test_engine.h"

namespace {

using namespace test_support;

void ExchangeGreenAndBlue(TestEngine* engine) {
    engine->ExchangePlanes(kTopG, kTopB);
    engine->ExchangePlanes(kBottomG, kBottomB);
    engine->ExchangePlanes(kOutG, kOutB);
}

class EngineProperties : public testing::TestWithParam<RunKind> {};
INSTANTIATE_TEST_SUITE_P(Engine, EngineProperties, testing::ValuesIn(kRunKinds));

// The outputs of noise before a uniform backdrop, as the function sets the parameters.
template <class Set>
std::uint64_t HashOfPicture(RunKind kind, Set set) {
    TestEngine engine(48, 40, kind);
    PaintScene(&engine, Scene::kNoise, Random(3));
    const double level = engine.planes.maxSample / 255;
    engine.SetUniformBackdrop(50 * level, 200 * level, 100 * level);
    engine.backdrop.meanG = 255;  // at 16 bits a measured one leaves no alpha between 0 and 1
    set(&engine.settings);
    engine.Key();
    return HashOutputs(engine);
}

TEST_P(EngineProperties, EveryParameterChangesThePicture) {
    const auto asItIs = [](keying::Settings*) {};
    const std::uint64_t usual = HashOfPicture(GetParam(), asItIs);
    const auto photo = [](keying::Settings* s) { s->showPhoto = true; };
    const std::uint64_t photoAlone = HashOfPicture(GetParam(), photo);
    for (const auto& slider : kSliders) {
        const auto farther = [&](keying::Settings* s) { s->*slider.field += 40; };
        EXPECT_NE(HashOfPicture(GetParam(), farther), usual) << slider.name;
        // The original photo has nothing that a slider could change.
        const auto both = [&](keying::Settings* s) { photo(s), farther(s); };
        EXPECT_EQ(HashOfPicture(GetParam(), both), photoAlone) << slider.name;
    }
    for (const auto& flag : kFlags) {
        const auto turned = [&](keying::Settings* s) { s->*flag.field = !(s->*flag.field); };
        EXPECT_NE(HashOfPicture(GetParam(), turned), usual) << flag.name;
    }
}

TEST_P(EngineProperties, BlueEqualsExchangedPlanes) {
    // The search has tests of its own for a blue backdrop, so the photo is shown: all that is left is the
    // exchange. The flush does not make it, but for a few pixels, and its rows are left out.
    for (unsigned flags = 0; flags < kAllFlags; ++flags) {
        if (!(flags & kBlue) || !(flags & kPhoto)) continue;
        TestEngine blue(37, 23, GetParam()), exchanged(37, 23, GetParam());
        for (TestEngine* engine : {&blue, &exchanged}) {
            PaintScene(engine, Scene::kNoise, Random(flags));
            engine->SetHasSelection(true);
            // The lift of refined rows goes by the brightness of the picture's own channels.
            if (!(flags & (kBlend | kTransparency))) engine->CopyPlane(kBottomB, kBottomG);
        }
        SetFlags(&blue, flags);
        SetFlags(&exchanged, flags & ~kBlue);
        ExchangeGreenAndBlue(&exchanged);
        blue.AnalyseAndKey();
        const std::vector<double> backdrop = NumbersOfBackdrop(blue.backdrop);
        exchanged.AnalyseAndKey();
        EXPECT_EQ(NumbersOfBackdrop(exchanged.backdrop), backdrop) << "flags " << flags;
        ExchangeGreenAndBlue(&exchanged);
        const std::int64_t flushed = flags & (kView | kBlend) ? 0 : std::int64_t{37} * Radius(GetParam());
        for (std::int64_t i = blue.Pixels() - flushed; i < blue.Pixels(); ++i) {
            for (Plane plane : kOutputs) exchanged.Set(plane, i, blue.Get(plane, i));
        }
        EXPECT_EQ(FirstDifference(exchanged, blue), "") << "flags " << flags;
    }
}

TEST_P(EngineProperties, RunsLeaveNothingBehind) {
    // Planes at any place, after runs of other kinds: the same result.
    for (unsigned flags = 0; flags < kAllFlags; ++flags) {
        TestEngine first(29, 24, GetParam()),
            second(29, 24, GetParam(), static_cast<std::int32_t>(flags % 7 + 1));
        for (TestEngine* engine : {&first, &second}) {
            SetFlags(engine, flags);
            PaintScene(engine, Scene::kFigure, Random(flags));
            engine->AnalyseAndKey();

            TestEngine between(64, 30, RunKind::kFull16);
            SetFlags(&between, ~flags);
            PaintScene(&between, Scene::kExtremes, Random(flags));
            between.AnalyseAndKey();
            EXPECT_TRUE(between.GuardsIntact()) << "flags " << flags;
        }
        EXPECT_EQ(FirstDifference(first, second), "") << "flags " << flags;
    }
}

}  // namespace

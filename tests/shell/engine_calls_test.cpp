// The operations on Globals: what they pass to the engine, and its reports to the host.
#include "shell/engine_calls.h"

#include "tests/support/compare_variants.h"
#include "tests/support/test_shell.h"

namespace {

using namespace test_support;

constexpr std::int32_t Globals::*kSliderFields[] = {
    &Globals::SliderAdjBGLevel, &Globals::SliderRemoveGreen,  &Globals::SliderRestoreBlack,
    &Globals::SliderAlterGreen, &Globals::SliderSelectTransp, &Globals::SliderScaleTransp};
constexpr std::uint8_t Globals::*kFlagFields[] = {&Globals::FlagBlueLogic, &Globals::FlagOrgPhoto,
                                                  &Globals::FlagShowSelect, &Globals::FlagRealityInteg,
                                                  &Globals::FlagOutputAlpha};

// The state record of an open host, with the planes and settings of a TestEngine.
struct EngineCalls : testing::Test {
    TestShell shell{PatternDocument(4, 3, 8, 2)};
    Globals& globals = *shell.globals;
    ReadChannelDesc selection{};
    std::unique_ptr<TestEngine> planes;

    void Use(std::unique_ptr<TestEngine> engine) {
        planes = std::move(engine);
        globals.planeWidth = planes->Width();
        globals.planeHeight = planes->Height();
        globals.depthBytes = planes->planes.depth;
        globals.maxSample = planes->planes.maxSample;
        globals.finalRender = planes->settings.fullSize;
        for (std::size_t n = 0; n < std::size(kSliders); ++n)
            globals.*kSliderFields[n] = static_cast<std::int32_t>(planes->settings.*kSliders[n].field);
        for (std::size_t n = 0; n < std::size(kFlags); ++n)
            globals.*kFlagFields[n] = planes->settings.*kFlags[n].field ? 2 : 0;  // any number but 0 is on
        for (int n = 0; n < filter::kPlaneCount; ++n)
            globals.*kPlanes[n] = planes->Bytes(static_cast<Plane>(n));
        globals.docInfo->selection =
            planes->planes.selection != nullptr || !globals.finalRender ? &selection : nullptr;
        ClearReport(*shell.host);
        OptionsOf(*shell.host).abortAt = planes->stopFromRow / 20;
    }
    ~EngineCalls() override {  // the host did not allocate them
        for (auto plane : kPlanes) globals.*plane = nullptr;
    }
};

TEST_F(EngineCalls, GiveTheEnginesResults) {
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        const std::unique_ptr<TestEngine> expected = DrawRun(Random(seed));
        expected->AnalyseAndKey();
        Use(DrawRun(Random(seed)));
        AnalyseBackdrop(&globals);
        KeyPicture(&globals);
        const keying::Backdrop backdrop = {globals.backdropMeanR, globals.backdropMeanG,
                                           globals.backdropMeanB, gBackdropGrid};
        ASSERT_EQ(HashBackdrop(backdrop), HashBackdrop(expected->backdrop)) << "seed " << seed;
        ASSERT_EQ(HashOutputs(*planes), HashOutputs(*expected)) << "seed " << seed;
        ASSERT_EQ(globals.progressPercent, expected->result.rows * 100 / expected->Height());
        ASSERT_EQ(shell.result, 0);
        expected->ResetOutputs();
        planes->ResetOutputs();
        keying::BlendEdges(expected->settings, expected->planes);
        (globals.depthBytes == 1 ? blendEdges8 : blendEdges16)(&globals);
        ASSERT_EQ(HashOutputs(*planes), HashOutputs(*expected)) << "seed " << seed;
    }
}

TEST_F(EngineCalls, ReportToTheHostInStepsOfTwentyRows) {
    const struct {
        RunKind kind;
        std::int32_t height, abortAt, reports, percent;
    } runs[] = {
        {RunKind::kFull8, 100, 0, 4, 100},  // the engine reports in rows 5, 11, 17, 23 ...
        {RunKind::kFull8, 59, 2, 2, 69},    // in rows 2, 5, 8 ...; the second of them is 41, 4100 / 59
        {RunKind::kFull16, 40, 0, 1, 100},  // rows 2, 5 ... 20
        {RunKind::kFull8, 20, 0, 0, 100},  {RunKind::kPreview8, 100, 0, 0, 100},
    };
    for (const auto& run : runs) {
        Use(std::make_unique<TestEngine>(2, run.height, run.kind));
        OptionsOf(*shell.host).abortAt = run.abortAt;
        KeyPicture(&globals);
        const HostReport& report = ReportOf(*shell.host);
        decltype(report.progress) expected;
        for (std::int32_t i = 1; i <= run.reports; ++i) expected.emplace_back(i, run.height / 20);
        EXPECT_EQ(report.progress, expected) << run.height << " rows";
        EXPECT_EQ(report.abortCalls, run.reports);
        EXPECT_EQ(globals.progressPercent, run.percent);
    }
    shell.record->progressProc = nullptr;
    shell.record->abortProc = nullptr;
    Use(std::make_unique<TestEngine>(2, 100, RunKind::kFull8));
    KeyPicture(&globals);
    EXPECT_EQ(globals.progressPercent, 100);
}

}  // namespace

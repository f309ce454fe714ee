// The operations on Globals: what they hand to the engine, and what becomes of its reports and failures.
#include "shell/engine_calls.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "shell/globals.h"
#include "support/checked_heap.h"
#include "support/module_state.h"
#include "tests/support/variant_cases.h"

namespace {

using namespace filter;
using namespace test_support;

constexpr std::int32_t Globals::*kSliderFields[] = {
    &Globals::SliderAdjBGLevel, &Globals::SliderRemoveGreen,  &Globals::SliderRestoreBlack,
    &Globals::SliderAlterGreen, &Globals::SliderSelectTransp, &Globals::SliderScaleTransp};
constexpr std::uint8_t Globals::*kFlagFields[] = {&Globals::FlagBlueLogic, &Globals::FlagOrgPhoto,
                                                  &Globals::FlagShowSelect, &Globals::FlagRealityInteg,
                                                  &Globals::FlagOutputAlpha};

// A Globals over the planes and settings of a TestEngine, a host that keeps what it is asked, and a broker
// that fails at a given call. One at a time: the callbacks carry no context.
struct EngineCalls : testing::Test {
    std::int16_t result = 0;
    FilterRecord record{};
    ReadImageDocumentDesc document{};
    ReadChannelDesc selection{};
    SPBasicSuite broker{};
    std::unique_ptr<TestEngine> planes;
    Globals globals{};

    static EngineCalls* running;
    std::int32_t abortAtCall = 0;
    std::int32_t abortCalls = 0;
    std::vector<std::pair<std::int32_t, std::int32_t>> progress;
    std::size_t failBlockAt = 0;
    std::vector<void*> blocks;
    std::vector<std::int64_t> heapCalls;  // bytes of every block asked for; -n where the n-th was released

    EngineCalls() {
        running = this;
        broker.AllocateBlock = [](std::size_t size, void** block) -> SPErr {
            running->heapCalls.push_back(static_cast<std::int64_t>(size));
            const bool fails = running->blocks.size() + 1 == running->failBlockAt;
            running->blocks.push_back(*block = fails ? nullptr : std::malloc(size));
            return 0;  // a null block is a failure too
        };
        broker.FreeBlock = [](void* block) -> SPErr {
            const auto found = std::find(running->blocks.begin(), running->blocks.end(), block);
            running->heapCalls.push_back(running->blocks.begin() - found - 1);
            std::free(block);
            *found = nullptr;
            return 0;
        };
        gSPBasicSuite = &broker;
        record.abortProc = []() -> Boolean { return ++running->abortCalls == running->abortAtCall; };
        record.progressProc = [](std::int32_t done, std::int32_t total) {
            running->progress.emplace_back(done, total);
        };
    }
    ~EngineCalls() override { gSPBasicSuite = nullptr; }

    void Use(std::unique_ptr<TestEngine> engine) {
        planes = std::move(engine);
        globals = {};
        globals.result = &result;
        globals.filterParamBlock = &record;
        globals.docInfo = &document;
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
        document.selection =
            planes->planes.selection != nullptr || !globals.finalRender ? &selection : nullptr;
        abortAtCall = planes->stopFromRow / 20;
        abortCalls = 0;
        progress.clear();
    }
};
EngineCalls* EngineCalls::running;

TEST_F(EngineCalls, GiveWhatTheEngineGives) {
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
        ASSERT_EQ(result, 0);
        expected->ResetOutputs();
        planes->ResetOutputs();
        keying::BlendEdges(expected->planes);
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
        abortAtCall = run.abortAt;
        KeyPicture(&globals);
        decltype(progress) expected;
        for (std::int32_t i = 1; i <= run.reports; ++i) expected.emplace_back(i, run.height / 20);
        EXPECT_EQ(progress, expected) << run.height << " rows";
        EXPECT_EQ(abortCalls, run.reports);
        EXPECT_EQ(globals.progressPercent, run.percent);
    }
    record.progressProc = nullptr;
    record.abortProc = nullptr;
    Use(std::make_unique<TestEngine>(2, 100, RunKind::kFull8));
    KeyPicture(&globals);
    EXPECT_EQ(globals.progressPercent, 100);
}

TEST_F(EngineCalls, TakeTheRingFromTheCheckedHeap) {
    Use(std::make_unique<TestEngine>(31, 9, RunKind::kPreview8));
    KeyPicture(&globals);
    std::vector<std::int64_t> calls(7, 7 * 31 * 8 + 8);
    for (int block = 1; block <= 7; ++block) calls.push_back(-block);
    EXPECT_EQ(heapCalls, calls);
    for (failBlockAt = 1; failBlockAt <= 7; ++failBlockAt) {
        blocks.clear();
        EXPECT_THROW(KeyPicture(&globals), HeapFailure);
        EXPECT_EQ(blocks, std::vector<void*>(failBlockAt)) << "all released";
    }
}

}  // namespace

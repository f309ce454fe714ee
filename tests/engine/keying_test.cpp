// The per-pixel pass (keying.cases), the lookup between the grid's cells, the reports and the ring.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/engine_cases.h"

namespace {

using namespace test_support;

TEST(EngineKeying, MatchesItsCases) {
    ExpectPictures("keying");
}

// The three channels differ by known factors, so exchanged tables are noticed.
void SetCell(TestEngine* engine, int row, int column, double g) {
    keying::BackdropGrid& grid = engine->backdrop.grid;
    grid.gridR[row * keying::kGridSide + column] = g / 2;
    grid.gridG[row * keying::kGridSide + column] = g;
    grid.gridB[row * keying::kGridSide + column] = g / 4;
}

TEST(EngineBackdropLookup, InterpolatesBetweenCellsAndStopsAt18) {
    TestEngine engine(80, 80, RunKind::kPreview8);
    engine.SetUniformBackdrop(0, 0, 0);
    engine.settings.removeBackdrop = 6;
    engine.settings.restoreDark = 0;
    SetFlags(&engine, kTransparency | kBlend);
    const double corner[2][2] = {{40, 80}, {112, 232}}, far[3] = {120, 200, 4000};
    for (int n = 0; n < 4; ++n) SetCell(&engine, n / 2, n % 2, corner[n / 2][n % 2]);
    for (int n = 0; n < 9; ++n) SetCell(&engine, 17 + n / 3, 17 + n % 3, far[std::max(n / 3, n % 3)]);
    SetCell(&engine, 18, 17, 120);
    const struct {
        int x, y;
        std::uint16_t g;
    } pixels[] = {
        // Column 3 is at 3 * 20 / 80 - 0.5 = 0.25, row 4 at 0.5: 40 * 0.375 + 80 * 0.125 + 112 * 0.375 +
        // 232 * 0.125 = 96. Exchanged: 40 * 0.375 + 80 * 0.375 + 112 * 0.125 + 232 * 0.125 = 88.
        {3, 4, 96},
        {4, 3, 88},
        // The outer half cell of the near edges has the first cell alone, up to column 2.
        {2, 0, 40},
        {0, 2, 40},
        // Past 18 cell 18 counts alone, never 19: column 75 is at 18.25, column 73 at 17.75, which makes
        // 120 * 0.25 + 200 * 0.75.
        {75, 79, 200},
        {79, 74, 200},
        {73, 78, 180},
    };
    for (const auto& p : pixels) {
        const std::int64_t i = p.y * 80 + p.x;
        engine.SetColour(kTopR, i, p.g / 2, p.g, p.g / 4);
        engine.Key();
        EXPECT_EQ(OutPixel(engine, i), (std::array<int, 4>{1, 1, 1, 0})) << "(" << p.x << ", " << p.y << ")";
    }
}

TEST(EngineRowLoop, ReportsEveryTwentiethAndStops) {
    TestEngine engine(2, 59, RunKind::kFull8);  // 59 / 20 = 2: every third row
    engine.stopFromRow = 10;
    engine.Key();
    EXPECT_EQ(engine.reports, (std::vector<std::int32_t>{2, 5, 8, 11}));
    EXPECT_EQ(engine.result.rows, 11);
    EXPECT_EQ(engine.result.status, keying::Status::kStopped);
}

TEST(EngineRowLoop, AllocatesTheRingForOneRun) {
    TestEngine engine(31, 9, RunKind::kPreview8);
    engine.Key();
    std::vector<std::int64_t> calls(7, 7 * 31 * 8);
    for (int block = 1; block <= 7; ++block) calls.push_back(-block);
    EXPECT_EQ(engine.heapCalls, calls);
    EXPECT_EQ(engine.result.status, keying::Status::kDone);
    for (std::int32_t failing = 1; failing <= 7; ++failing) {
        TestEngine failingEngine(31, 9, RunKind::kPreview8);
        failingEngine.failBlockAt = failing;
        failingEngine.Key();
        EXPECT_EQ(failingEngine.result.status, keying::Status::kNoMemory);
        EXPECT_EQ(failingEngine.LiveBlocks(), 0) << "with allocation " << failing << " failing";
    }
}

}  // namespace

// The per-pixel pass, by the cases of keying.cases; the lookup between the grid's cells; the reports and the
// ring of the row loop.
#include <gtest/gtest.h>

#include <algorithm>

#include "shell/engine_calls.h"
#include "tests/support/cases.h"

namespace {

TEST(EngineKeying, GivesWhatTheCasesSay) {
    ExpectPictures("keying");
}

// The three channels differ by known factors, so that each is seen to be looked up by itself.
void LayCell(int row, int column, double g) {
    gBackdropGrid.gridR[row * keying::kGridSide + column] = g / 2;
    gBackdropGrid.gridG[row * keying::kGridSide + column] = g;
    gBackdropGrid.gridB[row * keying::kGridSide + column] = g / 4;
}

TEST(EngineBackdropLookup, InterpolatesBetweenCellsAndStopsAt18) {
    EngineRig rig(80, 80, RunKind::kPreview8);
    rig.SetUniformBackdrop(0, 0, 0);
    rig.globals.SliderRemoveGreen = 6;
    rig.globals.SliderRestoreBlack = 0;
    SetFlags(&rig, kTransparency | kBlend);
    const double corner[2][2] = {{40, 80}, {112, 232}}, far[3] = {120, 200, 4000};
    for (int n = 0; n < 4; ++n) LayCell(n / 2, n % 2, corner[n / 2][n % 2]);
    for (int n = 0; n < 9; ++n) LayCell(17 + n / 3, 17 + n % 3, far[std::max(n / 3, n % 3)]);
    LayCell(18, 17, 120);
    const struct {
        int x, y;
        std::uint16_t g;
    } pixels[] = {
        // Column 3 is at 3 * 20 / 80 - 0.5 = 0.25, row 4 at 0.5: 40 * 0.375 + 80 * 0.125 + 112 * 0.375 +
        // 232 * 0.125 = 96. Exchanged: 40 * 0.375 + 80 * 0.375 + 112 * 0.125 + 232 * 0.125 = 88.
        {3, 4, 96},
        {4, 3, 88},
        // The outer half cell of the near edges takes the first cell alone: column 2 is the last to.
        {2, 0, 40},
        {0, 2, 40},
        // Past 18 the cell 18 counts alone, never 19: column 75 is at 18.25, column 73 at 17.75, which makes
        // 120 * 0.25 + 200 * 0.75.
        {75, 79, 200},
        {79, 74, 200},
        {73, 78, 180},
    };
    for (const auto& p : pixels) {
        const std::int64_t i = p.y * 80 + p.x;
        rig.SetColour(kTopR, i, p.g / 2, p.g, p.g / 4);
        rig.Key();
        EXPECT_EQ(OutPixel(rig, i), (std::array<int, 4>{1, 1, 1, 0})) << "(" << p.x << ", " << p.y << ")";
    }
}

TEST(EngineRowLoop, ReportsEveryTwentiethInStepsOfTwentyRows) {
    const struct {
        RunKind kind;
        std::int32_t height, abortAt, reports, percent;
    } runs[] = {
        {RunKind::kFull8, 100, 0, 4, 100},  // 100 / 20 = 5: rows 5, 11, 17, 23 ...; the first of each twenty
        {RunKind::kFull8, 59, 2, 2, 69},    // 59 / 20 = 2: rows 2, 5, 8 ...; the second in row 41, 4100 / 59
        {RunKind::kFull16, 40, 0, 1, 100},  // rows 2, 5 ... 20
        {RunKind::kFull8, 20, 0, 0, 100},  {RunKind::kPreview8, 100, 0, 0, 100},
    };
    for (const auto& run : runs) {
        EngineRig rig(2, run.height, run.kind);
        rig.abortAtCall = run.abortAt;
        rig.Key();
        decltype(rig.progress) expected;
        for (std::int32_t i = 1; i <= run.reports; ++i) expected.emplace_back(i, run.height / 20);
        EXPECT_EQ(rig.progress, expected) << run.height << " rows";
        EXPECT_EQ(rig.abortCalls, run.reports);
        EXPECT_EQ(rig.globals.progressPercent, run.percent);
        EXPECT_EQ(rig.result, 0);
        EXPECT_EQ(rig.LiveBlocks(), 0);
    }
}

TEST(EngineRowLoop, RingLivesForOneRun) {
    EngineRig rig(31, 9, RunKind::kPreview8);
    rig.Key();
    std::vector<std::int64_t> calls(7, 7 * 31 * 8 + 8);
    for (int block = 1; block <= 7; ++block) calls.push_back(-block);
    EXPECT_EQ(rig.heapCalls, calls);
    for (std::int32_t failing = 1; failing <= 7; ++failing) {
        EngineRig poor(31, 9, RunKind::kPreview8);
        poor.failBlockAt = failing;
        EXPECT_ANY_THROW(poor.Key());
        EXPECT_EQ(poor.LiveBlocks(), 0) << "with allocation " << failing << " failing";
    }
}

}  // namespace

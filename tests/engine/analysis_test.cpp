// The backdrop: hue, saturation and mean level (analysis.cases), and the grid (grid.cases).
#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/engine_cases.h"

namespace {

using namespace test_support;

// The means of a colour by its hue above or below 120, its saturation and its level.
Numbers MeansAt(double hue, double sat, double level) {
    const double least = level - level * sat, middle = (level - least) * std::fabs(hue - 120) / 60 + least;
    return hue < 120 ? Numbers{middle, level, least} : Numbers{least, level, middle};
}

TEST(EngineAnalysis, MatchesItsCases) {
    for (const Case& c : ReadCases("analysis")) {
        const auto engine = EngineOf(c);
        keying::Backdrop& found = engine->backdrop;
        found.meanR = found.meanG = found.meanB = 77;  // from an earlier analysis
        engine->Analyse();
        const Numbers expected = c.Has("means")
                                     ? c.settings.at("means")
                                     : MeansAt(c.expected.at(0), c.expected.at(1), c.expected.at(2));
        EXPECT_EQ((Numbers{found.meanR, found.meanG, found.meanB}), expected) << c.name;
    }
}

// Colours and count of a cell.
Numbers CellAt(const TestEngine& engine, int cell) {
    const keying::BackdropGrid& grid = engine.backdrop.grid;
    return {grid.gridR[cell], grid.gridG[cell], grid.gridB[cell], static_cast<double>(grid.gridCount[cell])};
}

TEST(EngineBackdropGrid, MatchesItsCases) {
    constexpr int kCell = 7 * keying::kGridSide + 12;
    for (Case c : ReadCases("grid")) {
        const CasePixel backdrop = c.pixels.at(0), own = c.pixels.at(1);
        c.pixels.assign(60 * 60, backdrop);
        c.settings["width"] = {60};
        for (std::size_t n = 0; n < 9; ++n)
            c.pixels[(21 + n / 3) * 60 + 36 + n % 3].top =
                n < c.Value("count", 9) ? own.top : Numbers{0, 0, 0};
        const auto engine = EngineOf(c);
        engine->Analyse();
        Numbers found = CellAt(*engine, kCell);
        for (std::size_t n = 0; n < 4; ++n) found[n] = c.expected.at(n) == kAny ? kAny : found[n];
        EXPECT_EQ(found, c.expected) << c.name;
        for (int neighbour : {kCell - 1, kCell + 1, kCell - keying::kGridSide, kCell + keying::kGridSide})
            EXPECT_EQ(CellAt(*engine, neighbour), CellAt(*engine, 0)) << c.name;
    }
}

TEST(EngineBackdropGrid, LargeCellsOvershootAndThinPicturesGiveNaN) {
    // 61 columns: x * 20 / 61 puts columns 0 to 3 into the first cell: 12 pixels, where the average
    // is 3660 / 400 = 9. One column of 300: 15 pixels in the first cell, where the average is 300 / 400 = 0,
    // and none in the next.
    TestEngine wide(61, 60, RunKind::kFull8), thin(1, 300, RunKind::kFull8);
    for (TestEngine* engine : {&wide, &thin}) {
        for (std::int64_t i = 0; i < engine->Pixels(); ++i) engine->SetColour(kTopR, i, 50, 200, 100);
    }
    for (int i = 0; i < 12; ++i) wide.Set(kTopB, i / 4 * 61 + i % 4, 125);
    wide.Analyse();
    EXPECT_EQ(CellAt(wide, 0)[2], 125 * (12 / 9.) + (1 - 12 / 9.) * 100);  // 133.3
    EXPECT_EQ(CellAt(wide, 1)[3], 9);
    thin.Analyse();
    EXPECT_TRUE(std::isnan(CellAt(thin, 0)[1]));
    EXPECT_EQ(CellAt(thin, 0)[3], 15);
    EXPECT_EQ(CellAt(thin, 1), (Numbers{50, 200, 100, 0}));
}

// The first ten rows have hue 115 and saturation 0.24, and the mean level of all rows is 34. The mean colour
// is within 9 levels of grey but still has its hue.
TEST(EngineBackdropGrid, UsesTheHueOfAPaleBackdrop) {
    TestEngine engine(60, 60, RunKind::kFull8);
    for (int i = 0; i < 3600; ++i)
        i < 600 ? engine.SetColour(kTopR, i, 39, 50, 38) : engine.SetColour(kTopR, i, 25, 31, 24);
    for (int n = 0; n < 9; ++n) engine.SetColour(kTopR, (21 + n / 3) * 60 + 36 + n % 3, 12, 40, 10);
    engine.Analyse();
    EXPECT_EQ(CellAt(engine, 7 * keying::kGridSide + 12)[3], 9);
}

}  // namespace

// The backdrop's colour: dominant hue and saturation, mean level, and the grid. Expected values are worked by
// hand for pictures of a few plain colours.
//
// The hue of a colour whose green is largest: with red smallest 180 - 60 * (g - b) / (g - r), with blue
// smallest 60 + 60 * (g - r) / (g - b).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "engine/keying.h"
#include "rig/engine_rig.h"
#include "rig/engine_scenes.h"

namespace {

struct Rgb {
    std::uint16_t r, g, b;
};

using Means = std::array<double, 3>;

// The means of a colour by its hue above or below 120, its saturation and its level.
Means MeansAt(double hue, double sat, double level) {
    const double least = level - level * sat, middle = (level - least) * std::fabs(hue - 120) / 60 + least;
    return hue < 120 ? Means{middle, level, least} : Means{least, level, middle};
}

// Nothing qualifies: the same three numbers at either depth.
const Means kDefault = MeansAt(107, 127 / 200., 140);

struct Case {
    std::vector<Rgb> pixels;
    Means expected;
};

void ExpectMeans(RunKind kind, const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        EngineRig rig(static_cast<std::int32_t>(c.pixels.size()), 1, kind);
        std::int64_t i = 0;
        for (const Rgb& p : c.pixels) rig.SetColour(kTopR, i++, p.r, p.g, p.b);
        rig.Analyse();
        const Globals& g = rig.globals;
        EXPECT_EQ((Means{g.backdropMeanR, g.backdropMeanG, g.backdropMeanB}), c.expected)
            << "case " << &c - cases.data();
    }
}

TEST(EngineAnalysis, RecoversHueSaturationAndLevel) {
    const Rgb hue114{20, 200, 0}, hue140{50, 200, 100};
    ExpectMeans(
        RunKind::kFull8,
        {{{{0, 0, 0}, {255, 255, 255}, {90, 90, 90}, {200, 40, 40}, {30, 60, 200}}, kDefault},
         // Red smallest: hue 180 - 60 * 100 / 150 = 140, saturation 150 / 200. Blue smallest: hue 60 + 60 *
         // 90 / 180 = 90, saturation 0.9.
         {{hue140}, {50, 200, 100}},
         {{{110, 200, 20}}, MeansAt(90, 0.9, 200)},
         // The saturation of 1 fills bin 200, which is no candidate, and the default stays.
         {{hue114}, MeansAt(114, 0.635, 200)},
         // Hue 120: red and blue stay at the floor, however pale the backdrop is.
         {{{0, 200, 0}}, {1, 200, 1}},
         // The lowest of equal peaks wins, of the hues and of the saturations: 180 - 60 * 66 / 100 = 140.4.
         {{hue140, hue114}, MeansAt(114, 0.635, 200)},
         {{hue140, {100, 200, 134}}, MeansAt(140, 0.5, 200)},
         // The mean has no margin: the second pixel leads by 9 and 8 levels only and has no say in hue (126)
         // and saturation (0.5), but its hue of 180 - 60 * 8 / 9 = 126.7 and its saturation of 9 / 35 count.
         {{{64, 128, 71}, {26, 35, 27}}, MeansAt(126, 0.5, (128 + 35) / 2.)}});
    ExpectMeans(RunKind::kFull16, {{{{0, 0, 0}, {3000, 3840, 200}, {9000, 9000, 9000}}, kDefault},
                                   {{{6400, 25600, 12800}}, {6400, 25600, 12800}},
                                   // The key channel, and no other, is limited to 32767: saturation 24575 /
                                   // 32767 = 0.74999, in bin 149. Red of 40000 stays above green.
                                   {{{8192, 40000, 16384}}, MeansAt(140, 0.745, 32767)},
                                   {{{40000, 40000, 16384}}, kDefault}});
}

TEST(EngineAnalysis, DarkPaleAndHardlyGreenPixelsDoNotCount) {
    ExpectMeans(RunKind::kFull8, {// Saturation 0.5; ten levels above blue do not count, with eleven the hue
                                  // is 180 - 60 * 11 / 20 = 147. Then the same against red, hue 93.
                                  {{{20, 40, 30}}, kDefault},
                                  {{{20, 40, 29}}, {20, 40, 29}},
                                  {{{30, 40, 20}}, kDefault},
                                  {{{29, 40, 20}}, {29, 40, 20}},
                                  // Green must be above 30 levels. Hue 60 + 60 * 16 / 21 = 105.7, saturation
                                  // 21 / 31 in bin 135.
                                  {{{15, 30, 10}}, kDefault},
                                  {{{15, 31, 10}}, MeansAt(105, 0.675, 31)},
                                  // Saturation must be above 0.2: 28 / 128 lies in bin 43, hue 137.1.
                                  {{{80, 100, 85}}, kDefault},
                                  {{{100, 128, 108}}, MeansAt(137, 0.215, 128)}});
    // The ten levels are not scaled at 16 bits, hue 180 - 60 * 11 / 2048 = 179.7; the 30 are. Green 3841: hue
    // 60 + 60 * 1921 / 2561 = 105.006, saturation 2561 / 3841 = 0.66675 in bin 133.
    ExpectMeans(RunKind::kFull16, {{{{2048, 4096, 4086}}, kDefault},
                                   {{{2048, 4096, 4085}}, MeansAt(179, 0.5, 4096)},
                                   {{{1920, 3840, 1280}}, kDefault},
                                   {{{1920, 3841, 1280}}, MeansAt(105, 0.665, 3841)}});
}

TEST(EngineAnalysis, TakesWholeHuesWithinFourDegrees) {
    // The mean: three pixels of hue 140.6, level 128; a fourth of level 200 whose hue is cut to 144, 145, 136
    // or 135. All have a saturation of 0.5.
    std::vector<Case> cases;
    for (const auto& [b, level] : {std::pair<int, double>{141, 146}, {143, 128}, {128, 146}, {126, 128}}) {
        const std::uint16_t blue = static_cast<std::uint16_t>(b);
        cases.push_back(
            {{{64, 128, 86}, {64, 128, 86}, {64, 128, 86}, {100, 200, blue}}, MeansAt(140, 0.5, level)});
    }
    // The saturation: hue 140 three times, with saturations 64/128, 91/150 and 103/150: one each in the bins
    // 100, 121 and 137. Two more pixels of saturation 121/150 (bin 161) decide when their hues count: 145.3
    // and 146.3 do not (the lowest bin wins), 144.3 and 143.3 do.
    const Rgb a{64, 128, 86}, b{59, 150, 90}, c{47, 150, 82};
    cases.push_back({{a, b, c, {29, 150, 80}, {29, 150, 82}}, MeansAt(140, 0.5, 428 / 3.)});
    cases.push_back({{a, b, c, {29, 150, 78}, {29, 150, 76}}, MeansAt(140, 0.805, 728 / 5.)});
    ExpectMeans(RunKind::kFull8, cases);
}

// ---- The grid ---------------------------------------------------------------------------------------------

// Colours and count of a cell.
using Cell = std::array<double, 4>;
Cell CellAt(int cell) {
    return {gBackdropGrid.gridR[cell], gBackdropGrid.gridG[cell], gBackdropGrid.gridB[cell],
            static_cast<double>(gBackdropGrid.gridCount[cell])};
}

// A picture of cells of 3 by 3, all of one colour but for the cell at row 7, column 12, whose first `count`
// pixels in rows are c and the others black.
constexpr int kCell = 7 * kGridSide + 12;

void AnalyseWithCell(const Rgb& backdrop, const Rgb& c, int count, RunKind kind = RunKind::kFull8) {
    EngineRig rig(60, 60, kind);
    for (std::int64_t i = 0; i < rig.Pixels(); ++i) {
        const std::int64_t x = i % 60 - 36, y = i / 60 - 21;
        const bool inside = x >= 0 && x < 3 && y >= 0 && y < 3;
        const Rgb pixel = !inside ? backdrop : y * 3 + x < count ? c : Rgb{0, 0, 0};
        rig.SetColour(kTopR, i, pixel.r, pixel.g, pixel.b);
    }
    rig.Analyse();
}

TEST(EngineBackdropGrid, LeansTowardsTheCellByItsShareOfBackdrop) {
    // The cell's hue of 150 lies near enough to the backdrop's 140 for the grid, and too far for the mean.
    const double w = 6 / 9.;
    const Cell expected[] = {{50, 200, 100, 5}, {50, 200, 125 * w + (1 - w) * 100, 6}, {50, 200, 125, 9}};
    for (const Cell& cell : expected) {
        AnalyseWithCell({50, 200, 100}, {50, 200, 125}, static_cast<int>(cell[3]));
        EXPECT_EQ(CellAt(kCell), cell);
        for (int neighbour : {kCell - 1, kCell + 1, kCell - kGridSide, kCell + kGridSide})
            EXPECT_EQ(CellAt(neighbour), (Cell{50, 200, 100, 9}));
    }
}

TEST(EngineBackdropGrid, LargeCellsOvershootAndThinPicturesAreNoNumber) {
    // 61 columns: x * 20 / 61 puts columns 0 to 3 into the first cell: 12 pixels, of 3660 / 400 = 9 on
    // average. One column of 300: 15 pixels a cell, of 300 / 400 = 0 on average, and none in the next.
    EngineRig wide(61, 60, RunKind::kFull8), thin(1, 300, RunKind::kFull8);
    for (EngineRig* rig : {&wide, &thin}) {
        rig->Fill(kTopR, 50);
        rig->Fill(kTopG, 200);
        rig->Fill(kTopB, 100);
    }
    for (int i = 0; i < 12; ++i) wide.Set(kTopB, i / 4 * 61 + i % 4, 125);
    wide.Analyse();
    EXPECT_EQ(CellAt(0)[2], 125 * (12 / 9.) + (1 - 12 / 9.) * 100);  // 133.3
    EXPECT_EQ(CellAt(1)[3], 9);
    thin.Analyse();
    EXPECT_TRUE(std::isnan(CellAt(0)[1]));
    EXPECT_EQ(CellAt(0)[3], 15);
    EXPECT_EQ(CellAt(1), (Cell{50, 200, 100, 0}));
}

TEST(EngineBackdropGrid, AcceptsByStrictLimits) {
    const Rgb green{50, 200, 100};  // hue 140, level 200
    const struct {
        Rgb backdrop, rejected, accepted;
    } cases[] = {{green, {50, 200, 150}, {50, 200, 149}},   // hue less than 20 degrees away: 160
                 {green, {50, 200, 50}, {50, 200, 51}},     // and 120
                 {green, {100, 200, 150}, {98, 200, 149}},  // saturation above 0.5, at hue 150
                 {green, {0, 40, 19}, {0, 41, 19}},         // green above a fifth of the level, at hue 148
                 // Twenty levels above blue, before a darker backdrop of the same hue: hues 130 and 128. And
                 // above red, before one of hue 100: hues 110 and 112.5.
                 {{20, 80, 40}, {20, 44, 24}, {20, 44, 23}},
                 {{40, 80, 20}, {24, 44, 20}, {23, 44, 20}}};
    for (const auto& c : cases) {
        AnalyseWithCell(c.backdrop, c.rejected, 9);
        EXPECT_EQ(CellAt(kCell)[3], 0) << "green " << c.rejected.g << ", blue " << c.rejected.b;
        AnalyseWithCell(c.backdrop, c.accepted, 9);
        EXPECT_EQ(CellAt(kCell)[3], 9) << "green " << c.accepted.g << ", blue " << c.accepted.b;
    }
    // The limits stay raw levels at 16 bits. Too dark for the hue: the default colour of hue 107 and level
    // 140, a fifth of which is 28.
    AnalyseWithCell({24, 44, 20}, {24, 44, 20}, 9, RunKind::kFull16);
    EXPECT_EQ(CellAt(kCell)[3], 0);
    AnalyseWithCell({24, 44, 20}, {23, 44, 20}, 9, RunKind::kFull16);
    EXPECT_EQ(CellAt(kCell), (Cell{23, 44, 20, 9}));
}

}  // namespace

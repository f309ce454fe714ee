// The backdrop's colour: dominant hue and saturation, mean level, and the grid. Expected values are worked by
// hand for pictures of a few plain colours.
//
// The hue of a colour whose green is largest: with red smallest 180 - 60 * (g - b) / (g - r), with blue
// smallest 60 + 60 * (g - r) / (g - b).
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "engine/keying.h"
#include "engine_rig.h"
#include "engine_scenes.h"

namespace {

struct Rgb {
    std::uint16_t r, g, b;
};

void SetTop(EngineRig* rig, std::int64_t i, const Rgb& c) {
    rig->SetColour(kTopR, i, c.r, c.g, c.b);
}

struct Means {
    double r, g, b;
};

// The means of a picture of one row.
Means MeansOf(const std::vector<Rgb>& pixels, RunKind kind = RunKind::kFull8) {
    EngineRig rig(static_cast<std::int32_t>(pixels.size()), 1, kind);
    for (std::size_t i = 0; i < pixels.size(); ++i) SetTop(&rig, static_cast<std::int64_t>(i), pixels[i]);
    rig.Analyse();
    return {rig.globals.backdropMeanR, rig.globals.backdropMeanG, rig.globals.backdropMeanB};
}

void ExpectMeans(const Means& means, double r, double g, double b) {
    EXPECT_EQ(means.r, r);
    EXPECT_EQ(means.g, g);
    EXPECT_EQ(means.b, b);
}

// Nothing qualifies: hue 107, saturation 127 / 200, level 140, at either depth.
void ExpectDefault(const Means& means) {
    const double b = 140 - 140 * 0.635;                   // 51.1
    ExpectMeans(means, (140 - b) * 13 / 60 + b, 140, b);  // red 70.36
}

TEST(Analysis, NothingGreenGivesTheDefaultColour) {
    ExpectDefault(MeansOf({{0, 0, 0}, {255, 255, 255}, {90, 90, 90}, {200, 40, 40}, {30, 60, 200}}));
    ExpectDefault(MeansOf({{0, 0, 0}, {3000, 3840, 200}, {9000, 9000, 9000}}, RunKind::kFull16));
}

TEST(Analysis, RecoversAFlatBackdrop) {
    // Red smallest: hue 180 - 60 * 100 / 150 = 140, saturation 150 / 200. Red 200 - 200 * 0.75 = 50; blue
    // (200 - 50) * 20 / 60 + 50 = 100.
    ExpectMeans(MeansOf({{50, 200, 100}}), 50, 200, 100);
    ExpectMeans(MeansOf({{6400, 25600, 12800}}, RunKind::kFull16), 6400, 25600, 12800);
    // Blue smallest: hue 60 + 60 * 90 / 180 = 90, saturation 0.9; red (200 - 20) * 30 / 60 + 20 = 110.
    ExpectMeans(MeansOf({{110, 200, 20}}), 110, 200, 200 - 200 * 0.9);
}

TEST(Analysis, FullSaturationIsNoCandidate) {
    // Hue 60 + 60 * 180 / 200 = 114; the saturation of 1 fills bin 200, and 0.635 stays.
    const double b = 200 - 200 * 0.635;  // 73
    ExpectMeans(MeansOf({{20, 200, 0}}), (200 - b) * 6 / 60 + b, 200, b);
    // Hue 120: red and blue stay at the floor, however pale the backdrop is.
    ExpectMeans(MeansOf({{0, 200, 0}}), 1, 200, 1);
    ExpectMeans(MeansOf({{90, 128, 90}}), 1, 128, 1);
}

TEST(Analysis, LowestOfEqualPeaksWins) {
    const Rgb hue114{20, 200, 0}, hue140{50, 200, 100};
    const double b = 200 - 200 * 0.635;
    ExpectMeans(MeansOf({hue140, hue114}), (200 - b) * 6 / 60 + b, 200, b);
    ExpectMeans(MeansOf({hue114, hue140, hue140}), 50, 200, 100);
    // Hue 140 twice (180 - 60 * 66 / 100 = 140.4), with saturations of 0.75 and 0.5: the lower it is.
    ExpectMeans(MeansOf({hue140, {100, 200, 134}}), 100, 200, (200 - 100.) * 20 / 60 + 100);
}

TEST(Analysis, GreenLeadsByMoreThanTenLevelsOfThePixel) {
    // Green 40, red 20: saturation 0.5. Ten levels above blue do not count; with eleven the hue is
    // 180 - 60 * 11 / 20 = 147 and blue (40 - 20) * 27 / 60 + 20 = 29. Then the same against red, hue 93.
    ExpectDefault(MeansOf({{20, 40, 30}}));
    ExpectMeans(MeansOf({{20, 40, 29}}), 20, 40, 29);
    ExpectDefault(MeansOf({{30, 40, 20}}));
    ExpectMeans(MeansOf({{29, 40, 20}}), 29, 40, 20);
    // The ten are not scaled at 16 bits: hue 180 - 60 * 11 / 2048 = 179.7, cut to 179.
    ExpectDefault(MeansOf({{2048, 4096, 4086}}, RunKind::kFull16));
    ExpectMeans(MeansOf({{2048, 4096, 4085}}, RunKind::kFull16), 2048, 4096, (4096 - 2048.) * 59 / 60 + 2048);
}

TEST(Analysis, DarkAndPalePixelsDoNotCount) {
    // Green must be above 30 levels. Hue 60 + 60 * 16 / 21 = 105.7, saturation 21 / 31 in bin 135.
    ExpectDefault(MeansOf({{15, 30, 10}}));
    const double b = 31 - 31 * 0.675;
    ExpectMeans(MeansOf({{15, 31, 10}}), (31 - b) * 15 / 60 + b, 31, b);
    ExpectDefault(MeansOf({{1920, 3840, 1280}}, RunKind::kFull16));
    // Green 3841: hue 60 + 60 * 1921 / 2561 = 105.006, saturation 2561 / 3841 = 0.66675 in bin 133.
    const double deepB = 3841 - 3841 * 0.665;
    ExpectMeans(MeansOf({{1920, 3841, 1280}}, RunKind::kFull16), (3841 - deepB) * 15 / 60 + deepB, 3841,
                deepB);
    // Saturation must be above 0.2: hue 180 - 60 * 15 / 20 does not count. With 28 / 128 = 0.21875, in bin
    // 43, hue 180 - 60 * 20 / 28 = 137.1: red 128 - 128 * 0.215, blue 17 / 60 of the way back.
    ExpectDefault(MeansOf({{80, 100, 85}}));
    const double r = 128 - 128 * 0.215;
    ExpectMeans(MeansOf({{100, 128, 108}}), r, 128, (128 - r) * 17 / 60 + r);
}

TEST(Analysis, MeanTakesWholeHuesWithinFourDegrees) {
    // Three pixels of hue 140.6, level 128; a fourth of level 200 whose hue is cut to 144, 145, 136 or 135.
    // All have a saturation of 0.5.
    const auto mean = [](std::uint16_t b) {
        return MeansOf({{64, 128, 86}, {64, 128, 86}, {64, 128, 86}, {100, 200, b}}).g;
    };
    EXPECT_EQ(mean(141), (3 * 128 + 200) / 4.);  // 180 - 60 * 59 / 100 = 144.6
    EXPECT_EQ(mean(143), 128);                   // 180 - 60 * 57 / 100 = 145.8
    EXPECT_EQ(mean(128), (3 * 128 + 200) / 4.);  // 180 - 60 * 72 / 100 = 136.8
    EXPECT_EQ(mean(126), 128);                   // 180 - 60 * 74 / 100 = 135.6
}

TEST(Analysis, SaturationTakesWholeHuesWithinFourDegrees) {
    // Hue 140 three times, with saturations 64/128, 91/150 and 103/150: one each in the bins 100, 121 and
    // 137. Two more pixels of saturation 121/150 (bin 161) decide when their hues count: 145 and 146 do not
    // (the lowest bin wins), 143 and 144 do.
    const std::vector<Rgb> three{{64, 128, 86}, {59, 150, 90}, {47, 150, 82}};
    const auto with = [&](std::uint16_t b1, std::uint16_t b2) {
        std::vector<Rgb> pixels = three;
        pixels.push_back({29, 150, b1});
        pixels.push_back({29, 150, b2});
        return MeansOf(pixels);
    };
    const double far = (128 + 150 + 150) / 3.;
    EXPECT_EQ(with(80, 82).r, far - far * 0.5);  // 180 - 60 * 70 / 121 = 145.3, and 146.3
    const double near = (128 + 4 * 150) / 5.;
    EXPECT_EQ(with(78, 76).r, near - near * 0.805);  // 144.3, 143.3
}

TEST(Analysis, MeanHasNoMargin) {
    // The second pixel leads by 9 and 8 levels only: it has no say in hue (126) and saturation (0.5), but its
    // hue of 180 - 60 * 8 / 9 = 126.7 and its saturation of 9 / 35 let it into the mean.
    const double g = (128 + 35) / 2., r = g - g * 0.5;
    ExpectMeans(MeansOf({{64, 128, 71}, {26, 35, 27}}), r, g, (g - r) * 6 / 60 + r);
}

TEST(Analysis, OnlyTheKeyChannelIsLimited) {
    // 40000 counts as 32767. Hue 180 - 60 * 16383 / 24575 = 140.001; saturation 24575 / 32767 = 0.74999, in
    // bin 149 and not 150.
    const double r = 32767 - 32767 * 0.745;
    ExpectMeans(MeansOf({{8192, 40000, 16384}}, RunKind::kFull16), r, 32767, (32767 - r) * 20 / 60 + r);
    // Red of 40000 stays above green, and the pixel does not count.
    ExpectDefault(MeansOf({{40000, 40000, 16384}}, RunKind::kFull16));
}

TEST(Analysis, SeesColoursOnlyAndExchangesThemForBlue) {
    for (RunKind kind : kRunKinds) {
        for (Scene scene : {Scene::kSubject, Scene::kRamps, Scene::kThresholds}) {
            EngineRig rig(61, 47, kind);
            PaintScene(&rig, scene, 11);
            rig.Analyse();
            const std::uint64_t green = HashAnalysis(rig);
            for (Plane plane : {kTopA, kSelection, kBottomR, kBottomG, kBottomB}) rig.Fill(plane, 77);
            rig.globals.SliderAdjBGLevel = 3;
            rig.Analyse();
            EXPECT_EQ(HashAnalysis(rig), green);
            rig.globals.FlagBlueLogic = 1;
            rig.Analyse();
            EXPECT_NE(HashAnalysis(rig), green);
            rig.ExchangePlanes(kTopG, kTopB);
            rig.Analyse();
            EXPECT_EQ(HashAnalysis(rig), green);
        }
    }
}

// ---- The grid ---------------------------------------------------------------------------------------------

// 60 by 60: cells of 3 by 3, all of one colour, but for what a test puts into the cell at row 7, column 12.
constexpr std::int32_t kCellRow = 7, kCellColumn = 12, kCell = kCellRow * kGridSide + kCellColumn;

struct GridCase {
    explicit GridCase(const Rgb& backdrop, RunKind kind = RunKind::kFull8) : rig(60, 60, kind) {
        for (std::int64_t i = 0; i < rig.Pixels(); ++i) SetTop(&rig, i, backdrop);
    }
    // The cell's first `count` pixels in rows become c, the others black.
    void PutIntoCell(const Rgb& c, int count) {
        for (int n = 0; n < 9; ++n) {
            const std::int64_t i = (kCellRow * 3 + n / 3) * 60 + kCellColumn * 3 + n % 3;
            SetTop(&rig, i, n < count ? c : Rgb{0, 0, 0});
        }
    }
    EngineRig rig;
};

void ExpectCell(int cell, double r, double g, double b, int count) {
    EXPECT_EQ(gBackdropGrid.gridR[cell], r);
    EXPECT_EQ(gBackdropGrid.gridG[cell], g);
    EXPECT_EQ(gBackdropGrid.gridB[cell], b);
    EXPECT_EQ(gBackdropGrid.gridCount[cell], count);
}

TEST(BackdropGrid, LeansTowardsTheCellByItsShareOfBackdrop) {
    // The cell's hue of 150 lies near enough to the backdrop's 140 for the grid, and too far for the mean.
    const Rgb other{50, 200, 125};
    GridCase grid({50, 200, 100});
    grid.PutIntoCell(other, 9);
    grid.rig.Analyse();
    ExpectCell(kCell, 50, 200, 125, 9);
    for (int neighbour : {kCell - 1, kCell + 1, kCell - kGridSide, kCell + kGridSide}) {
        ExpectCell(neighbour, 50, 200, 100, 9);
    }
    grid.PutIntoCell(other, 6);
    grid.rig.Analyse();
    const double w = 6 / 9.;
    ExpectCell(kCell, 50 * w + (1 - w) * 50, 200 * w + (1 - w) * 200, 125 * w + (1 - w) * 100, 6);
    grid.PutIntoCell(other, 5);
    grid.rig.Analyse();
    EXPECT_EQ(gBackdropGrid.gridCount[kCell], 5);
    EXPECT_EQ(gBackdropGrid.gridB[kCell], 100);
}

TEST(BackdropGrid, LargeCellsOvershootAndThinPicturesAreNoNumber) {
    // 61 columns: x * 20 / 61 puts columns 0 to 3 into the first cell: 12 pixels, of 3660 / 400 = 9 on
    // average.
    EngineRig rig(61, 60, RunKind::kFull8);
    for (std::int64_t i = 0; i < rig.Pixels(); ++i) {
        const bool first = i % 61 <= 3 && i / 61 < 3;
        SetTop(&rig, i, first ? Rgb{50, 200, 125} : Rgb{50, 200, 100});
    }
    rig.Analyse();
    const double w = 12 / 9.;
    EXPECT_EQ(gBackdropGrid.gridCount[0], 12);
    EXPECT_EQ(gBackdropGrid.gridB[0], 125 * w + (1 - w) * 100);  // 133.3
    EXPECT_EQ(gBackdropGrid.gridCount[1], 9);

    // One column of 300: 15 pixels a cell, of 300 / 400 = 0 on average.
    EngineRig thin(1, 300, RunKind::kFull8);
    for (std::int64_t i = 0; i < thin.Pixels(); ++i) SetTop(&thin, i, {50, 200, 100});
    thin.Analyse();
    EXPECT_EQ(gBackdropGrid.gridCount[0], 15);
    EXPECT_TRUE(std::isnan(gBackdropGrid.gridG[0]));
    EXPECT_EQ(gBackdropGrid.gridG[1], 200);  // no pixel lies there
}

// Pixels of the cell, all of colour c, that the grid accepts before the backdrop.
int Accepted(const Rgb& backdrop, const Rgb& c, RunKind kind = RunKind::kFull8) {
    GridCase grid(backdrop, kind);
    grid.PutIntoCell(c, 9);
    grid.rig.Analyse();
    return gBackdropGrid.gridCount[kCell];
}

TEST(BackdropGrid, AcceptsByStrictLimits) {
    const Rgb backdrop{50, 200, 100};  // hue 140, level 200
    // Hue less than 20 degrees away: blue 150 makes it 160, blue 50 makes it 120.
    EXPECT_EQ(Accepted(backdrop, {50, 200, 150}), 0);
    EXPECT_EQ(Accepted(backdrop, {50, 200, 149}), 9);
    EXPECT_EQ(Accepted(backdrop, {50, 200, 50}), 0);
    EXPECT_EQ(Accepted(backdrop, {50, 200, 51}), 9);
    // Saturation above 0.5, at hue 150.
    EXPECT_EQ(Accepted(backdrop, {100, 200, 150}), 0);
    EXPECT_EQ(Accepted(backdrop, {98, 200, 149}), 9);
    // Green above a fifth of the level, at a hue of 148.
    EXPECT_EQ(Accepted(backdrop, {0, 40, 19}), 0);
    EXPECT_EQ(Accepted(backdrop, {0, 41, 19}), 9);
    // Twenty levels above blue, before a darker backdrop of the same hue: hues 130 and 128.
    EXPECT_EQ(Accepted({20, 80, 40}, {20, 44, 24}), 0);
    EXPECT_EQ(Accepted({20, 80, 40}, {20, 44, 23}), 9);
    // And above red, before one of hue 100: hues 110 and 112.5.
    EXPECT_EQ(Accepted({40, 80, 20}, {24, 44, 20}), 0);
    EXPECT_EQ(Accepted({40, 80, 20}, {23, 44, 20}), 9);
}

TEST(BackdropGrid, LimitsStayRawLevelsAt16Bits) {
    // Too dark for the hue: the default colour of hue 107 and level 140, a fifth of which is 28.
    EXPECT_EQ(Accepted({24, 44, 20}, {24, 44, 20}, RunKind::kFull16), 0);
    EXPECT_EQ(Accepted({24, 44, 20}, {23, 44, 20}, RunKind::kFull16), 9);
    EXPECT_EQ(gBackdropGrid.gridR[kCell], 23);
}

}  // namespace

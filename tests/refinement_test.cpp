// The refinement of the rows behind: the window and its odd first columns, its taps, and what is kept. The
// original photo is shown. Newest rows with an alpha between 0.2 and 0.9 would be lifted as well, and are
// avoided.
//
// A sample counts by (alpha * 5 + 1) times its row's tap: 50 in the centre row, then 30, then 10.
#include <gtest/gtest.h>

#include "rig/engine_rig.h"
#include "rig/engine_scenes.h"
#include "spelled_picture.h"

namespace {

// Row 0 of alpha 0 over eight colours that have nothing in common, and a second row of foreground in the same
// colours whose alpha of 50 / 255 makes every window differ by 0.196 or more: all columns weigh the same, and
// every pixel is the mean of its columns by their taps. Red is green where a column came with the row's first
// pixel. windows: the columns of the cells, none being -1.
void ExpectWindows(RunKind kind, const std::vector<int>& taps, const std::vector<std::vector<int>>& windows) {
    constexpr Colour kColours[] = {{118, 1, 104}, {137, 206, 129}, {50, 54, 44}, {41, 67, 163},
                                   {54, 201, 8},  {6, 95, 36},     {44, 37, 29}, {150, 219, 156}};
    std::vector<Spot> spots(8 * taps.size(), {{0, 0, 0, 0}});
    for (std::size_t x = 0; x < 8; ++x) {
        const Colour& c = kColours[x];
        int sum[3] = {}, weight = 0;
        for (std::size_t cell = 0; cell < taps.size(); ++cell) {
            const int column = windows[x][cell];
            if (column < 0) continue;
            const Colour& seen = kColours[column];
            sum[0] += taps[cell] * (column <= Radius(kind) ? seen[1] : seen[0]);
            sum[1] += taps[cell] * seen[1];
            sum[2] += taps[cell] * seen[2];
            weight += taps[cell];
        }
        spots[x] = {{0, 0, 0, 0}, c, {sum[0] / weight, sum[1] / weight, sum[2] / weight, kAny}};
        spots[8 + x].top = {c[0], c[1], c[2], 50};
    }
    ExpectPicture(kind, 0, 8, spots);
}

TEST(EngineRefinement, WindowsAreLopsidedAndAtFullSizeNeverSeeColumnTwo) {
    ExpectWindows(RunKind::kPreview8, {5, 10, 30},
                  {{-1, 0, 1}, {0, 1, 2}, {1, 2, 3}, {2, 3, 4}, {3, 4, 5}, {4, 5, 6}, {5, 6, 7}, {6, 7, -1}});
    ExpectWindows(RunKind::kFull8, {10, 30, 50, 30, 10},
                  {{-1, -1, -1, 0, 1},
                   {-1, -1, 0, 1, 3},
                   {-1, 0, 1, 3, 4},
                   {0, 1, 3, 4, 5},
                   {1, 3, 4, 5, 6},
                   {3, 4, 5, 6, 7},
                   {4, 5, 6, 7, -1},
                   {5, 6, 7, -1, -1}});
}

TEST(EngineRefinement, FullSizeWeighsFiveRows) {
    // Rows of alpha 1, 0, 0, 1, 0; the centre row is the third. Weights 60, 30, 50, 180, 10, together 330.
    // Row 0 has no rows above it: it is opaque and kept; row 1 has weights 180, 50, 30 and 60.
    const Colour far{9000, 9000, 9000}, centre{2000, 400, 30};
    std::vector<Spot> spots(11 * 8, {{0, 0, 0, 0}, far});
    for (std::size_t x = 0; x < 11; ++x) {
        spots[x].top = {500, 1000, 20000, 32767};
        spots[22 + x].bottom = centre;
        spots[33 + x].top = {200, 2000, 10000, 32767};
        if (x < 5) continue;  // past the odd first columns
        spots[x].expected = {500, 1000, 20000, 32767};
        spots[11 + x].expected = {kAny, (180 * 1000 + 80 * 9000 + 60 * 2000) / 320, kAny, 0};
        spots[22 + x].expected = {(60 * 500 + 90 * 2000 + 180 * 200) / 330,
                                  (60 * 1000 + 90 * 400 + 180 * 2000) / 330,
                                  (60 * 20000 + 90 * 30 + 180 * 10000) / 330, 0};
    }
    ExpectPicture(RunKind::kFull16, 0, 11, spots);
}

// Green at `column` of five columns of green background in row 0, all alphas 0, when the foreground of some
// pixels is changed: index, green, alpha.
void ExpectGreen(std::size_t column, int expected, const std::vector<std::array<int, 3>>& changes) {
    std::vector<Spot> spots(10, {{0, 0, 0, 0}});
    for (std::size_t x = 0; x < 5; ++x) spots[x].bottom = {0, std::array<int, 5>{10, 60, 10, 90, 10}[x], 0};
    for (const auto& [i, green, alpha] : changes)
        spots[static_cast<std::size_t>(i)].top = {0, green, 0, alpha};
    spots[column].expected = {kAny, expected, kAny, kAny};
    ExpectPicture(RunKind::kPreview8, 0, 5, spots);
}

TEST(EngineRefinement, KeepsFlatMattesAndOpaquePixels) {
    // One alpha below the middle: 25 / 255 = 0.098 differs too little, 26 / 255 = 0.102 does not. Then column
    // 2 weighs 50 + 30 * (26 / 255 * 5 + 1) = 95.29: (24000 + 9529 + 216000) / (400 + 952.9 + 2400) = 66.5.
    ExpectGreen(2, 10, {{7, 10, 25}});
    ExpectGreen(2, 66, {{7, 10, 26}});
    // The middle itself: kept from 243 / 255 = 0.953 on, 200 * 0.953 + 10 * 0.047. With 242 column 2 weighs
    // 287.25 (of value 190.3) and 30: (24000 + 549685 + 216000) / 5972.5.
    ExpectGreen(2, 191, {{2, 200, 243}});
    ExpectGreen(2, 132, {{2, 200, 242}});
    // Columns keep the difference they came with. Alphas 0, then 38 / 255 = 0.149 all along. At column 2 the
    // window holds columns 1 to 3, equal in alpha, but column 1 came with the first pixel and differs from
    // that: smoothed, (5 * 60 + 10 * 10 + 30 * 91.49) / 45. At column 3 it is flat and kept: 90 + 10 * 0.149.
    std::vector<std::array<int, 3>> rising;
    for (int i : {1, 2, 3, 4, 6, 7, 8, 9})
        rising.push_back({i, std::array<int, 5>{10, 60, 10, 100, 10}[i % 5], 38});
    ExpectGreen(2, 69, rising);
    ExpectGreen(3, 91, rising);
}

TEST(EngineRefinement, SmoothsFromADifferenceOfExactlyOneTenth) {
    // Backdrop, keyed to an alpha of 0, and one pixel whose alpha is 0.1 to the last bit:
    // the first estimate (180 - 155) / (255 - 155), by the contrast (0.25 - 0.5) * 2 + 0.5, and 0.1 of
    // offset.
    EngineRig rig(40, 2, RunKind::kPreview8);
    Globals& g = rig.globals;
    rig.LayBackdrop(100, 155, 50);
    g.backdropMeanG = 255;
    g.SliderRemoveGreen = -300;
    g.SliderRestoreBlack = g.SliderAlterGreen = 0;
    g.SliderSelectTransp = 110;
    g.SliderScaleTransp = 100;
    SetFlags(&rig, kBlue);
    for (int i = 0; i < 80; ++i) rig.SetColour(kTopR, i, 100, 50, i == 44 ? 180 : 155);
    for (int x = 0; x < 40; ++x) rig.SetColour(kBottomR, x, 0, 0, x == 6 ? 90 : 30);
    rig.Key();
    // Beside it the window holds that difference and no other; smoothed, it shows what lies two columns on.
    EXPECT_GT(rig.Get(kOutB, 5), 30);
}

TEST(EngineRefinement, LimitsWhatItHandsOn) {
    // An alpha of 2, as a top layer may have beyond the range: 2 * 100 - 1000, and 2 * 30000 - 1000.
    ExpectPicture(RunKind::kFull16, 0, 2,
                  {{{40000, 50000, 60000, 32767}, {}, {32767, 32767, 32767, 32767}},
                   {{100, 100, 30000, 65534}, {1000, 1000, 1000}, {0, 0, 32767, 65534}},
                   {{0, 0, 0, 32767}},
                   {{0, 0, 0, 32767}},
                   {{0, 0, 0, 32767}},
                   {{0, 0, 0, 32767}}});
}

TEST(EngineRefinement, OneColumnReadsOnIntoTheRing) {
    // The first pixel asks for two columns. The second of the newest row is a ring row not yet written, which
    // holds the heap's filling: an alpha of two millions, and everything else as large.
    ExpectPicture(RunKind::kPreview8, 0, 1,
                  {{{0, 0, 0, 0}, {10, 20, 30}, {255, 255, 255, 0}}, {{0, 0, 0, 0}}});
}

}  // namespace

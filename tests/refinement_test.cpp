// The refinement of the rows behind: the window and its odd first columns, its taps, and what is kept. The
// original photo is shown, so that the ring holds the top layer as it is, with its own alpha. Newest rows
// with an alpha between 0.2 and 0.9 would be lifted as well, and are avoided.
//
// A sample counts by (alpha * 5 + 1) times its row's tap: 50 in the centre row, then 30, then 10.
#include <gtest/gtest.h>

#include "engine_rig.h"

namespace {

using Colour = std::array<int, 3>;

void ShowPhotoRefined(EngineRig* rig) {
    rig->globals.FlagOrgPhoto = 1;
    rig->globals.FlagRealityInteg = 0;
}

// Eight columns whose three channels have nothing in common.
constexpr int kReds[] = {118, 137, 50, 41, 54, 6, 44, 150};
constexpr int kGreens[] = {1, 206, 54, 67, 201, 95, 37, 219};
constexpr int kBlues[] = {104, 129, 44, 163, 8, 36, 29, 156};
constexpr int kNone = -1;

// The mean of the window's columns by their taps. Red is green where a column came with the row's first
// pixel.
template <int cells>
int Smoothed(const int (&values)[8], const int (&columns)[cells], const int (&taps)[cells],
             const int (&firstValues)[8], int lastOfFirst) {
    int sum = 0, weight = 0;
    for (int i = 0; i < cells; ++i) {
        if (columns[i] == kNone) continue;
        sum += taps[i] * (columns[i] <= lastOfFirst ? firstValues : values)[columns[i]];
        weight += taps[i];
    }
    return sum / weight;
}

// Row 0 of alpha 0 over the eight colours, and a second row of foreground in the same colours whose alpha of
// 50 / 255 makes every window differ by 0.196 or more: all columns weigh the same, and every pixel is the
// mean of its columns by their taps.
template <int cells>
void ExpectWindows(RunKind kind, const int (&windows)[8][cells], const int (&taps)[cells]) {
    constexpr int kRadius = (cells - 1) / 2;
    EngineRig rig(8, cells, kind);
    ShowPhotoRefined(&rig);
    rig.Fill(kTopA, 0);
    for (int x = 0; x < 8; ++x) {
        const auto r = static_cast<std::uint16_t>(kReds[x]), g = static_cast<std::uint16_t>(kGreens[x]),
                   b = static_cast<std::uint16_t>(kBlues[x]);
        rig.SetColour(kBottomR, x, r, g, b);
        rig.SetColour(kTopR, 8 + x, r, g, b);
        rig.Set(kTopA, 8 + x, 50);
    }
    rig.Key();
    for (int x = 0; x < 8; ++x) {
        const auto smoothed = [&](const int(&values)[8], const int(&firstValues)[8]) {
            return Smoothed(values, windows[x], taps, firstValues, kRadius);
        };
        EXPECT_EQ(OutColour(rig, x),
                  (Colour{smoothed(kReds, kGreens), smoothed(kGreens, kGreens), smoothed(kBlues, kBlues)}))
            << "column " << x;
    }
}

TEST(Refinement, PreviewWindowIsLopsided) {
    ExpectWindows<3>(
        RunKind::kPreview8,
        {{kNone, 0, 1}, {0, 1, 2}, {1, 2, 3}, {2, 3, 4}, {3, 4, 5}, {4, 5, 6}, {5, 6, 7}, {6, 7, kNone}},
        {5, 10, 30});
}

TEST(Refinement, FullSizeWindowNeverSeesColumnTwo) {
    ExpectWindows<5>(RunKind::kFull8,
                     {{kNone, kNone, kNone, 0, 1},
                      {kNone, kNone, 0, 1, 3},
                      {kNone, 0, 1, 3, 4},
                      {0, 1, 3, 4, 5},
                      {1, 3, 4, 5, 6},
                      {3, 4, 5, 6, 7},
                      {4, 5, 6, 7, kNone},
                      {5, 6, 7, kNone, kNone}},
                     {10, 30, 50, 30, 10});
}

TEST(Refinement, WeighsByAlphaOverTheCentreRowsBackground) {
    // Preview, 4 by 2. Alphas 0 0 1 0 over 0 1 0 0; the second row's background of 250 must not be seen.
    EngineRig rig(4, 2, RunKind::kPreview8);
    ShowPhotoRefined(&rig);
    rig.Fill(kTopA, 0);
    const std::uint16_t under[4][3] = {{10, 100, 11}, {20, 50, 22}, {30, 200, 33}, {41, 30, 44}};
    for (int x = 0; x < 4; ++x) {
        rig.SetColour(kBottomR, x, under[x][0], under[x][1], under[x][2]);
        rig.SetColour(kBottomR, 4 + x, 250, 250, 250);
        rig.SetColour(kTopR, x, 7, 7, 7);
        rig.SetColour(kTopR, 4 + x, 9, 9, 9);
    }
    rig.SetColour(kTopR, 2, 90, 180, 200);
    rig.Set(kTopA, 2, 255);
    rig.SetColour(kTopR, 5, 60, 150, 120);
    rig.Set(kTopA, 5, 255);
    rig.Key();
    // Columns as sum / weight, of green: 80 * 100 / 80; 50 * 50 + 180 * 150 = 29500 / 230; 300 * 180 + 30 *
    // 200 = 60000 / 330; 2400 / 80. Red: the first two as green; 300 * 90 + 30 * 30 = 27900; 3280. Blue:
    // 880; 22700; 60990; 3520.
    // x 0: (10 * 8000 + 30 * 29500) / (10 * 80 + 30 * 230 = 7700)
    EXPECT_EQ(OutColour(rig, 0), (Colour{125, 125, 89}));
    // x 1: (5 * 8000 + 10 * 29500 + 30 * 60000) / (400 + 2300 + 9900 = 12600)
    EXPECT_EQ(OutColour(rig, 1), (Colour{93, 169, 163}));
    // x 2 is opaque, and kept.
    EXPECT_EQ(OutColour(rig, 2), (Colour{90, 180, 200}));
    // x 3: (5 * 60000 + 10 * 2400) / (1650 + 800 = 2450)
    EXPECT_EQ(OutColour(rig, 3), (Colour{70, 132, 138}));
}

TEST(Refinement, FullSizeWeighsFiveRows) {
    // Rows of alpha 1, 0, 0, 1, 0; the centre row is the third. Weights 60, 30, 50, 180, 10, together 330.
    EngineRig rig(11, 8, RunKind::kFull16);
    ShowPhotoRefined(&rig);
    rig.Fill(kTopA, 0);
    for (int x = 0; x < 11; ++x) {
        for (int row = 0; row < 8; ++row) rig.SetColour(kBottomR, 11 * row + x, 9000, 9000, 9000);
        rig.SetColour(kBottomR, 22 + x, 2000, 400, 30);
        rig.SetColour(kTopR, x, 500, 1000, 20000);
        rig.SetColour(kTopR, 33 + x, 200, 2000, 10000);
        rig.Set(kTopA, x, 32767);
        rig.Set(kTopA, 33 + x, 32767);
    }
    rig.Key();
    for (int x = 5; x < 11; ++x) {
        EXPECT_EQ(OutColour(rig, 22 + x),
                  (Colour{(60 * 500 + 90 * 2000 + 180 * 200) / 330, (60 * 1000 + 90 * 400 + 180 * 2000) / 330,
                          (60 * 20000 + 90 * 30 + 180 * 10000) / 330}));
    }
    // Row 0 has no rows above it: weights 300, 30 and 10 of its own background of 9000. It is opaque and
    // kept; row 1 has weights 180, 50, 30 and 60.
    EXPECT_EQ(rig.Get(kOutG, 5), 1000);
    EXPECT_EQ(rig.Get(kOutG, 16), (180 * 1000 + 80 * 9000 + 60 * 2000) / 320);
}

// Five columns of green background in row 0, for a preview; all alphas 0.
struct FiveColumns {
    FiveColumns() : rig(5, 2, RunKind::kPreview8) {
        ShowPhotoRefined(&rig);
        rig.Fill(kTopA, 0);
        const std::uint16_t greens[] = {10, 60, 10, 90, 10};
        for (int x = 0; x < 5; ++x) rig.Set(kBottomG, x, greens[x]);
    }
    int Green(int x) {
        rig.Key();
        return rig.Get(kOutG, x);
    }
    EngineRig rig;
};

TEST(Refinement, KeepsFlatMattesAndOpaquePixels) {
    // One alpha below the middle: 25 / 255 = 0.098 differs too little, 26 / 255 = 0.102 does not. Then column
    // 2 weighs 50 + 30 * (26 / 255 * 5 + 1) = 95.29: (24000 + 9529 + 216000) / (400 + 952.9 + 2400) = 66.5.
    FiveColumns below;
    below.rig.Set(kTopG, 5 + 2, 10);
    below.rig.Set(kTopA, 5 + 2, 25);
    EXPECT_EQ(below.Green(2), 10);
    below.rig.Set(kTopA, 5 + 2, 26);
    EXPECT_EQ(below.Green(2), 66);
    // The middle itself: kept from 243 / 255 = 0.953 on, 200 * 0.953 + 10 * 0.047. With 242 column 2 weighs
    // 287.25 (of value 190.3) and 30: (24000 + 549685 + 216000) / 5972.5.
    FiveColumns middle;
    middle.rig.Set(kTopG, 2, 200);
    middle.rig.Set(kTopA, 2, 243);
    EXPECT_EQ(middle.Green(2), 191);
    middle.rig.Set(kTopA, 2, 242);
    EXPECT_EQ(middle.Green(2), 132);
}

TEST(Refinement, ColumnsKeepTheDifferenceTheyCameWith) {
    // Alphas 0, then 38 / 255 = 0.149 all along. At column 2 the window holds columns 1 to 3, equal in alpha,
    // but column 1 came with the first pixel and differs from that: smoothed, (5 * 60 + 10 * 10 + 30 * 91.49)
    // /
    // 45. At column 3 it is flat and kept: 90 + 10 * 0.149.
    FiveColumns columns;
    for (int x = 0; x < 5; ++x) {
        const std::uint16_t fore[] = {10, 60, 10, 100, 10};
        for (const int i : {x, 5 + x}) {
            columns.rig.Set(kTopG, i, fore[x]);
            columns.rig.Set(kTopA, i, x == 0 ? 0 : 38);
        }
    }
    EXPECT_EQ(columns.Green(2), 69);
    EXPECT_EQ(columns.Green(3), 91);
}

TEST(Refinement, LimitsWhatItHandsOn) {
    EngineRig rig(2, 3, RunKind::kFull16);
    ShowPhotoRefined(&rig);
    rig.SetColour(kTopR, 0, 40000, 50000, 60000);
    // An alpha of 2, as a top layer may have beyond the range: 2 * 100 - 1000, and 2 * 30000 - 1000.
    rig.Set(kTopA, 1, 65534);
    rig.SetColour(kTopR, 1, 100, 100, 30000);
    rig.SetColour(kBottomR, 1, 1000, 1000, 1000);
    rig.Key();
    EXPECT_EQ(OutColour(rig, 0), (Colour{32767, 32767, 32767}));
    EXPECT_EQ(OutColour(rig, 1), (Colour{0, 0, 32767}));
}

TEST(Refinement, OneColumnReadsOnIntoTheRing) {
    // The first pixel asks for two columns. The second of the newest row is a ring row not yet written, which
    // holds the heap's filling: an alpha of two millions, and everything else as large.
    EngineRig rig(1, 2, RunKind::kPreview8);
    ShowPhotoRefined(&rig);
    rig.Fill(kTopA, 0);
    rig.SetColour(kBottomR, 0, 10, 20, 30);
    rig.Key();
    EXPECT_EQ(OutColour(rig, 0), (Colour{255, 255, 255}));
}

}  // namespace

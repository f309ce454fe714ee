// The per-pixel pass: lookup, fetch and gate, alpha search, corrections, false colours, and the reports of
// the row loop. One pixel at a time is keyed before a backdrop laid into the grid by hand. Colours are
// logical: g is the key channel.
//
// Unless a case says otherwise the backdrop is (50, 200, 100) on the red side and (100, 200, 50) on the blue
// side. With D the seen colour less the backdrop, the candidate foreground at a is backdrop + D / a.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>

#include "engine/keying.h"
#include "engine_rig.h"

namespace {

struct Rgb {
    double r, g, b;
};

struct Keyed {
    int r, g, b;  // the foreground, held to 1 .. maxSample and cut
    int a;        // topA * alpha, cut

    bool operator==(const Keyed& o) const { return r == o.r && g == o.g && b == o.b && a == o.a; }
};

bool operator!=(const Keyed& a, const Keyed& b) {
    return !(a == b);
}

std::ostream& operator<<(std::ostream& out, const Keyed& k) {
    return out << "(" << k.r << ", " << k.g << ", " << k.b << "; " << k.a << ")";
}

void LayBackdrop(const Rgb& c) {
    for (int cell = 0; cell < kGridCells; ++cell) {
        gBackdropGrid.gridR[cell] = c.r;
        gBackdropGrid.gridG[cell] = c.g;
        gBackdropGrid.gridB[cell] = c.b;
    }
}

// backdropMeanG for a darkGain of 1, of 1.5 and of 2.
constexpr double kGain1 = 255, kGain15 = 127.5, kGain2 = 0;

// In a 16-bit preview any top alpha is taken, and this one shows alpha in steps of 1 / 50003. It counts as
// 196 on entry.
constexpr int kFineAlpha = 50003;

// What is fixed while pixels are keyed: depth, parameters, backdrop.
struct Setting {
    RunKind kind = RunKind::kPreview16;
    int topAlpha = kFineAlpha;
    Rgb backdrop{50, 200, 100};
    double meanG = kGain1;
    int adjust = 100, remove = 40, black = 20, alter = 100, select = 100, scale = 70;
    bool blue = false, view = false;
};

// Neither the special cases nor the corrections, other than the pulls towards grey, have anything to say.
Setting SearchAlone() {
    Setting s;
    s.remove = -300;
    s.black = 0;
    s.scale = 50;
    return s;
}

Setting BlueSide(Setting s) {
    s.backdrop = {100, 200, 50};
    return s;
}

Setting WithBlueLogic(Setting s) {
    s.blue = true;
    return s;
}

Setting At16Bits(Setting s) {
    s.kind = RunKind::kFull16;
    s.topAlpha = kMaxSample16;
    for (double* c : {&s.backdrop.r, &s.backdrop.g, &s.backdrop.b}) *c *= 128;
    return s;
}

void Apply(const Setting& s, EngineRig* rig) {
    Globals& g = rig->globals;
    LayBackdrop(s.backdrop);
    g.backdropMeanG = s.meanG;
    g.SliderAdjBGLevel = s.adjust;
    g.SliderRemoveGreen = s.remove;
    g.SliderRestoreBlack = s.black;
    g.SliderAlterGreen = s.alter;
    g.SliderSelectTransp = s.select;
    g.SliderScaleTransp = s.scale;
    g.FlagBlueLogic = s.blue;
    g.FlagShowSelect = s.view;
    // The foreground goes out by itself. The false colours leave the engine through the refined rows alone.
    g.FlagRealityInteg = !s.view;
    g.FlagOutputAlpha = 1;
}

// With a view the pixel stands in the row whose foreground goes into the picture's first row.
Keyed Key(const Setting& s, const Rgb& seen) {
    const std::int32_t height = !s.view ? 1 : s.kind == RunKind::kFull16 || s.kind == RunKind::kFull8 ? 3 : 2;
    EngineRig rig(1, height, s.kind);
    Apply(s, &rig);
    rig.Fill(kTopR, static_cast<std::uint16_t>(seen.r));
    rig.Fill(s.blue ? kTopB : kTopG, static_cast<std::uint16_t>(seen.g));
    rig.Fill(s.blue ? kTopG : kTopB, static_cast<std::uint16_t>(seen.b));
    rig.Fill(kTopA, static_cast<std::uint16_t>(s.topAlpha));
    rig.Key();
    return {rig.Get(kOutR, 0), rig.Get(s.blue ? kOutB : kOutG, 0), rig.Get(s.blue ? kOutG : kOutB, 0),
            rig.Get(kOutA, 0)};
}

int AlphaOf(const Setting& s, const Rgb& seen) {
    return Key(s, seen).a;
}

int Fine(double alpha) {
    return static_cast<int>(kFineAlpha * alpha);
}

// ---- Lookup, fetch, gate ----------------------------------------------------------------------------------

// A pixel of exactly the backdrop's colour comes out as nothing at all; at a distance of one level it does
// not.
constexpr Keyed kPlain{1, 1, 1, 0};

// Whether the local backdrop at (x, y) of an 80 by 80 picture is c in all three channels. The tables differ
// by known factors, so that each is seen to be looked up by itself.
bool BackdropIs(EngineRig* rig, std::int32_t x, std::int32_t y, const Rgb& c) {
    const std::int64_t i = std::int64_t{y} * rig->Width() + x;
    rig->Set(kTopR, i, static_cast<std::uint16_t>(c.r));
    rig->Set(kTopG, i, static_cast<std::uint16_t>(c.g));
    rig->Set(kTopB, i, static_cast<std::uint16_t>(c.b));
    rig->Key();
    return rig->Get(kOutR, i) == 1 && rig->Get(kOutG, i) == 1 && rig->Get(kOutB, i) == 1 &&
           rig->Get(kOutA, i) == 0;
}

void LayCell(int row, int column, double g) {
    gBackdropGrid.gridR[row * kGridSide + column] = g / 2;
    gBackdropGrid.gridG[row * kGridSide + column] = g;
    gBackdropGrid.gridB[row * kGridSide + column] = g / 4;
}

TEST(BackdropLookup, InterpolatesBetweenCellsAndStopsAt18) {
    EngineRig rig(80, 80, RunKind::kPreview8);
    Setting s;
    s.remove = 6;
    s.black = 0;
    s.backdrop = {0, 0, 0};
    Apply(s, &rig);
    LayCell(0, 0, 40);
    LayCell(0, 1, 80);
    LayCell(1, 0, 120);
    LayCell(1, 1, 240);
    // Column 3 stands at 3 * 20 / 80 - 0.5 = 0.25, row 4 at 0.5: 40 * 0.375 + 80 * 0.125 + 120 * 0.375 +
    // 240 * 0.125 = 100.
    EXPECT_TRUE(BackdropIs(&rig, 3, 4, {50, 100, 25}));
    EXPECT_FALSE(BackdropIs(&rig, 3, 4, {50, 101, 25}));
    EXPECT_FALSE(BackdropIs(&rig, 3, 4, {51, 100, 25}));
    EXPECT_FALSE(BackdropIs(&rig, 3, 4, {50, 100, 24}));
    // Exchanged: row 3, column 4: 40 * 0.375 + 80 * 0.375 + 120 * 0.125 + 240 * 0.125 = 90.
    gBackdropGrid.gridB[kGridSide] = gBackdropGrid.gridB[1];
    EXPECT_FALSE(BackdropIs(&rig, 4, 3, {45, 90, 22}));  // blue is 21.25 now
    EXPECT_TRUE(BackdropIs(&rig, 4, 3, {45, 90, 21}));
    // The outer half cell of the near edges takes the first cell alone: column 2 is the last to.
    EXPECT_TRUE(BackdropIs(&rig, 2, 0, {20, 40, 10}));
    EXPECT_TRUE(BackdropIs(&rig, 0, 2, {20, 40, 10}));
    // Past 18 the cell 18 counts alone, never 19: column 75 stands at 18.25, column 73 at 17.75.
    LayCell(18, 18, 200);
    LayCell(18, 17, 120);
    LayCell(18, 19, 4000);
    LayCell(19, 18, 4000);
    LayCell(19, 19, 4000);
    EXPECT_TRUE(BackdropIs(&rig, 75, 79, {100, 200, 50}));
    EXPECT_TRUE(BackdropIs(&rig, 79, 74, {100, 200, 50}));
    EXPECT_TRUE(BackdropIs(&rig, 73, 78, {90, 180, 45}));  // 120 * 0.25 + 200 * 0.75
}

TEST(BackdropLookup, AdjustsAndLimitsTo255Levels) {
    Setting s;
    s.remove = 6;
    s.black = 0;
    s.topAlpha = 255;
    s.adjust = 50;
    s.backdrop = {100, 400, 200};
    EXPECT_EQ(Key(s, {50, 200, 100}), kPlain);
    s.adjust = 150;
    s.backdrop = {60, 200, 180};  // 90, 300, 270
    EXPECT_EQ(Key(s, {90, 255, 255}), kPlain);
    EXPECT_NE(Key(s, {90, 254, 255}), kPlain);
    EXPECT_NE(Key(s, {90, 255, 254}), kPlain);
    s.kind = RunKind::kFull16;
    s.topAlpha = kMaxSample16;
    s.adjust = 120;
    s.backdrop = {5000, 30000, 10000};  // green 36000, limited to 255 * 128 = 32640 and not to 32767
    EXPECT_EQ(Key(s, {6000, 32640, 12000}), kPlain);
    EXPECT_NE(Key(s, {6000, 32767, 12000}), kPlain);  // 127 / 128 of a level off
}

TEST(Fetch, GuardsKeyAndThirdChannelAndLeavesAlpha) {
    for (const bool blue : {false, true}) {
        EngineRig rig(3, 1, RunKind::kFull16);
        Apply(SearchAlone(), &rig);
        rig.globals.FlagBlueLogic = blue;
        rig.globals.FlagShowSelect = 1;  // with edge blending on, no writer comes
        rig.globals.FlagRealityInteg = 1;
        const Plane key = blue ? kTopB : kTopG, third = blue ? kTopG : kTopB;
        rig.Fill(kTopR, 40000);
        rig.Set(key, 0, 0);
        rig.Set(key, 1, 40001);
        rig.Set(key, 2, 1);
        rig.Set(third, 0, 32768);
        rig.Set(third, 1, 0);
        rig.Set(third, 2, 32767);
        const int alpha = rig.Get(kOutA, 1);
        rig.Key();
        const Plane outKey = blue ? kOutB : kOutG, outThird = blue ? kOutG : kOutB;
        for (int i = 0; i < 3; ++i) EXPECT_EQ(rig.Get(kOutR, i), 40000);
        EXPECT_EQ(rig.Get(outKey, 0), 1);
        EXPECT_EQ(rig.Get(outKey, 1), 40001);
        EXPECT_EQ(rig.Get(outKey, 2), 1);
        EXPECT_EQ(rig.Get(outThird, 0), 32767);
        EXPECT_EQ(rig.Get(outThird, 1), 0);
        EXPECT_EQ(rig.Get(outThird, 2), 32767);
        EXPECT_EQ(rig.Get(kOutA, 1), alpha);
    }
}

TEST(Gate, NearlyTransparentPixelsAreNotKeyed) {
    Setting s;
    s.kind = RunKind::kFull8;
    s.topAlpha = 12;  // 0.047
    EXPECT_EQ(Key(s, {50, 200, 100}), (Keyed{50, 200, 100, 0}));
    s.topAlpha = 13;  // 0.051
    EXPECT_EQ(Key(s, {50, 200, 100}), kPlain);
    s = At16Bits({});
    s.topAlpha = 1638;  // 0.04999: 1638 * 1638 / 32767 = 81.9
    EXPECT_EQ(Key(s, {6400, 25600, 12800}), (Keyed{6400, 25600, 12800, 81}));
    s.topAlpha = 1639;
    EXPECT_EQ(Key(s, {6400, 25600, 12800}), kPlain);
}

TEST(Gate, OriginalPhotoIsNotKeyed) {
    EngineRig rig(1, 1, RunKind::kFull8);
    Apply({}, &rig);
    rig.globals.FlagOrgPhoto = 1;
    rig.Set(kTopR, 0, 50);
    rig.Set(kTopG, 0, 200);
    rig.Set(kTopB, 0, 100);
    rig.Key();
    EXPECT_EQ(rig.Get(kOutG, 0), 200);
    EXPECT_EQ(rig.Get(kOutA, 0), 255);
}

// ---- Special cases ----------------------------------------------------------------------------------------

// The shape case leaves (100, 255, 0), of spread sqrt(100^2 + 255^2 + 155^2) = 314.7, and the wide pull makes
// of it (149.5, 255 less a rounding, 81.5).
constexpr Keyed kByShape{149, 254, 81, 0};

TEST(SpecialCases, PlainBackdropLiesWithinFourTenthsOfALevel) {
    Setting s;
    s.remove = 6;
    s.black = 0;
    const auto at = [&](const Rgb& backdrop) {
        s.backdrop = backdrop;
        return Key(s, {50, 200, 100});
    };
    EXPECT_EQ(at({50, 200, 100}), kPlain);
    EXPECT_EQ(at({50, 199.625, 100}), kPlain);   // 0.375
    EXPECT_NE(at({50, 199.5625, 100}), kPlain);  // 0.4375
    // 0.25 in two channels makes 0.354, in three 0.433.
    EXPECT_EQ(at({50.25, 200, 100.25}), kPlain);
    EXPECT_EQ(at({50.25, 200.25, 100}), kPlain);
    EXPECT_EQ(at({50, 200.25, 100.25}), kPlain);
    EXPECT_NE(at({50.25, 200.25, 100.25}), kPlain);
    // Black as it is, it is rescued where it lies below the backdrop's green: alpha (1 - 200 / 200.25) / 2.
    s.black = 20;
    EXPECT_EQ(at({50.25, 200.25, 100}).a, Fine((1 - 200 / 200.25) / 2));
    s.black = 0;
    // At 5 and below the case is off, and the shape takes the pixel.
    s.remove = 5;
    EXPECT_EQ(at({50, 200, 100}), kByShape);
    // At 16 bits the level is 128 samples: 0.4 of it is 51.2.
    s.remove = 6;
    s = At16Bits(s);
    EXPECT_EQ(Key(s, {6400, 25651, 12800}), kPlain);
    EXPECT_NE(Key(s, {6400, 25652, 12800}), kPlain);
}

TEST(SpecialCases, DarkAndColourlessKeepsItsAlpha) {
    // Top alpha 128 / 255 = 0.50196; with the contrast of 1.4, 0.50274, and 64.35 of 128.
    Setting s;
    s.kind = RunKind::kPreview8;
    s.topAlpha = 128;
    constexpr int kKept = 64, kOpaque = 128;
    // Chroma sqrt(1 + 1); green is cut to 30, and grey stays as it is.
    EXPECT_EQ(Key(s, {30, 31, 30}), (Keyed{30, 30, 30, kKept}));
    // Cut to the larger of the two: (29, 30, 30) of spread 12, whose red the pulls take to 29.86.
    EXPECT_EQ(Key(s, {29, 31, 30}), (Keyed{29, 30, 30, kKept}));
    EXPECT_EQ(Key(s, {30, 31, 29}), (Keyed{30, 30, 29, kKept}));
    // Chroma below 20 * 0.15 = 3. The search would stop at once, with the pixel opaque.
    EXPECT_EQ(AlphaOf(s, {31, 33, 33}), kKept);    // 2
    EXPECT_EQ(AlphaOf(s, {30, 33, 33}), kOpaque);  // 3
    EXPECT_EQ(AlphaOf(s, {33, 33, 30}), kOpaque);
    // The backdrop's green stands 150 above its red, and must stand above the largest channel.
    EXPECT_EQ(AlphaOf(s, {149, 149, 149}), kKept);
    EXPECT_EQ(AlphaOf(s, {150, 149, 149}), kOpaque);
    EXPECT_EQ(AlphaOf(s, {149, 149, 150}), kOpaque);
    // A backdrop without red leaves no line to measure by: this case is decided all the same.
    s.backdrop.r = 0;
    EXPECT_EQ(AlphaOf(s, {30, 31, 30}), kKept);
}

TEST(SpecialCases, BackdropByShapeLiesNearTheLineThroughBlack) {
    Setting s;
    EXPECT_EQ(Key(s, {25, 100, 50}), kByShape);  // half the backdrop
    // At 16 bits (100, 32767, 0), of spread 361.5: pulled to (9963.7, 32767, 9893.9).
    EXPECT_EQ(Key(At16Bits(s), {3200, 12800, 6400}), (Keyed{9963, 32767, 9893, 0}));
    // (50, 200, 140): by green 40; by red 40 * 50 / 200 = 10; by blue (t 1.4) sqrt(20^2 + 80^2) = 82.46,
    // times 100 / 200 = 41.23. Together 91.23, less 91.23 * 60 / 255: 69.77.
    s.remove = 70;
    EXPECT_EQ(Key(s, {50, 200, 140}), kByShape);
    s.remove = 69;
    EXPECT_NE(Key(s, {50, 200, 140}), kByShape);
    // (90, 160, 80): by green (t 0.8) 50; by red (t 1.8) sqrt(200^2 + 100^2) = 223.61, times 50 / 200
    // = 55.90; by blue (t 0.8) 50 * 100 / 200 = 25. Together 130.90, less 130.90 * 70 / 255: 94.97.
    s.remove = 95;
    EXPECT_EQ(Key(s, {90, 160, 80}), kByShape);
    s.remove = 94;
    EXPECT_NE(Key(s, {90, 160, 80}), kByShape);
    // Chroma above twice the slider: sqrt(30^2 + 40^2) = 50.
    s.remove = 1000;
    s.black = 24;
    EXPECT_EQ(Key(s, {70, 100, 60}), kByShape);
    s.black = 25;
    EXPECT_NE(Key(s, {70, 100, 60}), kByShape);
}

// ---- Search -----------------------------------------------------------------------------------------------

TEST(AlphaSearch, UnmixesWhereTheForegroundStopsBeingGreen) {
    // D = (75, -40, -20). Green is 40 below red from 190 < 115 / a on, at 0.60526; near the third channel
    // from 0.25; at the half-way point from 125 <= 67.5 / a, 0.54. 0.6 stops the coarse search, 0.605 the
    // fine one. Unmixed (173.97, 133.88, 66.94); times 285 / 307.85 to keep red plus green: (161.05,
    // 123.95, 61.97), of spread 252.3; the wide pull makes (161.05, 136.67, 95.95) of it.
    EXPECT_EQ(Key(SearchAlone(), {125, 160, 80}), (Keyed{161, 136, 95, Fine(0.605)}));
    // At 16 bits the same but for a maximum of 32767, which is 255.99 levels: spread 253.2.
    EXPECT_EQ(Key(At16Bits(SearchAlone()), {16000, 20480, 10240}), (Keyed{20614, 17492, 12276, 19824}));
    // D = (15, -81, -40): the half-way test stops from 125 <= 68.5 / a on: 0.545. Unmixed (77.5, 51.4, 26.6),
    // darker than seen, and stays; pulled by its spread of 309.6 to (77.5, 59.8, 43.0).
    EXPECT_EQ(Key(SearchAlone(), {65, 119, 60}), (Keyed{77, 59, 42, Fine(0.545)}));
}

TEST(AlphaSearch, SliderShiftsBothLeads) {
    Setting s = SearchAlone();
    s.alter = 110;  // 30 below red: 180 < 115 / a, 0.6389
    EXPECT_EQ(AlphaOf(s, {125, 160, 80}), Fine(0.635));
    // D = (70, -51, 10): near the third channel by 30 from 70 < 61 / a on, 0.8714; by 10 only from 0.678 on,
    // after the half-way test at 125 <= 91 / a, 0.728.
    EXPECT_EQ(AlphaOf(s, {120, 149, 110}), Fine(0.87));
    s.alter = 90;
    EXPECT_EQ(AlphaOf(s, {120, 149, 110}), Fine(0.725));
}

TEST(AlphaSearch, RedSideStops) {
    const Setting green = SearchAlone(), blue = WithBlueLogic(green);
    // D = (70, -51, 10). Near the third channel by 20 from 80 < 61 / a on, 0.7625. Under blue logic the fine
    // search waits for 40 above it, 140 < 61 / a, and is stopped by red: 190 < 121 / a, 0.6368.
    EXPECT_EQ(AlphaOf(green, {120, 149, 110}), Fine(0.76));
    EXPECT_EQ(AlphaOf(blue, {120, 149, 110}), Fine(0.635));
    // Backdrop (50, 200, 60), D = (50, -40, 19). Half-way from 145 <= 74.5 / a on, 0.5138; by red from
    // 190 < 90 / a, 0.4737. Under blue logic there is no half-way test on this side.
    const auto at60 = [](Setting s) {
        s.backdrop.b = 60;
        return s;
    };
    EXPECT_EQ(AlphaOf(at60(green), {100, 160, 79}), Fine(0.51));
    EXPECT_EQ(AlphaOf(at60(blue), {100, 160, 79}), Fine(0.47));
    // D = (70, -90, 0): near blue at once (110 < 120), so the coarse search ends at 1 and is not stepped
    // back. Under blue logic the fine search goes on to 190 < 160 / a, 0.842.
    EXPECT_EQ(AlphaOf(green, {120, 110, 100}), Fine(1));
    EXPECT_EQ(AlphaOf(blue, {120, 110, 100}), Fine(0.84));
}

TEST(AlphaSearch, BlueSideStops) {
    // The mirror of the red side's second case: backdrop (60, 200, 50), D = (19, -40, 50). By 20 from 130 <
    // 90 / a on, 0.6923; no half-way test. Under blue logic by -40 from 0.4737, and half-way from 0.5138.
    Setting green = SearchAlone();
    green.backdrop = {60, 200, 50};
    EXPECT_EQ(AlphaOf(green, {79, 160, 100}), Fine(0.69));
    EXPECT_EQ(AlphaOf(WithBlueLogic(green), {79, 160, 100}), Fine(0.51));
}

TEST(AlphaSearch, CoarseLeadsAreLopsidedUnderBlueLogic) {
    // darkGain 2 keeps the first estimates low. Red side, backdrop (50, 200, 60), D = (79, 5, 54): red is 40
    // ahead from 74 / 190 = 0.3895 down to 1/3, where it has long met its limit of 255 and green reaches 215.
    // No step of the coarse search falls in between. But its lead of 20 over the third channel stops it at
    // 0.4 (120 < 49 / a, 0.408), and the fine search finds 0.385.
    Setting red = WithBlueLogic(SearchAlone());
    red.meanG = kGain2;
    red.backdrop = {50, 200, 60};
    EXPECT_EQ(AlphaOf(red, {129, 205, 114}), Fine(0.385));
    // With green logic the half-way test, 145 <= 61.5 / a, stops it at 0.424.
    Setting green = red;
    green.blue = false;
    EXPECT_EQ(AlphaOf(green, {129, 205, 114}), Fine(0.42));

    // Blue side, backdrop (60, 200, 50), D = (-20, 5, 79): the same stretch for the third channel, whose lead
    // is -40 here in the coarse search too: it steps over it and runs out. Alpha is the first estimate of
    // blue, (129 - 100) / (255 - 100).
    Setting blueSide = red;
    blueSide.backdrop = {60, 200, 50};
    EXPECT_EQ(AlphaOf(blueSide, {40, 205, 129}), Fine(29 / 155.));
    // D = (-20, 4, 67): the stretch from 63 / 190 = 0.3316 to 4 / 15 has the coarse step 0.3 in it.
    EXPECT_EQ(AlphaOf(blueSide, {40, 204, 117}), Fine(0.33));
}

TEST(AlphaSearch, StopsWhereTheForegroundGoesBlack) {
    // Under blue logic, with darkGain 2. D = (-40, -140, -100): green is below 5 from 140 / 195 = 0.718 on,
    // red has been since 0.889. Then `a` stays clear of the estimates 1 - 2 * 10 / 50 and 1 - 60 / 200 = 0.7.
    // Red would be 10 - 0.285 * 50 = -4.25, so the seen colour rises by 4.25; then the third channel lacks
    // 24.25: (38.5, 88.5, 28.5). Unmixed (33.92, 44.06, 0), times 70 / 77.97, of spread 327.1: pulled to
    // (33.31, 39.55, 12.45).
    Setting s = WithBlueLogic(SearchAlone());
    s.meanG = kGain2;
    EXPECT_EQ(Key(s, {10, 60, 0}), (Keyed{33, 39, 12, Fine(0.715)}));
    // The mirror: red lacks 28.5 and the third channel then nothing. Red plus green has not grown:
    // (0, 44.06, 33.92) stays, and is pulled to (13.87, 44.06, 37.11).
    EXPECT_EQ(Key(BlueSide(s), {0, 60, 10}), (Keyed{13, 44, 37, Fine(0.715)}));
    // On the red side red must be black too, and not the third channel: with D = (-14, -140, -100) red stays
    // above 5 down to 0.311, and green's estimate of 0.7 is what holds.
    EXPECT_EQ(AlphaOf(s, {36, 60, 0}), Fine(0.7));
    // At 16 bits 5 levels are 640 samples.
    Setting deep = At16Bits(s);
    deep.meanG = 0;
    EXPECT_EQ(AlphaOf(deep, {1280, 7680, 0}), 23428);  // 32767 * 0.715
}

TEST(AlphaSearch, AlphaIsAtLeastTheFirstEstimates) {
    // Red side, backdrop (100, 200, 50), D = (-60, -10, -20): no stop before green falls under 20 at 0.0556.
    Setting s = BlueSide(SearchAlone());
    EXPECT_EQ(AlphaOf(s, {40, 190, 30}), Fine(0.6));  // 1 - 40 / 100
    s.meanG = kGain15;
    EXPECT_EQ(AlphaOf(s, {40, 190, 30}), Fine(0.4));  // 1 - 40 / 100 * 1.5
    // The third channel lies 25 below and counts for nothing; the mirror does the same by its red.
    s.meanG = kGain2;
    EXPECT_EQ(AlphaOf(s, {40, 190, 12}), Fine(0.2));
    Setting mirror = SearchAlone();
    EXPECT_EQ(AlphaOf(mirror, {30, 190, 40}), Fine(0.6));
    mirror.meanG = kGain15;
    EXPECT_EQ(AlphaOf(mirror, {30, 190, 40}), Fine(0.4));

    // Where the searches run on: blue logic, and a slider that puts the leads 100 levels off.
    s = WithBlueLogic(BlueSide(SearchAlone()));
    s.alter = 0;
    // The third channel above its backdrop: (90 - 50) / (255 - 50).
    EXPECT_EQ(AlphaOf(s, {100, 195, 90}), Fine(40 / 205.));
    // And below it: 1 - 40 / 50 does not count. Green does: 1 - 195 / 200.
    EXPECT_EQ(AlphaOf(s, {100, 195, 40}), Fine(0.025));
    // Green above its backdrop: (240 - 200) / (255 - 200).
    EXPECT_EQ(AlphaOf(s, {100, 240, 50}), Fine(40 / 55.));
}

TEST(AlphaSearch, EstimatesKeepTheir255At16Bits) {
    // Backdrop and pixel share red and blue; green is 4000 above. In levels that would be 31 of 99 and alpha
    // 0.316, but (24000 - 20000) / (255 - 20000) is negative, and nothing keeps the pixel.
    Setting s = SearchAlone();
    s.kind = RunKind::kFull16;
    s.topAlpha = kMaxSample16;
    s.backdrop = {12800, 20000, 6400};
    EXPECT_EQ(Key(s, {12800, 24000, 6400}), kPlain);
    // Nor do red and the third channel: 5200 above, of 19840 left to 255 levels, and 2600 of 26240. A slider
    // of 0, and blue logic for the latter, let the search run out.
    s.alter = 0;
    EXPECT_EQ(Key(s, {18000, 20000, 6400}), kPlain);
    EXPECT_EQ(AlphaOf(WithBlueLogic(s), {12800, 20000, 9000}), 0);
    // A mean of 15810 = 62 * 255 makes a darkGain of -60: (16000 + 384000) / (255 + 384000) is above 1, and
    // the pixel that would have 0.605 is opaque and as seen.
    s = At16Bits(SearchAlone());
    s.meanG = 15810;
    EXPECT_EQ(AlphaOf(s, {16000, 20480, 10240}), kMaxSample16);
}

TEST(AlphaSearch, EndsAtZeroOnTheRedSideOnly) {
    // The backdrop itself, with the plain case off, stops nowhere and has estimates of 0. Equal channels are
    // on the red side.
    EXPECT_EQ(Key(BlueSide(SearchAlone()), {100, 200, 50}), kPlain);
    Setting equal = SearchAlone();
    equal.backdrop = {100, 200, 100};
    EXPECT_EQ(Key(equal, {100, 200, 100}), kPlain);
    // On the blue side alpha stays at 0.001, too little to unmix by: the seen colour, of spread 238.5, pulled
    // to (102.2, 200, 134.8).
    EXPECT_EQ(Key(SearchAlone(), {50, 200, 100}), (Keyed{102, 200, 134, Fine(0.001)}));
    // Neither contrast nor offset reaches 0.01 and less.
    Setting s = SearchAlone();
    s.select = 150;
    s.scale = 200;
    EXPECT_EQ(AlphaOf(s, {50, 200, 100}), Fine(0.001));
    EXPECT_EQ(AlphaOf(BlueSide(s), {100, 200, 50}), 0);
}

TEST(AlphaSearch, FortyLevelsAheadIsOpaque) {
    // (140, 100, 0): red stands 40 above green and is searched. D = (90, -100, -100): 190 < 190 / a stops the
    // fine search at 0.995; above 0.98 the colour stays as seen.
    EXPECT_EQ(Key(SearchAlone(), {140, 100, 0}), (Keyed{140, 100, 1, Fine(0.995)}));
    EXPECT_EQ(Key(SearchAlone(), {141, 100, 0}), (Keyed{141, 100, 1, Fine(1)}));
    const Setting blueSide = WithBlueLogic(BlueSide(SearchAlone()));
    EXPECT_EQ(AlphaOf(blueSide, {0, 100, 140}), Fine(0.995));
    EXPECT_EQ(AlphaOf(blueSide, {0, 100, 141}), Fine(1));
    const Setting deep = At16Bits(SearchAlone());
    EXPECT_EQ(AlphaOf(deep, {17920, 12800, 0}), 32603);  // 0.995
    EXPECT_EQ(AlphaOf(deep, {17921, 12800, 0}), 32767);
}

TEST(AlphaSearch, SurvivesBackdropsThatAreNoColour) {
    // A slider of 0 makes the backdrop black. Green (100, 100, 100) stops at once and is grey. (50, 200, 50)
    // has the estimate 200 / 255; unmixing and the keeping of red plus green cancel out.
    Setting s = SearchAlone();
    s.adjust = 0;
    EXPECT_EQ(Key(s, {100, 100, 100}), (Keyed{100, 100, 100, Fine(1)}));
    EXPECT_EQ(AlphaOf(s, {50, 200, 50}), Fine(200 / 255.));
    // Without a number for blue, the test against red alone stops (125, 160, 80); no pull knows its spread,
    // and blue goes out as 0.
    s = SearchAlone();
    s.backdrop.b = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(Key(s, {125, 160, 80}), (Keyed{161, 123, 0, Fine(0.605)}));
}

// ---- Corrections ------------------------------------------------------------------------------------------

TEST(Corrections, PullTowardsGreyByTheSpread) {
    // These stop the search at once: opaque, foreground as seen. (100, 110, 95) has a spread of 18.71 * 255 /
    // 110 = 43.37. Wide: (104.21, 110, 101.32); narrow with the old spread: (104.98, 110, 102.47).
    const Setting s = SearchAlone();
    EXPECT_EQ(Key(s, {100, 110, 95}), (Keyed{104, 110, 102, Fine(1)}));
    // Five levels above green, by red or by blue, the wide pull does not run, and the narrow one alone makes
    // (115, 112.95, 112.13) of a spread of 20.47. Four above, both: (114, 113.21, 112.82).
    EXPECT_EQ(Key(s, {115, 110, 108}), (Keyed{115, 112, 112, Fine(1)}));
    EXPECT_EQ(Key(s, {114, 110, 108}), (Keyed{114, 113, 112, Fine(1)}));
    EXPECT_EQ(Key(s, {108, 110, 115}), (Keyed{112, 112, 115, Fine(1)}));
    EXPECT_EQ(Key(s, {108, 110, 114}), (Keyed{112, 113, 114, Fine(1)}));
    // At 16 bits (8, 5, 0) levels have a spread of 506.8 and stay; (7, 5, 0) one of 452.2: pulled.
    const Setting deep = At16Bits(s);
    EXPECT_EQ(Key(deep, {1024, 640, 0}), (Keyed{1024, 640, 1, 32767}));
    EXPECT_EQ(Key(deep, {896, 640, 0}), (Keyed{896, 708, 240, 32767}));
}

TEST(Corrections, RemoveWhatIsStillGreen) {
    // Before black, (50, 200, 60) has alpha 200 / 255, and is pulled to (100.89, 200, 107.50). It goes where
    // both 150.89 and 157.50, less the slider, lie below 200: from -42 on for blue, from -49 on for red.
    Setting s = SearchAlone();
    s.adjust = 0;
    const auto with = [&](int remove, const Rgb& seen) {
        s.remove = remove;
        return AlphaOf(s, seen);
    };
    EXPECT_EQ(with(-43, {50, 200, 60}), Fine(200 / 255.));
    EXPECT_EQ(with(-42, {50, 200, 60}), 0);
    EXPECT_EQ(with(-43, {60, 200, 50}), Fine(200 / 255.));
    EXPECT_EQ(with(-42, {60, 200, 50}), 0);
    EXPECT_EQ(with(-50, {50, 200, 50}), Fine(200 / 255.));  // 100.41 both
    EXPECT_EQ(with(-49, {50, 200, 50}), 0);
    // Alpha of 0.8 and more is safe.
    EXPECT_EQ(with(40, {50, 203, 50}), 0);
    EXPECT_EQ(with(40, {50, 204, 50}), Fine(0.8));
}

TEST(Corrections, RescueDarkPixels) {
    // The black pixels of the search: (33.31, 39.55, 12.45), together 85.3, against twice the slider.
    // Rescued, alpha is ((1 - 60 / 200) + (1 - 10 / 50)) / 2, and green comes down to red.
    Setting s = WithBlueLogic(SearchAlone());
    s.meanG = kGain2;
    s.black = 42;
    EXPECT_EQ(Key(s, {10, 60, 0}), (Keyed{33, 39, 12, Fine(0.715)}));
    s.black = 43;
    EXPECT_EQ(Key(s, {10, 60, 0}), (Keyed{33, 33, 12, Fine(0.75)}));
    // The mirror, (13.87, 44.06, 37.11) with 95.03: green comes down to blue.
    s.black = 47;
    EXPECT_EQ(Key(BlueSide(s), {0, 60, 10}), (Keyed{13, 44, 37, Fine(0.715)}));
    s.black = 48;
    EXPECT_EQ(Key(BlueSide(s), {0, 60, 10}), (Keyed{13, 37, 37, Fine(0.75)}));
    // Only below the backdrop's green. (20, 30, 20) is opaque and pulled to (23.92, 30, 23.92).
    s = SearchAlone();
    s.black = 50;
    s.backdrop = {10, 31, 10};
    EXPECT_EQ(Key(s, {20, 30, 20}), (Keyed{23, 23, 23, Fine(1)}));
    s.backdrop = {10, 30, 10};
    EXPECT_EQ(Key(s, {20, 30, 20}), (Keyed{23, 30, 23, Fine(1)}));
}

TEST(Corrections, RescueNoStrongColours) {
    // Backdrop (100, 200, 10), blue logic, D = (-40, -76, 40): green is 40 below the third channel from
    // 230 < 116 / a on: 0.5. Unmixed (20, 48, 90), of spread 458.5, pulled to (38.59, 59.15, 90): blue stands
    // more than ten above green.
    Setting s = WithBlueLogic(SearchAlone());
    s.black = 100;
    s.backdrop = {100, 200, 10};
    EXPECT_EQ(Key(s, {60, 124, 50}), (Keyed{38, 59, 90, Fine(0.5)}));
    // The mirror with green logic, by red.
    s.blue = false;
    s.backdrop = {10, 200, 100};
    EXPECT_EQ(Key(s, {50, 124, 60}), (Keyed{90, 59, 38, Fine(0.5)}));
}

TEST(Corrections, ContrastAndOffset) {
    Setting s = SearchAlone();
    const auto with = [&](int scale, int select) {
        s.scale = scale;
        s.select = select;
        return AlphaOf(s, {125, 160, 80});  // 0.605
    };
    EXPECT_EQ(with(70, 100), Fine(0.105 * 1.4 + 0.5));
    EXPECT_EQ(with(70, 120), Fine(0.105 * 1.4 + 0.7));
    EXPECT_EQ(with(70, 80), Fine(0.105 * 1.4 + 0.3));
    EXPECT_EQ(with(0, 101), Fine(0.51));
    EXPECT_EQ(with(70, 200), Fine(1));
    EXPECT_EQ(with(50, 0), 0);
    s.select = 0;  // opaque pixels are out of reach
    EXPECT_EQ(AlphaOf(s, {141, 100, 0}), Fine(1));
}

// ---- False colours ----------------------------------------------------------------------------------------

Setting View(Setting s) {
    s.view = true;
    return s;
}

struct Colour {
    int r, g, b;
};

void ExpectView(const Setting& s, const Rgb& seen, const Colour& c) {
    const Keyed k = Key(View(s), seen);
    EXPECT_EQ(k.r, c.r);
    EXPECT_EQ(k.g, c.g);
    EXPECT_EQ(k.b, c.b);
    EXPECT_EQ(k.a, s.topAlpha);
}

TEST(FalseColours, PaintKeyedPixels) {
    // (50, 150, 50), pulled by its spread of 240.4 to (84.7, 150, 84.7).
    const Colour dark{84, 150, 84};
    ExpectView({}, {50, 200, 100}, dark);                       // plain backdrop
    ExpectView({}, {25, 100, 50}, dark);                        // by shape
    ExpectView(BlueSide(SearchAlone()), {100, 200, 50}, dark);  // by search
    // Above the backdrop's green (100, 255, 100), pulled by 219.2 to (155.07, 255, 155.07).
    Setting s;
    s.backdrop.g = 199.75;
    ExpectView(s, {50, 200, 100}, {155, 255, 155});

    // At 16 bits plain backdrop is painted unscaled, the others times 128, as far as the range goes.
    const Colour scaled{10841, 19200, 10841};
    ExpectView(At16Bits({}), {6400, 25600, 12800}, dark);
    ExpectView(At16Bits({}), {3200, 12800, 6400}, scaled);
    ExpectView(At16Bits(BlueSide(SearchAlone())), {12800, 25600, 6400}, scaled);
    ExpectView(At16Bits({}), {7040, 28160, 14080}, {32767, 32767, 32767});
}

TEST(FalseColours, PaintTheMatte) {
    // Alpha 0.605: grey 121, red 55 * 0.605 more, pulled by its spread of 99.2 to (154.3, 134.3, 134.3).
    Setting s = SearchAlone();
    ExpectView(s, {125, 160, 80}, {154, 134, 134});
    // With contrast and offset 0.105 * 2 + 0.5 + 0.1 = 0.81: (206.55, 162, 162), to (206.55, 179.8, 179.8).
    s.scale = 100;
    s.select = 110;
    ExpectView(s, {125, 160, 80}, {206, 179, 179});
    // The mirror: 20 above blue from 130 < 115 / a on, 0.88: (176, 176, 224.4), to (195.4, 195.4, 224.4).
    s = BlueSide(SearchAlone());
    ExpectView(s, {80, 160, 125}, {195, 195, 224});
    // 0.995 is painted opaque, whatever the contrast.
    s = SearchAlone();
    s.select = 0;
    ExpectView(s, {140, 100, 0}, {40, 40, 200});
    ExpectView(At16Bits(s), {17920, 12800, 0}, {5120, 5120, 25600});
    // Dark and colourless is not painted: green cut, as without the view.
    s = {};
    s.topAlpha = 255;
    ExpectView(s, {29, 31, 30}, {29, 30, 30});
    // The tint does not grow with the depth: 19824 / 32767 = 0.605 and 15488 for grey, red 33 more.
    s = At16Bits(SearchAlone());
    ExpectView(s, {16000, 20480, 10240}, {15521, 15520, 15520});
}

// ---- The row loop -----------------------------------------------------------------------------------------

TEST(RowLoop, ReportsEveryTwentiethInStepsOfTwentyRows) {
    // 100 / 20 = 5: every sixth row is looked at, 5, 11, 17, 23 ...; the first of each twenty calls.
    EngineRig rig(2, 100, RunKind::kFull8);
    rig.AnalyseAndKey();
    ASSERT_EQ(rig.progress.size(), 4u);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(rig.progress[i].done, i + 1);
        EXPECT_EQ(rig.progress[i].total, 5);
    }
    EXPECT_EQ(rig.abortCalls, 4);
    EXPECT_EQ(rig.globals.progressPercent, 100);

    // 59 / 20 = 2: rows 2, 5, 8 ...; the second call in row 41.
    EngineRig odd(2, 59, RunKind::kFull8);
    odd.abortAtCall = 2;
    odd.Key();
    EXPECT_EQ(odd.globals.progressPercent, 69);  // 4100 / 59

    // 40 / 20 = 2: rows 2, 5, ... 20.
    EngineRig forty(2, 40, RunKind::kFull16);
    forty.Key();
    EXPECT_EQ(forty.progress.size(), 1u);
    for (const RunKind kind : {RunKind::kPreview8, RunKind::kFull8}) {
        EngineRig quiet(2, kind == RunKind::kPreview8 ? 100 : 20, kind);
        quiet.Key();
        EXPECT_EQ(quiet.progress.size(), 0u);
        EXPECT_EQ(quiet.abortCalls, 0);
        EXPECT_EQ(quiet.globals.progressPercent, 100);
    }
}

TEST(RowLoop, AbortLeavesTheRestAsItWas) {
    EngineRig rig(2, 100, RunKind::kFull8);
    rig.Fill(kTopG, 9);
    rig.globals.FlagOrgPhoto = 1;
    rig.globals.FlagOutputAlpha = 1;
    rig.abortAtCall = 2;  // in row 41
    rig.Key();
    EXPECT_EQ(rig.abortCalls, 2);
    EXPECT_EQ(rig.globals.progressPercent, 41);
    EXPECT_EQ(rig.result, 0);
    EngineRig untouched(2, 100, RunKind::kFull8);
    for (Plane plane : kOutputs) {
        for (int i = 82; i < 200; ++i) ASSERT_EQ(rig.Get(plane, i), untouched.Get(plane, i)) << i;
    }
    EXPECT_EQ(rig.Get(kOutG, 81), 9);
    EXPECT_EQ(rig.LiveBlocks(), 0);
}

TEST(RowLoop, RingLivesForOneRun) {
    EngineRig rig(31, 9, RunKind::kPreview8);
    rig.Key();
    ASSERT_EQ(rig.blocks.size(), 7u);
    for (std::size_t bytes : rig.blocks) EXPECT_EQ(bytes, 7u * 31 * 8 + 8);
    EXPECT_EQ(rig.freedBlocks, (std::vector<std::size_t>{0, 1, 2, 3, 4, 5, 6}));

    for (int n = 1; n <= 7; ++n) {
        EngineRig poor(31, 9, RunKind::kPreview8);
        poor.failBlockAt = n;
        EXPECT_ANY_THROW(poor.Key());
        EXPECT_EQ(poor.LiveBlocks(), 0) << "with allocation " << n << " failing";
    }
}

}  // namespace

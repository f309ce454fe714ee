// The per-pixel pass: lookup, fetch and gate, alpha search, corrections, false colours, and the reports of
// the row loop. One pixel at a time is keyed before a backdrop laid into the grid by hand. Colours are
// logical: g is the key channel.
//
// Unless a case says otherwise the backdrop is (50, 200, 100) on the red side and (100, 200, 50) on the blue
// side. With D the seen colour less the backdrop, the candidate foreground at a is backdrop + D / a.
#include <gtest/gtest.h>

#include <algorithm>

#include "engine/keying.h"
#include "rig/engine_rig.h"
#include "rig/engine_scenes.h"
#include "spelled_picture.h"

namespace {

struct Rgb {
    double r, g, b;
};

// In a 16-bit preview any top alpha is taken, and this one shows alpha in steps of 1 / 50003. It counts as
// 196 on entry.
constexpr int kFineAlpha = 50003;

int Fine(double alpha) {
    return static_cast<int>(kFineAlpha * alpha);
}

Pixel Alpha(double alpha) {
    return {kAny, kAny, kAny, Fine(alpha)};
}

using Slider = std::int32_t Globals::*;
constexpr Slider kAdjust = &Globals::SliderAdjBGLevel, kRemove = &Globals::SliderRemoveGreen,
                 kBlack = &Globals::SliderRestoreBlack, kAlter = &Globals::SliderAlterGreen,
                 kSelect = &Globals::SliderSelectTransp, kScale = &Globals::SliderScaleTransp;

// What is fixed while a pixel is keyed: depth, parameters, backdrop.
struct Setting {
    RunKind kind = RunKind::kPreview16;
    int topAlpha = kFineAlpha;
    unsigned flags = 0;
    Rgb backdrop{50, 200, 100};
    double meanG = 255;  // which makes a darkGain of 1
    std::vector<std::pair<Slider, int>> sliders{};

    Setting With(Slider slider, int value) const {
        Setting changed = *this;
        changed.sliders.emplace_back(slider, value);
        return changed;
    }
    template <class T>
    Setting With(T Setting::*field, T value) const {
        Setting changed = *this;
        changed.*field = value;
        return changed;
    }
    Setting Before(const Rgb& colour) const { return With(&Setting::backdrop, colour); }
    Setting BlueSide() const { return Before({100, 200, 50}); }
    Setting BlueLogic() const { return With(&Setting::flags, flags | kBlue); }
    Setting View() const { return With(&Setting::flags, flags | kView); }
    Setting At(RunKind depth, int alpha) const {
        return With(&Setting::kind, depth).With(&Setting::topAlpha, alpha);
    }
    Setting At16Bits() const {
        return At(RunKind::kFull16, kMaxSample16)
            .Before({backdrop.r * 128, backdrop.g * 128, backdrop.b * 128});
    }
};

constexpr auto kMeanG = &Setting::meanG;
constexpr double kGain15 = 127.5, kGain2 = 0;

// Neither the special cases nor the corrections, other than the pulls towards grey, have anything to say.
Setting SearchAlone() {
    return Setting().With(kRemove, -300).With(kBlack, 0).With(kScale, 50);
}

void Apply(const Setting& s, EngineRig* rig) {
    rig->LayBackdrop(s.backdrop.r, s.backdrop.g, s.backdrop.b);
    rig->globals.backdropMeanG = s.meanG;
    for (const auto& [slider, value] : s.sliders) rig->globals.*slider = value;
    // The foreground goes out by itself. The false colours leave the engine through the refined rows alone.
    SetFlags(rig, s.flags | kTransparency | (s.flags & kView ? 0 : kBlend));
}

// The foreground, held to 1 .. maxSample and cut, and topA * alpha, cut. With a view the pixel stands in the
// row whose foreground goes into the picture's first row.
Pixel Key(const Setting& s, const Rgb& seen) {
    EngineRig rig(1, s.flags & kView ? 1 + Radius(s.kind) : 1, s.kind);
    Apply(s, &rig);
    rig.Fill(kTopR, static_cast<std::uint16_t>(seen.r));
    rig.Fill(kTopG, static_cast<std::uint16_t>(seen.g));
    rig.Fill(kTopB, static_cast<std::uint16_t>(seen.b));
    rig.Fill(kTopA, static_cast<std::uint16_t>(s.topAlpha));
    if (s.flags & kBlue) rig.ExchangePlanes(kTopG, kTopB);
    rig.Key();
    if (s.flags & kBlue) rig.ExchangePlanes(kOutG, kOutB);
    return OutPixel(rig, 0);
}

struct Case {
    Setting setting;
    Rgb seen;
    Pixel expected;
    bool same = true;
};

void ExpectKeyed(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        Pixel found = Key(c.setting, c.seen);
        for (std::size_t i = 0; i < found.size(); ++i) {
            if (c.expected[i] == kAny) found[i] = kAny;
        }
        EXPECT_EQ(found == c.expected, c.same)
            << "case " << &c - cases.data() << ", (" << c.seen.r << ", " << c.seen.g << ", " << c.seen.b
            << "): " << testing::PrintToString(c.expected) << ", found " << testing::PrintToString(found);
    }
}

// ---- Lookup, fetch, gate ----------------------------------------------------------------------------------

// A pixel of exactly the backdrop's colour comes out as nothing at all; at a distance of one level it does
// not.
constexpr Pixel kPlain{1, 1, 1, 0};

// The shape case leaves (100, 255, 0), of spread sqrt(100^2 + 255^2 + 155^2) = 314.7, and the wide pull makes
// of it (149.5, 255 less a rounding, 81.5). At 16 bits (100, 32767, 0) has a spread of 361.5.
constexpr Pixel kByShape{149, 254, 81, 0}, kDeepByShape{9963, 32767, 9893, 0};

// The tables differ by known factors, so that each is seen to be looked up by itself.
void LayCell(int row, int column, double g) {
    gBackdropGrid.gridR[row * kGridSide + column] = g / 2;
    gBackdropGrid.gridG[row * kGridSide + column] = g;
    gBackdropGrid.gridB[row * kGridSide + column] = g / 4;
}

TEST(EngineBackdropLookup, InterpolatesBetweenCellsAndStopsAt18) {
    EngineRig rig(80, 80, RunKind::kPreview8);
    Apply(Setting().With(kRemove, 6).With(kBlack, 0).Before({0, 0, 0}), &rig);
    const double corner[2][2] = {{40, 80}, {112, 232}}, far[3] = {120, 200, 4000};
    for (int n = 0; n < 4; ++n) LayCell(n / 2, n % 2, corner[n / 2][n % 2]);
    for (int n = 0; n < 9; ++n) LayCell(17 + n / 3, 17 + n % 3, far[std::max(n / 3, n % 3)]);
    LayCell(18, 17, 120);
    const struct {
        int x, y;
        std::uint16_t r, g, b;
    } pixels[] = {
        // Column 3 stands at 3 * 20 / 80 - 0.5 = 0.25, row 4 at 0.5: 40 * 0.375 + 80 * 0.125 + 112 * 0.375 +
        // 232 * 0.125 = 96. Exchanged: 40 * 0.375 + 80 * 0.375 + 112 * 0.125 + 232 * 0.125 = 88.
        {3, 4, 48, 96, 24},
        {4, 3, 44, 88, 22},
        // The outer half cell of the near edges takes the first cell alone: column 2 is the last to.
        {2, 0, 20, 40, 10},
        {0, 2, 20, 40, 10},
        // Past 18 the cell 18 counts alone, never 19: column 75 stands at 18.25, column 73 at 17.75, which
        // makes 120 * 0.25 + 200 * 0.75.
        {75, 79, 100, 200, 50},
        {79, 74, 100, 200, 50},
        {73, 78, 90, 180, 45},
    };
    for (const auto& p : pixels) {
        const std::int64_t i = p.y * 80 + p.x;
        rig.SetColour(kTopR, i, p.r, p.g, p.b);
        rig.Key();
        EXPECT_EQ(OutPixel(rig, i), kPlain) << "(" << p.x << ", " << p.y << ")";
    }
}

TEST(EngineBackdropLookup, AdjustsAndLimitsTo255Levels) {
    const Setting s = Setting().At(RunKind::kPreview16, 255).With(kRemove, 6).With(kBlack, 0);
    const Setting bright = s.With(kAdjust, 150).Before({60, 200, 180});  // 90, 300, 270
    // Green 36000 is limited to 255 * 128 = 32640 and not to 32767, 127 / 128 of a level off.
    const Setting deep = s.At16Bits().With(kAdjust, 120).Before({5000, 30000, 10000});
    ExpectKeyed({{s.With(kAdjust, 50).Before({100, 400, 200}), {50, 200, 100}, kPlain},
                 {bright, {90, 255, 255}, kPlain},
                 {bright, {90, 254, 255}, kPlain, false},
                 {deep, {6000, 32640, 12000}, kPlain},
                 {deep, {6000, 32767, 12000}, kDeepByShape}});
}

TEST(EngineGate, NearlyTransparentPixelsAreNotKeyed) {
    const auto bytes = [](int alpha) { return Setting().At(RunKind::kFull8, alpha); };
    const auto deep = [](int alpha) { return Setting().At16Bits().At(RunKind::kFull16, alpha); };
    ExpectKeyed({{bytes(12), {50, 200, 100}, {50, 200, 100, 0}},  // 0.047
                 {bytes(13), {50, 200, 100}, kPlain},             // 0.051
                 // 0.04999; and 1638 * 1638 / 32767 = 81.9.
                 {deep(1638), {6400, 25600, 12800}, {6400, 25600, 12800, 81}},
                 {deep(1639), {6400, 25600, 12800}, kPlain}});
}

// ---- Special cases ----------------------------------------------------------------------------------------

TEST(EngineSpecialCases, PlainBackdropLiesWithinFourTenthsOfALevel) {
    const Setting s = Setting().With(kRemove, 6).With(kBlack, 0), deep = s.At16Bits();
    const Rgb seen{50, 200, 100};
    ExpectKeyed(
        {{s, seen, kPlain},
         {s.Before({50, 199.625, 100}), seen, kPlain},     // 0.375
         {s.Before({50, 199.5625, 100}), seen, kByShape},  // 0.4375
         // 0.25 in two channels makes 0.354, in three 0.433.
         {s.Before({50, 200.25, 100.25}), seen, kPlain},
         {s.Before({50.25, 200.25, 100.25}), seen, kByShape},
         // Black as it is, it is rescued where it lies below the backdrop's green.
         {s.With(kBlack, 20).Before({50.25, 200.25, 100}), seen, {1, 1, 1, Fine((1 - 200 / 200.25) / 2)}},
         // At 5 and below the case is off, and the shape takes the pixel.
         {s.With(kRemove, 5), seen, kByShape},
         // At 16 bits the level is 128 samples: 0.4 of it is 51.2.
         {deep, {6400, 25651, 12800}, kPlain},
         {deep, {6400, 25652, 12800}, kDeepByShape}});
}

TEST(EngineSpecialCases, DarkAndColourlessKeepsItsAlpha) {
    // Top alpha 128 / 255 = 0.50196; with the contrast of 1.4, 0.50274, and 64.35 of 128. The search would
    // stop at once, with the pixel opaque.
    const Setting s = Setting().At(RunKind::kPreview8, 128);
    const Pixel kept{kAny, kAny, kAny, 64}, opaque{kAny, kAny, kAny, 128};
    ExpectKeyed({// Chroma sqrt(1 + 1); green is cut to the larger of red and blue. (29, 30, 30) has a spread
                 // of 12, and the pulls take its red to 29.86.
                 {s, {30, 31, 30}, {30, 30, 30, 64}},
                 {s, {29, 31, 30}, {29, 30, 30, 64}},
                 // Chroma below 20 * 0.15 = 3.
                 {s, {31, 33, 33}, kept},
                 {s, {30, 33, 33}, opaque},
                 // The backdrop's green stands 150 above its red, and must stand above the largest channel.
                 {s, {149, 149, 149}, kept},
                 {s, {150, 149, 149}, opaque},
                 // A backdrop without red leaves no line to measure by: this case is decided all the same.
                 {s.Before({0, 200, 100}), {30, 31, 30}, kept}});
}

TEST(EngineSpecialCases, BackdropByShapeLiesNearTheLineThroughBlack) {
    const Setting s, far = s.With(kRemove, 1000);
    ExpectKeyed({{s, {25, 100, 50}, kByShape},  // half the backdrop
                 {s.At16Bits(), {3200, 12800, 6400}, kDeepByShape},
                 // By green 40; by red 40 * 50 / 200 = 10; by blue (t 1.4) sqrt(20^2 + 80^2) = 82.46, times
                 // 100 / 200 = 41.23. Together 91.23, less 91.23 * 60 / 255: 69.77.
                 {s.With(kRemove, 70), {50, 200, 140}, kByShape},
                 {s.With(kRemove, 69), {50, 200, 140}, kByShape, false},
                 // By green (t 0.8) 50; by red (t 1.8) sqrt(200^2 + 100^2) = 223.61, times 50 / 200 = 55.90;
                 // by blue (t 0.8) 50 * 100 / 200 = 25. Together 130.90, less 130.90 * 70 / 255: 94.97.
                 {s.With(kRemove, 95), {90, 160, 80}, kByShape},
                 {s.With(kRemove, 94), {90, 160, 80}, kByShape, false},
                 // Chroma above twice the slider: sqrt(30^2 + 40^2) = 50.
                 {far.With(kBlack, 24), {70, 100, 60}, kByShape},
                 {far.With(kBlack, 25), {70, 100, 60}, kByShape, false}});
}

// ---- Search -----------------------------------------------------------------------------------------------

TEST(EngineAlphaSearch, UnmixesWhereTheForegroundStopsBeingGreen) {
    const Setting s = SearchAlone();
    ExpectKeyed({// D = (75, -40, -20). Green is 40 below red from 190 < 115 / a on, at 0.60526; near the
                 // third channel from 0.25; at the half-way point from 125 <= 67.5 / a, 0.54. 0.6 stops the
                 // coarse search, 0.605 the fine one. Unmixed (173.97, 133.88, 66.94); times 285 / 307.85 to
                 // keep red plus green: (161.05, 123.95, 61.97), of spread 252.3; the wide pull makes
                 // (161.05, 136.67, 95.95) of it.
                 {s, {125, 160, 80}, {161, 136, 95, Fine(0.605)}},
                 // At 16 bits the same but for a maximum of 32767, which is 255.99 levels: spread 253.2.
                 {s.At16Bits(), {16000, 20480, 10240}, {20614, 17492, 12276, 19824}},
                 // D = (15, -81, -40): the half-way test stops from 125 <= 68.5 / a on: 0.545. Unmixed (77.5,
                 // 51.4, 26.6), darker than seen, and stays; pulled by its spread of 309.6 to (77.5, 59.8,
                 // 43.0).
                 {s, {65, 119, 60}, {77, 59, 42, Fine(0.545)}}});
}

TEST(EngineAlphaSearch, StopsByLeads) {
    const Setting green = SearchAlone(), blue = green.BlueLogic();
    const Setting green60 = green.Before({50, 200, 60}), blue60 = green60.BlueLogic();
    const Setting side = green.Before({60, 200, 50});
    ExpectKeyed({// The slider shifts both leads. 30 below red: 180 < 115 / a, 0.6389.
                 {green.With(kAlter, 110), {125, 160, 80}, Alpha(0.635)},
                 // D = (70, -51, 10). Near the third channel by 20 from 80 < 61 / a on, 0.7625; by 30 from 70
                 // < 61 / a on, 0.8714.
                 {green, {120, 149, 110}, Alpha(0.76)},
                 {green.With(kAlter, 110), {120, 149, 110}, Alpha(0.87)},
                 // Under blue logic the fine search waits for 40 above the third channel, 140 < 61 / a, and
                 // is stopped by red: 190 < 121 / a, 0.6368.
                 {blue, {120, 149, 110}, Alpha(0.635)},
                 // D = (50, -40, 19). Half-way from 145 <= 74.5 / a on, 0.5138; by red from 190 < 90 / a,
                 // 0.4737. Under blue logic there is no half-way test on this side.
                 {green60, {100, 160, 79}, Alpha(0.51)},
                 {blue60, {100, 160, 79}, Alpha(0.47)},
                 // D = (70, -90, 0): near blue at once (110 < 120), so the coarse search ends at 1 and is not
                 // stepped back. Under blue logic the fine search goes on to 190 < 160 / a, 0.842.
                 {green, {120, 110, 100}, Alpha(1)},
                 {blue, {120, 110, 100}, Alpha(0.84)},
                 // The blue side, D = (19, -40, 50). By 20 from 130 < 90 / a on, 0.6923; no half-way test.
                 // Under blue logic by -40 from 0.4737, and half-way from 0.5138.
                 {side, {79, 160, 100}, Alpha(0.69)},
                 {side.BlueLogic(), {79, 160, 100}, Alpha(0.51)}});
}

TEST(EngineAlphaSearch, CoarseLeadsAreLopsidedUnderBlueLogic) {
    // darkGain 2 keeps the first estimates low.
    const Setting green = SearchAlone().With(kMeanG, kGain2).Before({50, 200, 60}), blue = green.BlueLogic();
    const Setting side = blue.Before({60, 200, 50});
    ExpectKeyed({// Red side, D = (79, 5, 54): red is 40 ahead from 74 / 190 = 0.3895 down to 1/3, where it
                 // has long met its limit of 255 and green reaches 215. No step of the coarse search falls in
                 // between. But its lead of 20 over the third channel stops it at 0.4 (120 < 49 / a, 0.408),
                 // and the fine search finds 0.385.
                 {blue, {129, 205, 114}, Alpha(0.385)},
                 // With green logic the half-way test, 145 <= 61.5 / a, stops it at 0.424.
                 {green, {129, 205, 114}, Alpha(0.42)},
                 // Blue side, D = (-20, 5, 79): the same stretch for the third channel, whose lead is -40
                 // here in the coarse search too: it steps over it and runs out. Alpha is the first estimate
                 // of blue, (129 - 100) / (255 - 100).
                 {side, {40, 205, 129}, Alpha(29 / 155.)},
                 // D = (-20, 4, 67): the stretch from 63 / 190 = 0.3316 to 4 / 15 has the coarse step 0.3.
                 {side, {40, 204, 117}, Alpha(0.33)}});
}

TEST(EngineAlphaSearch, StopsWhereTheForegroundGoesBlack) {
    const Setting s = SearchAlone().BlueLogic().With(kMeanG, kGain2);
    ExpectKeyed({// D = (-40, -140, -100): green is below 5 from 140 / 195 = 0.718 on, red has been since
                 // 0.889. Then `a` stays clear of the estimates 1 - 2 * 10 / 50 and 1 - 60 / 200 = 0.7. Red
                 // would be 10 - 0.285 * 50 = -4.25, so the seen colour rises by 4.25; then the third channel
                 // lacks 24.25: (38.5, 88.5, 28.5). Unmixed (33.92, 44.06, 0), times 70 / 77.97, of spread
                 // 327.1: pulled to (33.31, 39.55, 12.45).
                 {s, {10, 60, 0}, {33, 39, 12, Fine(0.715)}},
                 // The mirror: red lacks 28.5 and the third channel then nothing. Red plus green has not
                 // grown: (0, 44.06, 33.92) stays, and is pulled to (13.87, 44.06, 37.11).
                 {s.BlueSide(), {0, 60, 10}, {13, 44, 37, Fine(0.715)}},
                 // On the red side red must be black too, and not the third channel: with D = (-14, -140,
                 // -100) red stays above 5 down to 0.311, and green's estimate of 0.7 is what holds.
                 {s, {36, 60, 0}, Alpha(0.7)},
                 // At 16 bits 5 levels are 640 samples.
                 {s.At16Bits(), {1280, 7680, 0}, {kAny, kAny, kAny, 23428}}});  // 32767 * 0.715
}

TEST(EngineAlphaSearch, AlphaIsAtLeastTheFirstEstimates) {
    // No stop before green falls under 20 at 0.0556.
    const Setting red = SearchAlone(), s = red.BlueSide();
    // The searches run on: blue logic, and a slider that puts the leads 100 levels off.
    const Setting on = s.BlueLogic().With(kAlter, 0);
    // A mean of 15810 = 62 * 255 makes a darkGain of -60.
    const Setting deep = red.At16Bits().Before({12800, 20000, 6400}), unlead = deep.With(kAlter, 0);
    ExpectKeyed({{s, {40, 190, 30}, Alpha(0.6)},                        // 1 - 40 / 100
                 {s.With(kMeanG, kGain15), {40, 190, 30}, Alpha(0.4)},  // 1 - 40 / 100 * 1.5
                 {s.With(kMeanG, kGain2), {40, 190, 12}, Alpha(0.2)},   // what lies below does not count
                 {red, {30, 190, 40}, Alpha(0.6)},                      // the mirror, by blue
                 {on, {100, 195, 90}, Alpha(40 / 205.)},                // (90 - 50) / (255 - 50)
                 {on, {100, 195, 40}, Alpha(0.025)},                    // 1 - 195 / 200
                 {on, {100, 240, 50}, Alpha(40 / 55.)},                 // (240 - 200) / (255 - 200)
                 // The 255 stays at 16 bits. Green 4000 above would in levels be 31 of 99 and alpha 0.316,
                 // but (24000 - 20000) / (255 - 20000) is negative, and nothing keeps the pixel. Nor do red
                 // and the third channel: 5200 above, of 19840 left to 255 levels, and 2600 of 26240.
                 {deep, {12800, 24000, 6400}, kPlain},
                 {unlead, {18000, 20000, 6400}, kPlain},
                 {unlead.BlueLogic(), {12800, 20000, 9000}, {kAny, kAny, kAny, 0}},
                 // (16000 + 384000) / (255 + 384000) is above 1, and the pixel that would have 0.605 opaque.
                 {red.At16Bits().With(kMeanG, 15810.), {16000, 20480, 10240}, {kAny, kAny, kAny, 32767}}});
}

TEST(EngineAlphaSearch, EndsAtZeroOnTheRedSideOnly) {
    // The backdrop itself, with the plain case off, stops nowhere and has estimates of 0. Equal channels are
    // on the red side. On the blue side alpha stays at 0.001, too little to unmix by: the seen colour, of
    // spread 238.5, pulled to (102.2, 200, 134.8). Neither contrast nor offset reaches 0.01 and less.
    const Setting s = SearchAlone(), raised = s.With(kSelect, 150).With(kScale, 200);
    ExpectKeyed({{s.BlueSide(), {100, 200, 50}, kPlain},
                 {s.Before({100, 200, 100}), {100, 200, 100}, kPlain},
                 {s, {50, 200, 100}, {102, 200, 134, Fine(0.001)}},
                 {raised, {50, 200, 100}, Alpha(0.001)}});
}

TEST(EngineAlphaSearch, FortyLevelsAheadIsOpaque) {
    // Red stands 40 above green and is searched. D = (90, -100, -100): 190 < 190 / a stops the fine search at
    // 0.995; above 0.98 the colour stays as seen.
    const Setting s = SearchAlone(), side = s.BlueLogic().BlueSide(), deep = s.At16Bits();
    ExpectKeyed({{s, {140, 100, 0}, {140, 100, 1, Fine(0.995)}},
                 {s, {141, 100, 0}, {141, 100, 1, Fine(1)}},
                 {side, {0, 100, 140}, Alpha(0.995)},
                 {side, {0, 100, 141}, Alpha(1)},
                 {deep, {17921, 12800, 0}, {17921, 12800, 1, 32767}}});
}

// ---- Corrections ------------------------------------------------------------------------------------------

TEST(EngineCorrections, PullTowardsGreyByTheSpread) {
    // These stop the search at once: opaque, foreground as seen.
    const Setting s = SearchAlone(), deep = s.At16Bits();
    ExpectKeyed({// A spread of 18.71 * 255 / 110 = 43.37. Wide: (104.21, 110, 101.32); narrow with the old
                 // spread: (104.98, 110, 102.47).
                 {s, {100, 110, 95}, {104, 110, 102, Fine(1)}},
                 // Five levels above green, by red or by blue, the wide pull does not run, and the narrow one
                 // alone makes (115, 112.95, 112.13) of a spread of 20.47. Four above, both: (114, 113.21,
                 // 112.82).
                 {s, {115, 110, 108}, {115, 112, 112, Fine(1)}},
                 {s, {114, 110, 108}, {114, 113, 112, Fine(1)}},
                 {s, {108, 110, 115}, {112, 112, 115, Fine(1)}},
                 // At 16 bits (8, 5, 0) levels have a spread of 506.8 and stay; (7, 5, 0) one of 452.2.
                 {deep, {1024, 640, 0}, {1024, 640, 1, 32767}},
                 {deep, {896, 640, 0}, {896, 708, 240, 32767}}});
}

TEST(EngineCorrections, RemoveWhatIsStillGreen) {
    // Before black, (50, 200, 60) has alpha 200 / 255, and is pulled to (100.89, 200, 107.50). It goes where
    // both 150.89 and 157.50, less the slider, lie below 200: from -42 on.
    const Setting s = SearchAlone().With(kAdjust, 0);
    const Pixel kept = Alpha(200 / 255.), gone = Alpha(0);
    ExpectKeyed({{s.With(kRemove, -43), {50, 200, 60}, kept},
                 {s.With(kRemove, -42), {50, 200, 60}, gone},
                 {s.With(kRemove, -43), {60, 200, 50}, kept},
                 {s.With(kRemove, -42), {60, 200, 50}, gone},
                 // Alpha of 0.8 and more is safe.
                 {s.With(kRemove, 40), {50, 203, 50}, gone},
                 {s.With(kRemove, 40), {50, 204, 50}, Alpha(0.8)}});
}

TEST(EngineCorrections, RescueDarkPixels) {
    const Setting s = SearchAlone().BlueLogic().With(kMeanG, kGain2);
    const Setting grey = SearchAlone().With(kBlack, 50), strong = s.With(kMeanG, 255.).With(kBlack, 100);
    ExpectKeyed(
        {// The black pixels of the search: (33.31, 39.55, 12.45), together 85.3, against twice the
         // slider. Rescued, alpha is ((1 - 60 / 200) + (1 - 10 / 50)) / 2, and green comes down to red.
         {s.With(kBlack, 42), {10, 60, 0}, {33, 39, 12, Fine(0.715)}},
         {s.With(kBlack, 43), {10, 60, 0}, {33, 33, 12, Fine(0.75)}},
         // The mirror, (13.87, 44.06, 37.11) with 95.03: green comes down to blue.
         {s.With(kBlack, 47).BlueSide(), {0, 60, 10}, {13, 44, 37, Fine(0.715)}},
         {s.With(kBlack, 48).BlueSide(), {0, 60, 10}, {13, 37, 37, Fine(0.75)}},
         // Only below the backdrop's green. (20, 30, 20) is opaque and pulled to (23.92, 30, 23.92).
         {grey.Before({10, 31, 10}), {20, 30, 20}, {23, 23, 23, Fine(1)}},
         {grey.Before({10, 30, 10}), {20, 30, 20}, {23, 30, 23, Fine(1)}},
         // No strong colours. D = (-40, -76, 40): green is 40 below the third channel from 230 < 116 /
         // a on: 0.5. Unmixed (20, 48, 90), of spread 458.5, pulled to (38.59, 59.15, 90): blue stands
         // more than ten above green. The mirror with green logic, by red.
         {strong.Before({100, 200, 10}), {60, 124, 50}, {38, 59, 90, Fine(0.5)}},
         {grey.With(kBlack, 100).Before({10, 200, 100}), {50, 124, 60}, {90, 59, 38, Fine(0.5)}}});
}

TEST(EngineCorrections, ContrastAndOffset) {
    const Setting s = SearchAlone(), steep = s.With(kScale, 70);
    const Rgb seen{125, 160, 80};  // 0.605
    ExpectKeyed({{steep, seen, Alpha(0.105 * 1.4 + 0.5)},
                 {steep.With(kSelect, 120), seen, Alpha(0.105 * 1.4 + 0.7)},
                 {s.With(kScale, 0).With(kSelect, 101), seen, Alpha(0.51)},
                 {steep.With(kSelect, 200), seen, Alpha(1)},
                 {s.With(kSelect, 0), seen, Alpha(0)},
                 {s.With(kSelect, 0), {141, 100, 0}, Alpha(1)}});  // opaque pixels are out of reach
}

// ---- False colours ----------------------------------------------------------------------------------------

TEST(EngineFalseColours, PaintKeyedPixels) {
    const Setting s = Setting().View(), deep = s.At16Bits();
    const Setting search = SearchAlone().View().BlueSide();
    // (50, 150, 50), pulled by its spread of 240.4 to (84.7, 150, 84.7). The alpha is the top layer's. At 16
    // bits plain backdrop is painted unscaled, the others times 128, as far as the range goes.
    const Pixel dark{84, 150, 84, kFineAlpha}, deepDark{84, 150, 84, 32767};
    const Pixel scaled{10841, 19200, 10841, 32767};
    ExpectKeyed({{s, {50, 200, 100}, dark},       // plain backdrop
                 {s, {25, 100, 50}, dark},        // by shape
                 {search, {100, 200, 50}, dark},  // by search
                 {deep, {6400, 25600, 12800}, deepDark},
                 {deep, {3200, 12800, 6400}, scaled},
                 {search.At16Bits(), {12800, 25600, 6400}, scaled},
                 // Above the backdrop's green (100, 255, 100), pulled by 219.2 to (155.07, 255, 155.07).
                 {s.Before({50, 199.75, 100}), {50, 200, 100}, {155, 255, 155, kFineAlpha}},
                 {deep, {7040, 28160, 14080}, {32767, 32767, 32767, 32767}}});
}

TEST(EngineFalseColours, PaintTheMatte) {
    const Setting s = SearchAlone().View(), opaque = s.With(kSelect, 0);
    ExpectKeyed({// Alpha 0.605: grey 121, red 55 * 0.605 more, pulled by its spread of 99.2 to (154.3, 134.3,
                 // 134.3).
                 {s, {125, 160, 80}, {154, 134, 134, kAny}},
                 // With contrast and offset 0.105 * 2 + 0.5 + 0.1 = 0.81: (206.55, 162, 162), to (206.55,
                 // 179.8, 179.8).
                 {s.With(kScale, 100).With(kSelect, 110), {125, 160, 80}, {206, 179, 179, kAny}},
                 // The mirror: 20 above blue from 130 < 115 / a on, 0.88: (176, 176, 224.4), to (195.4,
                 // 195.4, 224.4).
                 {s.BlueSide(), {80, 160, 125}, {195, 195, 224, kAny}},
                 // 0.995 is painted opaque, whatever the contrast.
                 {opaque, {140, 100, 0}, {40, 40, 200, kAny}},
                 {opaque.At16Bits(), {17920, 12800, 0}, {5120, 5120, 25600, kAny}},
                 // The tint does not grow with the depth: 19824 / 32767 = 0.605 and 15488 for grey, red 33
                 // more.
                 {s.At16Bits(), {16000, 20480, 10240}, {15521, 15520, 15520, kAny}},
                 // Dark and colourless is not painted: green cut, as without the view.
                 {Setting().View().At(RunKind::kPreview16, 255), {29, 31, 30}, {29, 30, 30, 255}}});
}

// ---- The row loop -----------------------------------------------------------------------------------------

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

// The writers: the pixel step with its lift, the direct row writer, the selection, the flush.
#include <gtest/gtest.h>

#include "rig/engine_rig.h"
#include "rig/engine_scenes.h"
#include "spelled_picture.h"

namespace {

// ---- Pixel step -------------------------------------------------------------------------------------------

// One column. The first row, opaque, is kept as it is; the newest row lends it alpha and background.
void ExpectLifted(RunKind kind, unsigned flags, const Colour& c, int alpha, const Colour& background,
                  const Colour& lifted) {
    const int M = kind == RunKind::kFull16 ? kMaxSample16 : kMaxSample8;
    std::vector<Spot> column(static_cast<std::size_t>(Radius(kind)) + 1, {{0, 0, 0, M}});
    column.front() = {{c[0], c[1], c[2], M}, {}, {lifted[0], lifted[1], lifted[2], M}};
    column.back() = {{0, 0, 0, alpha}, background};
    ExpectPicture(kind, flags, 1, column);
}

// Luma 201 * 0.299 + 220 * 0.587 + 180 * 0.114 = 209.76, and 130 less that, cut to -79. With alpha 102 / 255
// = 0.4: q = 0.4 * (0.75 + 0.25 * 51 / 125) = 0.4 * 0.852, lift = (1 / 0.852 - 1) * 100 * 0.6 = 10.42.
constexpr Colour kBright{201, 220, 180};

TEST(EnginePixelStep, LiftsSoftEdgesOverBrightLayers) {
    constexpr Colour kSeen{100, 150, 200};
    for (const unsigned blue : {0u, kBlue}) {
        ExpectLifted(RunKind::kPreview8, blue, kSeen, 102, kBright, {110, 160, 210});
        // Over anything darker than 130 q is 0.4 * 1.01, and the lift -0.594.
        ExpectLifted(RunKind::kPreview8, blue, kSeen, 102, {130, 20, 255}, {99, 149, 199});
    }
    // 0.2 = 51 / 255 exactly, and 230 / 255 = 0.902, are not lifted; 52 and 229 are: 17.371 * (1 - 52 / 255)
    // = 13.83, and 1.77.
    ExpectLifted(RunKind::kPreview8, 0, kSeen, 51, kBright, kSeen);
    ExpectLifted(RunKind::kPreview8, 0, kSeen, 230, kBright, kSeen);
    ExpectLifted(RunKind::kPreview8, 0, kSeen, 52, kBright, {113, 163, 213});
    ExpectLifted(RunKind::kPreview8, 0, kSeen, 229, kBright, {101, 151, 201});
    // It hardly shows at 16 bits. 130 * 128 * 128 = 2129920. Alpha 13107 / 32767 = 0.4; over black q = 0.4 *
    // (0.75 + 0.25 * 2129920 / -2097153) = 0.4 * 0.4961: lift 60.94. The offset of a background beyond the
    // range ends at -16640: 60.46, where -48895 would make 59.54.
    ExpectLifted(RunKind::kFull16, 0, {1000, 2000, 3000}, 13107, {0, 0, 0}, {1060, 2060, 3060});
    ExpectLifted(RunKind::kFull16, 0, {1001, 2001, 3001}, 13107, {65535, 65535, 65535}, {1061, 2061, 3061});
}

TEST(EnginePixelStep, ScalesBackWhatTheLiftTakesTooFar) {
    const Colour cases[][2] = {{{100, 250, 200}, {108, 255, 206}},  // 255 / 260.42 of 110.42 and 210.42
                               {{250, 100, 200}, {255, 108, 206}},
                               {{100, 200, 250}, {108, 206, 255}},
                               // Green first: (256.96, 255, 108.12); then red: 255 / 256.96 of the others.
                               {{252, 250, 100}, {255, 253, 107}},
                               // Green first: (108.12, 255, 256.96); then blue. Red first, then blue.
                               {{100, 250, 252}, {107, 253, 255}},
                               {{250, 100, 252}, {253, 107, 255}}};
    for (const auto& c : cases) ExpectLifted(RunKind::kPreview8, 0, c[0], 102, kBright, c[1]);
}

TEST(EnginePixelStep, TransparencyTakesForegroundAndMatteOfTheNewestRow) {
    // Zero becomes 1, and what lies beyond the range its end; 30000 * 13107 / 32767 = 12000.18.
    for (const unsigned blue : {0u, kBlue}) {
        ExpectPicture(RunKind::kFull16, kTransparency | blue, 1,
                      {{{1000, 2000, 3000, 30000}, {}, {32767, 1, 5000, 12000}},
                       {{0, 0, 0, 32767}},
                       {{40000, 0, 5000, 13107}, {7, 8, 9}}});
    }
    // The composite takes the alpha of the pixel itself.
    ExpectPicture(RunKind::kPreview8, 0, 1,
                  {{{10, 20, 30, 250}, {}, {kAny, kAny, kAny, 250}}, {{0, 0, 0, 17}}});
}

// ---- Direct rows ------------------------------------------------------------------------------------------

TEST(EngineDirectRow, CompositesWithoutLimitsOrTakesTheForeground) {
    for (const unsigned blue : {0u, kBlue}) {
        // Alpha 2, as a top layer may have beyond the range: 2 * 40000 - 1000 - 65536; 2 * 100 - 1000 +
        // 65536. 0.400006: 10001 - 9000 * 0.400006 = 6400.9. Edge blending sees nothing at this width and
        // ends with an alpha of 65535.
        ExpectPicture(RunKind::kFull16, kBlend | blue, 2,
                      {{{40000, 100, 20000, 65534}, {1000, 1000, 7}, {13464, 64736, 39993, 65535}},
                       {{1001, 2001, 3001, 13107}, {10001, 20001, 30001}, {6400, 12800, 19200, 65535}}});
        ExpectPicture(RunKind::kPreview8, kBlend | kTransparency | blue, 1,
                      {{{200, 0, 33, 128}, {99, 99, 99}, {200, 1, 33, 64}}});  // 128 * 128 / 255 = 64.25
    }
}

TEST(EngineDirectRow, EdgeBlendingSeesTheMatteAt8BitsOnly) {
    // An opaque layer whose matte steps between columns 4 and 5, by the green of a backdrop. The last
    // candidate to write column 5 is 6: (2 * 0 + 255) / 3. The alpha plane of 16 bits holds the layer's own.
    for (const RunKind kind : {RunKind::kPreview8, RunKind::kPreview16}) {
        EngineRig rig(10, 1, kind);
        for (int x = 0; x < 10; ++x) rig.SetColour(kTopR, x, x < 5 ? 50 : 255, x < 5 ? 200 : 90, 100);
        rig.AnalyseAndKey();
        EXPECT_EQ(rig.Get(kOutR, 5), kind == RunKind::kPreview8 ? 85 : 255);
    }
}

// ---- Selection --------------------------------------------------------------------------------------------

TEST(EngineSelection, PutsThePhotoBackOutsideIt) {
    // A half-transparent top layer before white, which no composite leaves as it was. Green is 0, which the
    // fetch alone would have made 1. Selections are bytes at both depths: at 16 bits pixel 5 is ruled by the
    // high byte of sample 2. They count in full-size runs of documents that have one, and not in the flush
    // after refined rows, from pixel 6 on.
    for (const RunKind kind : {RunKind::kFull8, RunKind::kFull16, RunKind::kPreview8}) {
        for (const unsigned flags : {kPhoto, kPhoto | kBlend | kTransparency}) {
            for (const bool have : {false, true}) {
                EngineRig rig(3, 4, kind);
                SetFlags(&rig, flags);
                rig.HaveSelection(have);
                const auto M = static_cast<std::uint16_t>(rig.globals.maxSample);
                rig.Fill(kTopA, M / 2);
                rig.Fill(kTopR, M / 3);
                for (Plane plane : {kBottomR, kBottomG, kBottomB}) rig.Fill(plane, M);
                rig.Fill(kSelection, 0x0101);
                for (int i : {1, 5, 7, 11}) rig.Bytes(kSelection)[i] = 0;
                rig.Key();
                for (int i = 0; i < 12; ++i) {
                    const bool outside = i == 1 || i == 5 || (flags != kPhoto && (i == 7 || i == 11));
                    EXPECT_EQ(OutPixel(rig, i) == (Pixel{M / 3, 0, 0, M / 2}),
                              have && outside && kind != RunKind::kPreview8)
                        << "pixel " << i << ", flags " << flags;
                }
            }
        }
    }
}

// ---- Flush ------------------------------------------------------------------------------------------------

TEST(EngineFlush, TakesTopBottomOrCompositeByAlpha) {
    // Above 0.99 the top pixel without the fetch's guard, below 0.01 the bottom; both keep their channels for
    // a blue backdrop, and composites do not. 252 / 255: (101.8, 1 * 0.988 + 2.36 = 3.35, 248.6), or with the
    // guard on the picture's blue (101.8, 2.36, 248.6). 3 / 255: (253.2, 198.6, 52.4). 0.4: (193, 121.0 or
    // 120.6, 130.4).
    const int alphas[] = {253, 252, 2, 3, 102};
    const Pixel green[] = {{100, 0, 251, 255},
                           {101, 3, 248, 255},
                           {255, 201, 50, 255},
                           {253, 198, 52, 255},
                           {193, kAny, 130, 255}};
    const Pixel blue[] = {{100, 0, 251, 255},
                          {101, 248, 2, 255},
                          {255, 201, 50, 255},
                          {253, 52, 198, 255},
                          {193, 130, 120, 255}};
    for (int i = 0; i < 5; ++i) {
        const Spot spot{{100, 0, 251, alphas[i]}, {255, 201, 50}, green[i]};
        ExpectPicture(RunKind::kPreview8, 0, 1, {spot});
        ExpectPicture(RunKind::kPreview8, kBlue, 1, {{spot.top, spot.bottom, blue[i]}});
    }
    // A picture of one row at full size: the slots run from that of a row above the picture, and the row is
    // flushed from its own slot. 0.6 * 201 + 0.4 * 100 = 160.6, 66.6, 92.6.
    ExpectPicture(RunKind::kFull8, 0, 2,
                  {{{100, 150, 200, 102}, {201, 11, 21}, {160, 66, 92, 255}},
                   {{50, 60, 70, 102}, {0, 0, 0}, {kAny, kAny, 28, 255}}});
}

TEST(EngineFlush, OpaquePixelsOf16BitsAreBytesOfTheTopPlanes) {
    // Little-endian: byte i of a plane is the low (even) or high byte of sample i / 2. Rows of three; byte 3
    // is the high byte of sample 1, byte 4 the low one of sample 2. The last pixel goes through the samples.
    std::vector<Spot> spots;
    for (int i = 0; i < 9; ++i) {
        const int step = i * 0x0101;
        spots.push_back({{0x1020 + step, 0x2040 + step, 0x3060 + step, 32767}});
    }
    spots[3].expected = {0x11, 0x21, 0x31, 32767};
    spots[4].expected = {0x22, 0x42, 0x62, 32767};
    spots[7].expected = {0x13, 0x23, 0x33, 32767};
    spots[8] = {{1, 2, 3, 0}, {12345, 23456, 31234}, {12345, 23456, 31234, 32767}};
    ExpectPicture(RunKind::kFull16, 0, 3, spots);
}

TEST(EngineFlush, TransparencyIsOfTheFullRangeAndNotExchanged) {
    ExpectPicture(RunKind::kPreview8, kTransparency, 1, {{{0, 90, 60, 103}, {}, {1, 90, 60, 103}}});
    ExpectPicture(RunKind::kPreview8, kTransparency | kBlue, 1, {{{0, 90, 60, 103}, {}, {1, 60, 90, 103}}});
    // Beyond the range at 16 bits; alpha 1, where a composite would take bytes.
    ExpectPicture(RunKind::kFull16, kTransparency, 1,
                  {{{40000, 32768, 300, 32767}, {}, {32767, 32767, 300, 32767}}});
}

TEST(EngineFlush, AfterAnAbortWritesFromTheRingAsItStands) {
    // 100 rows, the first abort test in row 23: its slot, 3, still holds row 18, the one before row 22. Rows
    // 98 and 99 take these. Red of row y is 2 * y + 1, times 128 / 255 over black: 45 makes 22.6, 37
    // makes 18.6.
    EngineRig rig(2, 100, RunKind::kFull8);
    const EngineRig untouched(2, 100, RunKind::kFull8);
    SetFlags(&rig, kPhoto);
    rig.Fill(kTopA, 128);
    for (int i = 0; i < 200; ++i) rig.SetColour(kTopR, i, static_cast<std::uint16_t>(i / 2 * 2 + 1), 5, 5);
    rig.abortAtCall = 1;
    rig.Key();
    EXPECT_EQ(rig.Get(kOutA, 2 * 20), 128);  // the last row refined
    EXPECT_EQ(OutPixel(rig, 2 * 22), (Pixel{45, 5, 5, untouched.Get(kOutA, 2 * 22)}));  // as fetched
    for (int i = 2 * 23; i < 2 * 98; ++i) ASSERT_EQ(OutPixel(rig, i), OutPixel(untouched, i)) << i;
    EXPECT_EQ(OutPixel(rig, 2 * 98), (Pixel{22, 2, 2, 255}));
    EXPECT_EQ(OutPixel(rig, 2 * 99), (Pixel{18, 2, 2, 255}));
    EXPECT_EQ(rig.globals.progressPercent, 100);  // a flush counts as the end of the picture
}

TEST(EngineWriters, FetchGuardsKeyAndThirdChannelAndLeavesAlpha) {
    // With the view and edge blending both on, no writer comes; with transparency, no edge blending.
    const int alpha = EngineRig(1, 1, RunKind::kFull16).Get(kOutA, 0);
    constexpr unsigned kFetchOnly = kView | kBlend | kTransparency;
    ExpectPicture(RunKind::kFull16, kFetchOnly, 1, {{{40000, 0, 32768, 9}, {}, {40000, 1, 32767, alpha}}});
    ExpectPicture(RunKind::kFull16, kFetchOnly, 1, {{{40000, 40001, 0, 9}, {}, {40000, 40001, 0, alpha}}});
    ExpectPicture(RunKind::kFull16, kFetchOnly | kBlue, 1, {{{0, 32768, 0, 9}, {}, {0, 32767, 1, alpha}}});
}

TEST(EngineWriters, ViewWithoutRefinementWritesNothing) {
    // Show selected with edge blending: the photo as fetched, and an opaque alpha plane. Without it the
    // refined rows alone are written: the last one is as fetched, its alpha as it was.
    EngineRig rig(1, 4, RunKind::kPreview8);
    for (int i = 0; i < 4; ++i) rig.SetColour(kTopR, i, 50, static_cast<std::uint16_t>(200 - i), 100);
    const int alpha = rig.Get(kOutA, 3);
    SetFlags(&rig, kView);
    rig.AnalyseAndKey();
    EXPECT_NE(rig.Get(kOutR, 2), 50);
    EXPECT_EQ(OutPixel(rig, 3), (Pixel{50, 197, 100, alpha}));
    SetFlags(&rig, kView | kBlend);
    rig.Key();
    for (int i = 0; i < 4; ++i) EXPECT_EQ(OutPixel(rig, i), (Pixel{50, 200 - i, 100, 255}));
}

}  // namespace

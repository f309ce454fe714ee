// The writers: the pixel step with its lift, the direct row writer, the selection, the flush. The original
// photo is shown, so that the ring holds the top layer as it is, with its own alpha.
#include <gtest/gtest.h>

#include "engine_rig.h"

namespace {

struct Rgb {
    std::uint16_t r, g, b;
};

void ShowPhoto(EngineRig* rig, bool direct, bool outputAlpha) {
    rig->globals.FlagOrgPhoto = 1;
    rig->globals.FlagRealityInteg = direct;
    rig->globals.FlagOutputAlpha = outputAlpha;
}

void ExpectPixel(const EngineRig& rig, std::int64_t i, int r, int g, int b, int a) {
    EXPECT_EQ(rig.Get(kOutR, i), r) << "red of pixel " << i;
    EXPECT_EQ(rig.Get(kOutG, i), g) << "green of pixel " << i;
    EXPECT_EQ(rig.Get(kOutB, i), b) << "blue of pixel " << i;
    EXPECT_EQ(rig.Get(kOutA, i), a) << "alpha of pixel " << i;
}

// ---- Pixel step -------------------------------------------------------------------------------------------

// One column. The first row, opaque and of colour c, is kept as it is; the newest row lends it alpha and
// background.
struct LiftCase {
    LiftCase(RunKind kind, const Rgb& c)
        : rig(1, kind == RunKind::kFull16 || kind == RunKind::kFull8 ? 3 : 2, kind) {
        ShowPhoto(&rig, false, false);
        rig.SetColour(kTopR, 0, c.r, c.g, c.b);
    }
    void Newest(std::uint16_t alpha, const Rgb& background) {
        const std::int64_t last = rig.Pixels() - 1;
        rig.Set(kTopA, last, alpha);
        rig.SetColour(kBottomR, last, background.r, background.g, background.b);
        rig.Key();
    }
    EngineRig rig;
};

// Luma 201 * 0.299 + 220 * 0.587 + 180 * 0.114 = 209.76, and 130 less that, cut to -79. With alpha 102 / 255
// = 0.4: q = 0.4 * (0.75 + 0.25 * 51 / 125) = 0.4 * 0.852, lift = (1 / 0.852 - 1) * 100 * 0.6 = 10.42.
constexpr Rgb kBright{201, 220, 180};

TEST(PixelStep, LiftsSoftEdgesOverBrightLayers) {
    for (const bool blue : {false, true}) {
        LiftCase lift(RunKind::kPreview8, {100, 150, 200});
        lift.rig.globals.FlagBlueLogic = blue;
        lift.Newest(102, kBright);
        ExpectPixel(lift.rig, 0, 110, 160, 210, 255);
        // Over anything darker than 130 q is 0.4 * 1.01, and the lift -0.594.
        lift.Newest(102, {130, 20, 255});
        ExpectPixel(lift.rig, 0, 99, 149, 199, 255);
        // 0.2 = 51 / 255 exactly, and 230 / 255 = 0.902, are not lifted; 52 and 229 are.
        for (const std::uint16_t alpha : {51, 230}) {
            lift.Newest(alpha, kBright);
            ExpectPixel(lift.rig, 0, 100, 150, 200, 255);
        }
        lift.Newest(52, kBright);  // 17.371 * (1 - 52 / 255) = 13.83
        ExpectPixel(lift.rig, 0, 113, 163, 213, 255);
        lift.Newest(229, kBright);  // 17.371 * 26 / 255 = 1.77
        ExpectPixel(lift.rig, 0, 101, 151, 201, 255);
    }
}

TEST(PixelStep, LiftHardlyShowsAt16Bits) {
    // 130 * 128 * 128 = 2129920. Alpha 13107 / 32767 = 0.4; over black q = 0.4 * (0.75 + 0.25 * 2129920 /
    // -2097153) = 0.4 * 0.4961: lift 60.94. The offset of a background beyond the range ends at -16640:
    // 60.46, where -48895 would make 59.54.
    LiftCase lift(RunKind::kFull16, {1000, 2000, 3000});
    lift.Newest(13107, {0, 0, 0});
    ExpectPixel(lift.rig, 0, 1060, 2060, 3060, 32767);
    lift.rig.SetColour(kTopR, 0, 1001, 2001, 3001);
    lift.Newest(13107, {65535, 65535, 65535});
    ExpectPixel(lift.rig, 0, 1061, 2061, 3061, 32767);
}

TEST(PixelStep, ScalesBackWhatTheLiftTakesTooFar) {
    const auto lifted = [](const Rgb& c, int r, int g, int b) {
        LiftCase lift(RunKind::kPreview8, c);
        lift.Newest(102, kBright);  // 10.4225
        ExpectPixel(lift.rig, 0, r, g, b, 255);
    };
    lifted({100, 250, 200}, 108, 255, 206);  // 255 / 260.42 of 110.42 and 210.42
    lifted({250, 100, 200}, 255, 108, 206);
    lifted({100, 200, 250}, 108, 206, 255);
    // Green first: (256.96, 255, 108.12); then red: 255 / 256.96 of the others.
    lifted({252, 250, 100}, 255, 253, 107);
    // Green first: (108.12, 255, 256.96); then blue.
    lifted({100, 250, 252}, 107, 253, 255);
    // Red first: (255, 108.12, 256.96); then blue.
    lifted({250, 100, 252}, 253, 107, 255);
}

TEST(PixelStep, TransparencyTakesForegroundAndMatteOfTheNewestRow) {
    for (const bool blue : {false, true}) {
        LiftCase step(RunKind::kFull16, {1000, 2000, 3000});
        ShowPhoto(&step.rig, false, true);
        step.rig.globals.FlagBlueLogic = blue;
        step.rig.Set(kTopA, 0, 30000);
        // Zero becomes 1, and what lies beyond the range its end.
        step.rig.SetColour(kTopR, 2, 40000, 0, 5000);
        step.Newest(13107, {7, 8, 9});
        ExpectPixel(step.rig, 0, 32767, 1, 5000, 12000);  // 30000 * 13107 / 32767 = 12000.18
    }
}

TEST(PixelStep, AlphaIsThatOfThePixelItself) {
    LiftCase step(RunKind::kPreview8, {10, 20, 30});
    step.rig.Set(kTopA, 0, 250);
    step.Newest(17, {0, 0, 0});
    EXPECT_EQ(step.rig.Get(kOutA, 0), 250);
}

// ---- Direct rows ------------------------------------------------------------------------------------------

TEST(DirectRow, CompositesWithoutLimits) {
    // Alpha 2, as a top layer may have beyond the range: 2 * 40000 - 1000 - 65536; 2 * 100 - 1000 + 65536.
    for (const bool blue : {false, true}) {
        EngineRig rig(2, 1, RunKind::kFull16);
        ShowPhoto(&rig, true, false);
        rig.globals.FlagBlueLogic = blue;
        rig.Fill(kTopA, 65534);
        rig.SetColour(kTopR, 0, 40000, 100, 20000);
        rig.SetColour(kBottomR, 0, 1000, 1000, 7);
        rig.Set(kTopA, 1, 13107);  // 0.400006: 10001 - 9000 * 0.400006 = 6400.9
        rig.SetColour(kTopR, 1, 1001, 2001, 3001);
        rig.SetColour(kBottomR, 1, 10001, 20001, 30001);
        rig.Key();
        // Edge blending sees nothing at this width and ends with an alpha of 65535.
        ExpectPixel(rig, 0, 13464, 64736, 39993, 65535);
        ExpectPixel(rig, 1, 6400, 12800, 19200, 65535);
    }
}

TEST(DirectRow, TransparencyTakesTheForeground) {
    for (const bool blue : {false, true}) {
        EngineRig rig(1, 1, RunKind::kPreview8);
        ShowPhoto(&rig, true, true);
        rig.globals.FlagBlueLogic = blue;
        rig.SetColour(kTopR, 0, 200, 0, 33);
        rig.Set(kTopA, 0, 128);
        rig.SetColour(kBottomR, 0, 99, 99, 99);
        rig.Key();
        ExpectPixel(rig, 0, 200, 1, 33, 64);  // 128 * 128 / 255 = 64.25
    }
}

TEST(DirectRow, EdgeBlendingSeesTheMatteAt8BitsOnly) {
    // A top layer that steps from 40 to opaque between columns 4 and 5, black over black and white over
    // black.
    for (const RunKind kind : {RunKind::kPreview8, RunKind::kPreview16}) {
        EngineRig rig(10, 1, kind);
        ShowPhoto(&rig, true, false);
        for (int x = 0; x < 10; ++x) {
            rig.Set(kTopA, x, x < 5 ? 40 : 255);
            for (Plane plane : {kTopR, kTopG, kTopB}) rig.Set(plane, x, x < 5 ? 0 : 255);
        }
        rig.Key();
        // Candidates 4, 5 and 6. The last to write column 4 is 5, in its first place: the mean before it. To
        // 5 it is 6: (2 * 0 + 255) / 3. Both depths find the edge, since here topA itself steps.
        EXPECT_EQ(rig.Get(kOutG, 4), 0);
        EXPECT_EQ(rig.Get(kOutG, 5), 85);
        EXPECT_EQ(rig.Get(kOutG, 6), 170);
        EXPECT_EQ(rig.Get(kOutG, 7), 255);
        // An opaque layer whose matte steps, by the green of a backdrop: keyed at 8 bits alone, since the
        // alpha plane of 16 bits holds the layer's own.
        EngineRig keyed(10, 1, kind);
        for (int x = 0; x < 10; ++x) keyed.SetColour(kTopR, x, x < 5 ? 50 : 255, x < 5 ? 200 : 90, 100);
        keyed.AnalyseAndKey();
        EXPECT_EQ(keyed.Get(kOutR, 5), kind == RunKind::kPreview8 ? 85 : 255);
    }
}

// ---- Selection --------------------------------------------------------------------------------------------

// A half-transparent top layer before white, which no composite leaves as it was: true where the top pixel
// was put back. Green is 0, which the fetch alone would have made 1.
struct SelectionCase {
    SelectionCase(RunKind kind, bool direct) : rig(3, 4, kind) {
        ShowPhoto(&rig, direct, direct);
        const auto M = static_cast<std::uint16_t>(rig.globals.maxSample);
        rig.HaveSelection(true);
        rig.Fill(kTopA, M / 2);
        rig.Fill(kTopR, M / 3);
        for (Plane plane : {kBottomR, kBottomG, kBottomB}) rig.Fill(plane, M);
        for (std::size_t i = 0; i < rig.PlaneBytes(); ++i) rig.Bytes(kSelection)[i] = 1;
    }
    bool Restored(std::int64_t i) const {
        return rig.Get(kOutR, i) == rig.Get(kTopR, i) && rig.Get(kOutG, i) == 0 && rig.Get(kOutB, i) == 0 &&
               rig.Get(kOutA, i) == rig.Get(kTopA, i);
    }
    EngineRig rig;
};

TEST(Selection, PutsThePhotoBackOutsideIt) {
    for (const RunKind kind : {RunKind::kFull8, RunKind::kFull16}) {
        for (const bool direct : {false, true}) {
            SelectionCase c(kind, direct);
            // Bytes at both depths: at 16 bits pixel 5 is ruled by the high byte of sample 2. Pixels 6 to 11
            // belong to the flush after refined rows, which knows no selection.
            for (int i : {1, 5, 7, 11}) c.rig.Bytes(kSelection)[i] = 0;
            c.rig.Key();
            for (int i = 0; i < 12; ++i) {
                const bool expected = i == 1 || i == 5 || (direct && (i == 7 || i == 11));
                EXPECT_EQ(c.Restored(i), expected) << "pixel " << i << (direct ? ", direct" : ", refined");
            }
        }
    }
}

TEST(Selection, CountsInFullSizeRunsOfDocumentsThatHaveOne) {
    SelectionCase none(RunKind::kFull8, true);
    none.rig.HaveSelection(false);
    SelectionCase preview(RunKind::kPreview8, true);
    for (SelectionCase* c : {&none, &preview}) {
        c->rig.Fill(kSelection, 0);
        c->rig.Key();
        for (int i = 0; i < 12; ++i) EXPECT_FALSE(c->Restored(i)) << "pixel " << i;
    }
}

// ---- Flush ------------------------------------------------------------------------------------------------

TEST(Flush, TakesTopBottomOrCompositeByAlpha) {
    for (const bool blue : {false, true}) {
        EngineRig rig(5, 1, RunKind::kPreview8);
        ShowPhoto(&rig, false, false);
        rig.globals.FlagBlueLogic = blue;
        const std::uint16_t alphas[] = {253, 252, 2, 3, 102};
        for (int x = 0; x < 5; ++x) {
            rig.Set(kTopA, x, alphas[x]);
            rig.SetColour(kTopR, x, 100, 0, 251);
            rig.SetColour(kBottomR, x, 255, 201, 50);
        }
        rig.Key();
        // Above 0.99 the top pixel without the fetch's guard, below 0.01 the bottom; both keep their channels
        // for a blue backdrop, and composites do not. 252 / 255: (101.8, 1 * 0.988 + 2.36 = 3.35, 248.6), or
        // with the guard on the picture's blue (101.8, 2.36, 248.6). 3 / 255: (253.2, 198.6, 52.4). 0.4:
        // (193, 121.0 or 120.6, 130.4).
        ExpectPixel(rig, 0, 100, 0, 251, 255);
        ExpectPixel(rig, 2, 255, 201, 50, 255);
        if (blue) {
            ExpectPixel(rig, 1, 101, 248, 2, 255);
            ExpectPixel(rig, 3, 253, 52, 198, 255);
            ExpectPixel(rig, 4, 193, 130, 120, 255);
        } else {
            ExpectPixel(rig, 1, 101, 3, 248, 255);
            ExpectPixel(rig, 3, 253, 198, 52, 255);
            EXPECT_EQ(rig.Get(kOutB, 4), 130);
        }
    }
}

TEST(Flush, OpaquePixelsOf16BitsAreBytesOfTheTopPlanes) {
    // Little-endian: byte i of a plane is the low (even) or high byte of sample i / 2. Two rows of three.
    EngineRig rig(3, 3, RunKind::kFull16);
    ShowPhoto(&rig, false, false);
    for (int i = 0; i < 9; ++i) {
        rig.SetColour(kTopR, i, static_cast<std::uint16_t>(0x1020 + i * 0x0101),
                      static_cast<std::uint16_t>(0x2040 + i * 0x0101),
                      static_cast<std::uint16_t>(0x3060 + i * 0x0101));
    }
    rig.Set(kTopA, 8, 0);
    rig.SetColour(kBottomR, 8, 12345, 23456, 31234);
    rig.Key();
    ExpectPixel(rig, 3, 0x11, 0x21, 0x31, 32767);  // byte 3: the high byte of sample 1
    ExpectPixel(rig, 4, 0x22, 0x42, 0x62, 32767);  // byte 4: the low byte of sample 2
    ExpectPixel(rig, 7, 0x13, 0x23, 0x33, 32767);
    ExpectPixel(rig, 8, 12345, 23456, 31234, 32767);  // through the samples
}

TEST(Flush, TransparencyIsOfTheFullRangeAndNotExchanged) {
    for (const bool blue : {false, true}) {
        EngineRig rig(1, 1, RunKind::kPreview8);
        ShowPhoto(&rig, false, true);
        rig.globals.FlagBlueLogic = blue;
        rig.SetColour(kTopR, 0, 0, 90, 60);
        rig.Set(kTopA, 0, 103);
        rig.Key();
        ExpectPixel(rig, 0, 1, blue ? 60 : 90, blue ? 90 : 60, 103);
        // Beyond the range at 16 bits; alpha 1, where a composite would take bytes.
        EngineRig deep(2, 1, RunKind::kFull16);
        ShowPhoto(&deep, false, true);
        deep.SetColour(kTopR, 0, 40000, 32768, 300);
        deep.Key();
        ExpectPixel(deep, 0, 32767, 32767, 300, 32767);
    }
}

TEST(Flush, PicturesOfOneRow) {
    // At full size the slots run from that of a row above the picture: the row is flushed from its own slot.
    EngineRig rig(2, 1, RunKind::kFull8);
    ShowPhoto(&rig, false, false);
    rig.Fill(kTopA, 102);
    rig.SetColour(kTopR, 0, 100, 150, 200);
    rig.SetColour(kTopR, 1, 50, 60, 70);
    rig.SetColour(kBottomR, 0, 201, 11, 21);
    rig.Key();
    ExpectPixel(rig, 0, 160, 66, 92, 255);  // 0.6 * 201 + 0.4 * 100 = 160.6, 66.6, 92.6
    EXPECT_EQ(rig.Get(kOutB, 1), 28);
    EXPECT_TRUE(rig.GuardsStand());
}

TEST(Flush, AfterAnAbortWritesFromTheRingAsItStands) {
    // 100 rows, the first abort test in row 23: its slot, 3, still holds row 18, the one before row 22. Rows
    // 98 and 99 take these. Red of row y is 2 * y + 1, times 128 / 255 over black: 45 makes 22.6, 37
    // makes 18.6.
    EngineRig rig(2, 100, RunKind::kFull8);
    ShowPhoto(&rig, false, false);
    rig.Fill(kTopA, 128);
    for (int i = 0; i < 200; ++i) rig.SetColour(kTopR, i, static_cast<std::uint16_t>(i / 2 * 2 + 1), 5, 5);
    rig.abortAtCall = 1;
    rig.Key();
    const EngineRig untouched(2, 100, RunKind::kFull8);
    EXPECT_EQ(rig.Get(kOutA, 2 * 20), 128);  // the last row refined
    EXPECT_EQ(rig.Get(kOutR, 2 * 22), 45);   // as fetched
    EXPECT_EQ(rig.Get(kOutA, 2 * 22), untouched.Get(kOutA, 2 * 22));
    for (Plane plane : kOutputs) {
        for (int i = 2 * 23; i < 2 * 98; ++i) ASSERT_EQ(rig.Get(plane, i), untouched.Get(plane, i)) << i;
    }
    ExpectPixel(rig, 2 * 98, 22, 2, 2, 255);
    ExpectPixel(rig, 2 * 99, 18, 2, 2, 255);
    // A flush counts as the end of the picture.
    EXPECT_EQ(rig.globals.progressPercent, 100);
}

TEST(Writers, ViewWithoutRefinementWritesNothing) {
    // Show selected with edge blending: the photo as fetched, and an opaque alpha plane.
    EngineRig rig(3, 4, RunKind::kPreview8);
    rig.globals.FlagShowSelect = 1;
    for (int i = 0; i < 12; ++i) rig.SetColour(kTopR, i, 50, static_cast<std::uint16_t>(200 - i), 100);
    rig.AnalyseAndKey();
    for (int i = 0; i < 12; ++i) ExpectPixel(rig, i, 50, 200 - i, 100, 255);
    // Without it the refined rows alone are written: the last one is as fetched, its alpha as it was.
    rig.ResetOutputs();
    const int alpha = rig.Get(kOutA, 9);
    rig.globals.FlagRealityInteg = 0;
    rig.Key();
    EXPECT_NE(rig.Get(kOutR, 8), 50);
    ExpectPixel(rig, 9, 50, 191, 100, alpha);
}

}  // namespace

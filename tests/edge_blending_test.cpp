// Edge blending by itself, on planes laid by hand. Within a pass the last candidate to touch a pixel sets it;
// means weigh a sample by its distance from the candidate. At a radius of 1, the smallest:
//   before (2 * c[-2] + c[-1]) / 3, after (c[1] + 2 * c[2]) / 3, written to c[-1], c[0], c[1] as before, half
//   and half, after.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "engine/keying.h"
#include "engine_rig.h"

namespace {

using Samples = std::vector<std::uint16_t>;

// A picture of one row or of one column, with the three colours red, red + 1 and red / 2.
struct LineCase {
    LineCase(const Samples& alpha, const Samples& red, bool column, RunKind kind = RunKind::kPreview8)
        : rig(column ? 1 : Length(alpha), column ? Length(alpha) : 1, kind) {
        for (std::int64_t i = 0; i < rig.Pixels(); ++i) {
            const std::size_t n = static_cast<std::size_t>(i);
            rig.Set(kOutA, i, alpha[n]);
            rig.SetColour(kOutR, i, red[n], static_cast<std::uint16_t>(red[n] + 1),
                          static_cast<std::uint16_t>(red[n] / 2));
        }
    }
    static std::int32_t Length(const Samples& line) { return static_cast<std::int32_t>(line.size()); }

    Samples Blend(Plane plane = kOutR) {
        (rig.globals.depthBytes == 1 ? blendEdges8 : blendEdges16)(&rig.globals);
        Samples line;
        for (std::int64_t i = 0; i < rig.Pixels(); ++i) line.push_back(rig.Get(plane, i));
        for (std::int64_t i = 0; i < rig.Pixels(); ++i) {
            EXPECT_EQ(rig.Get(kOutA, i), rig.globals.depthBytes == 1 ? 255 : 65535);
        }
        EXPECT_TRUE(rig.GuardsStand());
        return line;
    }
    EngineRig rig;
};

Samples BlendRow(const Samples& alpha, const Samples& red, RunKind kind = RunKind::kPreview8) {
    return LineCase(alpha, red, false, kind).Blend();
}

Samples BlendColumn(const Samples& alpha, const Samples& red, RunKind kind = RunKind::kPreview8) {
    return LineCase(alpha, red, true, kind).Blend();
}

const Samples kColours{12, 31, 47, 90, 10, 160, 77, 204, 99, 150};

TEST(EdgeBlendingRows, BlendsARisingEdge) {
    // Steps up between 3 and 4: candidates 2 to 5, 2 refused by the 0 at 3. Then 3, 4 and 5 in turn: pixel 2
    // before 3: (2 * 31 + 47) / 3; pixel 3 before 4: (2 * 47 + 90) / 3; pixel 4 before 5: (2 * 90 + 10) / 3;
    // 5 in the middle of 5: half of that and of (77 + 2 * 204) / 3; pixel 6 that.
    const Samples up{0, 0, 0, 0, 255, 255, 255, 255, 255, 255};
    EXPECT_EQ(BlendRow(up, kColours), (Samples{12, 31, 36, 61, 63, 112, 161, 204, 99, 150}));
    // The other channels go the same way: green + 1, blue by half (15 23 45 5 80 38 102).
    EXPECT_EQ(LineCase(up, kColours, false).Blend(kOutG),
              (Samples{13, 32, 37, 62, 64, 113, 162, 205, 100, 151}));
    EXPECT_EQ(LineCase(up, kColours, false).Blend(kOutB), (Samples{6, 15, 17, 30, 31, 56, 80, 102, 49, 75}));
}

TEST(EdgeBlendingRows, BlendsAFallingEdge) {
    // Steps down between 4 and 5: candidates 3 to 6; 6 is refused by the 0 at 5 before it. Pixel 2 before 3:
    // (2 * 31 + 47) / 3; 3 before 4: (2 * 47 + 90) / 3; 4 before 5: (2 * 90 + 10) / 3; 5 half of that and of
    // (77 + 2 * 204) / 3; 6 that.
    const Samples down{255, 255, 255, 255, 255, 0, 0, 0, 0, 0};
    EXPECT_EQ(BlendRow(down, kColours), (Samples{12, 31, 36, 61, 63, 112, 161, 204, 99, 150}));
}

TEST(EdgeBlendingRows, LevelOf200IsStrict) {
    const auto step = [](std::uint16_t low, std::uint16_t high) {
        Samples alpha(10, high);
        std::fill_n(alpha.begin(), 5, low);
        return BlendRow(alpha, kColours);
    };
    EXPECT_EQ(step(0, 200), kColours);
    EXPECT_EQ(step(200, 255), kColours);
    EXPECT_NE(step(199, 201), kColours);
    EXPECT_NE(step(201, 199), kColours);
}

TEST(EdgeBlendingRows, NearAndFarSamplesBothFindEdges) {
    // Only the near pair of 4 (199 at 3, 201 at 5) and the far pair of 6 (200 at 4 is neither) come to
    // candidates here: near 4, and far 5 by 3 and 7.
    EXPECT_EQ(BlendRow({200, 200, 200, 199, 200, 201, 200, 200, 200, 200}, kColours),
              // 4: before (2 * 47 + 90) / 3, half of that and of (160 + 2 * 77) / 3 = 104.7, that.
              (Samples{12, 31, 47, 61, 83, 104, 77, 204, 99, 150}));
    EXPECT_EQ(BlendRow({200, 200, 200, 199, 200, 200, 200, 201, 200, 200}, kColours),
              // 5: (2 * 90 + 10) / 3, half of that and of (77 + 2 * 204) / 3, that.
              (Samples{12, 31, 47, 90, 63, 112, 161, 204, 99, 150}));
    EXPECT_EQ(BlendRow({200, 200, 200, 201, 200, 199, 200, 200, 200, 200}, kColours),
              (Samples{12, 31, 47, 61, 83, 104, 77, 204, 99, 150}));
    EXPECT_EQ(BlendRow({200, 200, 200, 201, 200, 200, 200, 199, 200, 200}, kColours),
              (Samples{12, 31, 47, 90, 63, 112, 161, 204, 99, 150}));
}

TEST(EdgeBlendingRows, RefusesByTheSidesOwnSamples) {
    // One rising candidate, 4. Its far sample 6 at 127 passes, at 126 it is refused; before it anything goes.
    const auto rising = [](std::uint16_t far, std::uint16_t before) {
        return BlendRow({200, 200, before, 199, 200, 201, far, 200, 200, 200}, kColours)[4];
    };
    EXPECT_EQ(rising(127, 200), 83);
    EXPECT_EQ(rising(126, 200), kColours[4]);
    EXPECT_EQ(rising(200, 0), 83);
    // One falling candidate, 4, by its far sample 2.
    const auto falling = [](std::uint16_t far, std::uint16_t after) {
        return BlendRow({200, 200, far, 201, 200, 199, after, 200, 200, 200}, kColours)[4];
    };
    EXPECT_EQ(falling(127, 200), 83);
    EXPECT_EQ(falling(126, 200), kColours[4]);
    EXPECT_EQ(falling(200, 0), 83);
    // Rising by the near pair and falling by the far one: both sides are asked.
    const auto both = [](std::uint16_t farBefore, std::uint16_t nearBefore, std::uint16_t farAfter) {
        return BlendRow({200, 200, farBefore, nearBefore, 200, 201, farAfter, 200, 200, 200}, kColours)[4];
    };
    EXPECT_EQ(both(201, 199, 199), 83);
    EXPECT_EQ(both(201, 126, 199), kColours[4]);
    EXPECT_EQ(both(201, 199, 126), kColours[4]);
}

TEST(EdgeBlendingColumns, AskTheCandidatesOwnAlpha) {
    // Up between 3 and 4: candidates 3, 4 and, by the sample two above and one below, 5; 3 is itself below
    // half and refused. 3 before 4: (2 * 47 + 90) / 3; 4 before 5: (2 * 90 + 10) / 3; 5 half of that and of
    // (77 + 2 * 204) / 3; 6 that.
    EXPECT_EQ(BlendColumn({0, 0, 0, 0, 255, 255, 255, 255, 255, 255}, kColours),
              (Samples{12, 31, 47, 61, 63, 112, 161, 204, 99, 150}));
    // Down between 4 and 5: candidates 3 (one above, two below), 4 and 5, which is refused. 2 before 3: (2 *
    // 31
    // + 47) / 3; 3 before 4; 4 half of (2 * 47 + 90) / 3 and of (160 + 2 * 77) / 3 = 104.67; 5 that.
    EXPECT_EQ(BlendColumn({255, 255, 255, 255, 255, 0, 0, 0, 0, 0}, kColours),
              (Samples{12, 31, 36, 61, 83, 104, 77, 204, 99, 150}));
    // The own alpha at 127 passes, at 126 not, whatever the others hold.
    const auto rising = [](std::uint16_t own) {
        return BlendColumn({200, 200, 200, 199, own, 201, 0, 200, 200, 200}, kColours)[4];
    };
    EXPECT_EQ(rising(127), 83);
    EXPECT_EQ(rising(126), kColours[4]);
    const auto falling = [](std::uint16_t own) {
        return BlendColumn({200, 200, 0, 201, own, 199, 200, 200, 200, 200}, kColours)[4];
    };
    EXPECT_EQ(falling(127), 83);
    EXPECT_EQ(falling(126), kColours[4]);
}

TEST(EdgeBlendingColumns, WideTestsPairTwoAwayWithOneAway) {
    const auto at = [](const Samples& alpha, std::size_t y) { return BlendColumn(alpha, kColours)[y]; };
    // Candidate 5, whose middle is half of (2 * 90 + 10) / 3 and (77 + 2 * 204) / 3. Rising from 3 to 6, but
    // not from 3 to 7; falling from 4 to 7, but not from 3 to 7 or 3 to 6.
    EXPECT_EQ(at({200, 200, 200, 199, 200, 200, 201, 200, 200, 200}, 5), 112);
    EXPECT_EQ(at({200, 200, 200, 199, 200, 200, 200, 201, 200, 200}, 5), kColours[5]);
    EXPECT_EQ(at({200, 200, 200, 200, 201, 200, 200, 199, 200, 200}, 5), 112);
    EXPECT_EQ(at({200, 200, 200, 201, 200, 200, 200, 199, 200, 200}, 5), kColours[5]);
}

TEST(EdgeBlending, ColumnsWorkOnWhatTheRowsMade) {
    // Six columns of five equal rows, but for the alpha: columns 3 to 5 are opaque from row 2 down. The rows
    // 2 to 4 have candidates 2 and 3, and write columns 1 to 4.
    EngineRig rig(6, 5, RunKind::kPreview8);
    const int row[] = {12, 31, 47, 90, 10, 160};
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 6; ++x) {
            rig.Set(kOutA, y * 6 + x, x >= 3 && y >= 2 ? 255 : 0);
            rig.Set(kOutR, y * 6 + x, static_cast<std::uint16_t>(row[x] + y * 16));
        }
    }
    blendEdges8(&rig.globals);
    // Column 4: 10, 26 and then, after candidate 3, (42 + 2 * 192) / 3 = 142, 158, 174. Row 2 alone is a
    // candidate: before (2 * 10 + 26) / 3 = 15.3, after (158 + 2 * 174) / 3 = 168.7.
    const int column4[] = {10, 15, 92, 168, 174};
    for (int y = 0; y < 5; ++y) EXPECT_EQ(rig.Get(kOutR, y * 6 + 4), column4[y]) << "row " << y;
    // Column 1 is transparent all along: row 2 holds the mean before candidate 2, (2 * 44 + 63) / 3.
    const int column1[] = {31, 47, 50, 66, 82};
    for (int y = 0; y < 5; ++y) EXPECT_EQ(rig.Get(kOutR, y * 6 + 1), column1[y]) << "row " << y;
}

TEST(EdgeBlending, RadiusFollowsTheWidth) {
    // A step of alpha and of colour, 40 to 200, at column 100. Candidates 99, 100 and 101 stand, 101 writes
    // last: of the samples before it 100 is already 200.
    const auto blend = [](int width) {
        Samples alpha(static_cast<std::size_t>(width), 255), red(static_cast<std::size_t>(width), 200);
        std::fill_n(alpha.begin(), 100, 0);
        std::fill_n(red.begin(), 100, 40);
        const Samples line = BlendRow(alpha, red);
        return Samples(line.begin() + 95, line.begin() + 107);
    };
    // Radius 1. 98 before 99: 40; 99 before 100: 40; 100 before 101: (2 * 40 + 200) / 3 = 93.3, 101 half.
    const Samples one{40, 40, 40, 40, 40, 93, 146, 200, 200, 200, 200, 200};
    EXPECT_EQ(blend(999), one);
    EXPECT_EQ(blend(300), one);
    // Radius 2, weights 1 to 4. 97 of 99: 40; 98 of 100: 40; then 101 from 56 = (200 + 9 * 40) / 10 in
    // quarters to 200.
    const Samples two{40, 40, 40, 40, 56, 92, 128, 164, 200, 200, 200, 200};
    EXPECT_EQ(blend(1000), two);
    EXPECT_EQ(blend(1499), two);
    // Radius 4, weights 1 to 8: 101 from 44.4 = (200 + 35 * 40) / 36 in eighths. Below 97 the two candidates
    // before it: 95 by 99: 40; 96 by 100: 40.
    const Samples four{40, 40, 44, 63, 83, 102, 122, 141, 161, 180, 200, 200};
    EXPECT_EQ(blend(2000), four);
    EXPECT_EQ(blend(2600), four);
}

TEST(EdgeBlending, StretchesCountWhatLiesOutsideThePicture) {
    // Radius 3 of a width of 1500. Candidate 2, rising; the ones behind it are refused by the 0 at 9. Of its
    // stretch -1 to 5 the first place falls outside, and column 0 is the second: f = 1/6 of the way from
    // (31 + 2 * 12) / 3 = 18.33 to (90 + 2 * 10 + 3 * 160 + 4 * 77 + 5 * 204 + 6 * 99) / 21 = 119.62.
    Samples alpha(1500, 255), red(1500, 150);
    for (int x : {0, 1, 2, 9}) alpha[static_cast<std::size_t>(x)] = 0;
    std::copy(kColours.begin(), kColours.end(), red.begin());
    const Samples line = BlendRow(alpha, red);
    EXPECT_EQ(Samples(line.begin(), line.begin() + 7), (Samples{35, 52, 68, 85, 102, 119, 77}));
}

TEST(EdgeBlending, DeepPlanesKeepTheLevelOf200) {
    const Samples deep{1200, 3100, 4700, 9000, 1000, 16000, 7700, 20400, 9900, 15000};
    const auto step = [&](std::uint16_t low, std::uint16_t high, RunKind kind) {
        Samples alpha(10, high);
        std::fill_n(alpha.begin(), 4, low);
        return BlendRow(alpha, deep, kind);
    };
    const Samples blended{1200, 3100, 3633, 6133, 6333, 11250, 16166, 20400, 9900, 15000};
    EXPECT_EQ(step(199, 16383, RunKind::kFull16), blended);
    EXPECT_EQ(step(199, 16382, RunKind::kFull16), deep);  // below half of 32767
    EXPECT_EQ(step(200, 32767, RunKind::kFull16), deep);
    // In a preview the half is 127: a low side of 127 refuses nothing, and candidate 2 writes as well.
    Samples wider = blended;
    wider[1] = (2 * 1200 + 3100) / 3;
    EXPECT_EQ(step(126, 201, RunKind::kPreview16), blended);
    EXPECT_EQ(step(127, 201, RunKind::kPreview16), wider);
    EXPECT_EQ(step(16383, 32767, RunKind::kFull16), deep);
}

TEST(EdgeBlending, SmallPicturesGetAnOpaqueAlphaOnly) {
    const Samples alpha{0, 0, 255, 255}, red{10, 90, 20, 80};
    EXPECT_EQ(BlendRow(alpha, red), red);
    EXPECT_EQ(BlendColumn(alpha, red), red);
    EXPECT_EQ(BlendColumn(alpha, red, RunKind::kFull16), red);
    // Five suffice for one candidate, by its far pair: (2 * 10 + 90) / 3, half, (80 + 2 * 30) / 3.
    EXPECT_EQ(BlendRow({0, 200, 200, 200, 255}, {10, 90, 20, 80, 30}), (Samples{10, 36, 41, 46, 30}));
}

}  // namespace

// Edge blending by itself, on planes laid by hand. Within a pass the last candidate to touch a pixel sets it;
// means weigh a sample by its distance from the candidate. At a radius of 1, the smallest:
//   before (2 * c[-2] + c[-1]) / 3, after (c[1] + 2 * c[2]) / 3, written to c[-1], c[0], c[1] as before, half
//   and half, after.
#include <gtest/gtest.h>

#include <algorithm>

#include "engine/keying.h"
#include "rig/engine_rig.h"

namespace {

using Samples = std::vector<std::uint16_t>;

enum class Along { kRow, kColumn };

// Blends a picture of one row or of one column. Its three colours are red, red + 1 and red / 2; gives red.
Samples Blend(Along along, const Samples& alpha, const Samples& red, RunKind kind = RunKind::kPreview8,
              Plane wanted = kOutR) {
    const auto length = static_cast<std::int32_t>(alpha.size());
    EngineRig rig(along == Along::kRow ? length : 1, along == Along::kRow ? 1 : length, kind);
    for (std::size_t n = 0; n < alpha.size(); ++n) {
        const auto i = static_cast<std::int64_t>(n);
        rig.Set(kOutA, i, alpha[n]);
        rig.SetColour(kOutR, i, red[n], static_cast<std::uint16_t>(red[n] + 1), red[n] / 2);
    }
    const bool deep = rig.globals.depthBytes == 2;
    (deep ? blendEdges16 : blendEdges8)(&rig.globals);
    Samples line;
    for (std::int64_t i = 0; i < rig.Pixels(); ++i) {
        line.push_back(rig.Get(wanted, i));
        EXPECT_EQ(rig.Get(kOutA, i), deep ? 65535 : 255);
    }
    EXPECT_TRUE(rig.GuardsStand());
    return line;
}

// An alpha of that many samples at one value and the others, up to `length`, at another.
Samples Step(std::size_t first, std::uint16_t before, std::uint16_t after, std::size_t length = 10) {
    Samples alpha(length, after);
    std::fill_n(alpha.begin(), first, before);
    return alpha;
}

const Samples kColours{12, 31, 47, 90, 10, 160, 77, 204, 99, 150};

TEST(EngineEdgeBlending, RowsBlendRisingAndFallingEdges) {
    // Steps up between 3 and 4: candidates 2 to 5, 2 refused by the 0 at 3. Then 3, 4 and 5 in turn: pixel 2
    // before 3: (2 * 31 + 47) / 3; pixel 3 before 4: (2 * 47 + 90) / 3; pixel 4 before 5: (2 * 90 + 10) / 3;
    // 5 in the middle of 5: half of that and of (77 + 2 * 204) / 3; pixel 6 that. Down between 4 and 5:
    // candidates 3 to 6, of which 6 is refused by the 0 at 5 before it.
    const Samples blended{12, 31, 36, 61, 63, 112, 161, 204, 99, 150};
    EXPECT_EQ(Blend(Along::kRow, Step(4, 0, 255), kColours), blended);
    EXPECT_EQ(Blend(Along::kRow, Step(5, 255, 0), kColours), blended);
    // The other channels go the same way: green + 1, blue by half (15 23 45 5 80 38 102).
    EXPECT_EQ(Blend(Along::kRow, Step(4, 0, 255), kColours, RunKind::kPreview8, kOutG),
              (Samples{13, 32, 37, 62, 64, 113, 162, 205, 100, 151}));
    EXPECT_EQ(Blend(Along::kRow, Step(4, 0, 255), kColours, RunKind::kPreview8, kOutB),
              (Samples{6, 15, 17, 30, 31, 56, 80, 102, 49, 75}));
    // The level of 200 is strict.
    EXPECT_EQ(Blend(Along::kRow, Step(5, 0, 200), kColours), kColours);
    EXPECT_EQ(Blend(Along::kRow, Step(5, 200, 255), kColours), kColours);
    EXPECT_NE(Blend(Along::kRow, Step(5, 199, 201), kColours), kColours);
    EXPECT_NE(Blend(Along::kRow, Step(5, 201, 199), kColours), kColours);
}

TEST(EngineEdgeBlending, ColumnsAskTheCandidatesOwnAlpha) {
    // Up between 3 and 4: candidates 3, 4 and, by the sample two above and one below, 5; 3 is itself below
    // half and refused. 3 before 4: (2 * 47 + 90) / 3; 4 before 5: (2 * 90 + 10) / 3; 5 half of that and of
    // (77 + 2 * 204) / 3; 6 that.
    EXPECT_EQ(Blend(Along::kColumn, Step(4, 0, 255), kColours),
              (Samples{12, 31, 47, 61, 63, 112, 161, 204, 99, 150}));
    // Down between 4 and 5: candidates 3 (one above, two below), 4 and 5, which is refused. 2 before 3: (2 *
    // 31 + 47) / 3; 3 before 4; 4 half of (2 * 47 + 90) / 3 and of (160 + 2 * 77) / 3 = 104.67; 5 that.
    EXPECT_EQ(Blend(Along::kColumn, Step(5, 255, 0), kColours),
              (Samples{12, 31, 36, 61, 83, 104, 77, 204, 99, 150}));
}

// What one candidate makes of its own place: 4 of its row half of (2 * 47 + 90) / 3 and of (160 + 2 * 77) /
// 3, 5 half of (2 * 90 + 10) / 3 and of (77 + 2 * 204) / 3. Alphas of 200 are no edge.
TEST(EngineEdgeBlending, FindsAndRefusesCandidates) {
    constexpr int kFour = 83, kFive = 112;
    const struct {
        Along along;
        Samples alpha;
        std::size_t at;
        int blended;  // 0: not at all
    } cases[] = {
        // Rows find edges by the near pair and by the far pair.
        {Along::kRow, {200, 200, 200, 199, 200, 201, 200, 200, 200, 200}, 4, kFour},
        {Along::kRow, {200, 200, 200, 199, 200, 200, 200, 201, 200, 200}, 5, kFive},
        {Along::kRow, {200, 200, 200, 201, 200, 200, 200, 199, 200, 200}, 5, kFive},
        // Rising, the samples behind are asked for half; falling, those before.
        {Along::kRow, {200, 200, 0, 199, 200, 201, 127, 200, 200, 200}, 4, kFour},
        {Along::kRow, {200, 200, 200, 199, 200, 201, 126, 200, 200, 200}, 4, 0},
        {Along::kRow, {200, 200, 127, 201, 200, 199, 0, 200, 200, 200}, 4, kFour},
        {Along::kRow, {200, 200, 126, 201, 200, 199, 200, 200, 200, 200}, 4, 0},
        // Rising by the near pair and falling by the far one: both sides are.
        {Along::kRow, {200, 200, 201, 126, 200, 201, 199, 200, 200, 200}, 4, 0},
        {Along::kRow, {200, 200, 201, 199, 200, 201, 126, 200, 200, 200}, 4, 0},
        // Columns ask the candidate's own alpha, whatever the others hold.
        {Along::kColumn, {200, 200, 200, 199, 127, 201, 0, 200, 200, 200}, 4, kFour},
        {Along::kColumn, {200, 200, 200, 199, 126, 201, 0, 200, 200, 200}, 4, 0},
        // Their wide tests pair two away with one away. Rising from 3 to 6, but not from 3 to 7; falling from
        // 4 to 7, but not from 3 to 7 or 3 to 6.
        {Along::kColumn, {200, 200, 200, 199, 200, 200, 201, 200, 200, 200}, 5, kFive},
        {Along::kColumn, {200, 200, 200, 199, 200, 200, 200, 201, 200, 200}, 5, 0},
        {Along::kColumn, {200, 200, 200, 200, 201, 200, 200, 199, 200, 200}, 5, kFive},
        {Along::kColumn, {200, 200, 200, 201, 200, 200, 200, 199, 200, 200}, 5, 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Blend(c.along, c.alpha, kColours)[c.at], c.blended == 0 ? kColours[c.at] : c.blended)
            << "case " << &c - cases;
    }
}

TEST(EngineEdgeBlending, ColumnsWorkOnWhatTheRowsMade) {
    // Six columns of five equal rows, but for the alpha: columns 3 to 5 are opaque from row 2 down. The rows
    // 2 to 4 have candidates 2 and 3, and write columns 1 to 4.
    EngineRig rig(6, 5, RunKind::kPreview8);
    for (int i = 0; i < 30; ++i) {
        rig.Set(kOutA, i, i % 6 >= 3 && i >= 12 ? 255 : 0);
        rig.Set(kOutR, i, static_cast<std::uint16_t>(kColours[static_cast<std::size_t>(i % 6)] + i / 6 * 16));
    }
    blendEdges8(&rig.globals);
    // Column 4: 10, 26 and then, after candidate 3, (42 + 2 * 192) / 3 = 142, 158, 174. Row 2 alone is a
    // candidate: before (2 * 10 + 26) / 3 = 15.3, after (158 + 2 * 174) / 3 = 168.7. Column 1 is transparent
    // all along: row 2 holds the mean before candidate 2, (2 * 44 + 63) / 3.
    const int column4[] = {10, 15, 92, 168, 174}, column1[] = {31, 47, 50, 66, 82};
    for (int y = 0; y < 5; ++y) {
        EXPECT_EQ(rig.Get(kOutR, y * 6 + 4), column4[y]) << "row " << y;
        EXPECT_EQ(rig.Get(kOutR, y * 6 + 1), column1[y]) << "row " << y;
    }
}

TEST(EngineEdgeBlending, RadiusFollowsTheWidth) {
    // A step of alpha and of colour, 40 to 200, at column 100. Candidates 99, 100 and 101 stand, 101 writes
    // last: of the samples before it 100 is already 200. Radius 1. 98 before 99: 40; 99 before 100: 40; 100
    // before 101: (2 * 40 + 200) / 3 = 93.3, 101 half. Radius 2, weights 1 to 4. 97 of 99: 40; 98 of 100: 40;
    // then 101 from 56 = (200 + 9 * 40) / 10 in quarters to 200. Radius 4, weights 1 to 8: 101 from 44.4 =
    // (200 + 35 * 40) / 36 in eighths. Below 97 the two candidates before it: 95 by 99: 40; 96 by 100: 40.
    const Samples one{40, 40, 40, 40, 40, 93, 146, 200, 200, 200, 200, 200},
        two{40, 40, 40, 40, 56, 92, 128, 164, 200, 200, 200, 200},
        four{40, 40, 44, 63, 83, 102, 122, 141, 161, 180, 200, 200};
    const std::pair<std::size_t, const Samples&> widths[] = {{300, one},  {999, one},   {1000, two},
                                                             {1499, two}, {2000, four}, {2600, four}};
    for (const auto& [width, expected] : widths) {
        const Samples line = Blend(Along::kRow, Step(100, 0, 255, width), Step(100, 40, 200, width));
        EXPECT_EQ(Samples(line.begin() + 95, line.begin() + 107), expected) << "width " << width;
    }
    // Stretches count what lies outside the picture. Radius 3 of a width of 1500. Candidate 2, rising; the
    // ones behind it are refused by the 0 at 9. Of its stretch -1 to 5 the first place falls outside, and
    // column 0 is the second: f = 1/6 of the way from (31 + 2 * 12) / 3 = 18.33 to (90 + 2 * 10 + 3 * 160 + 4
    // * 77 + 5 * 204 + 6 * 99) / 21 = 119.62.
    Samples alpha = Step(3, 0, 255, 1500), red(1500, 150);
    alpha[9] = 0;
    std::copy(kColours.begin(), kColours.end(), red.begin());
    const Samples line = Blend(Along::kRow, alpha, red);
    EXPECT_EQ(Samples(line.begin(), line.begin() + 7), (Samples{35, 52, 68, 85, 102, 119, 77}));
}

TEST(EngineEdgeBlending, DeepPlanesKeepTheLevelOf200) {
    // Half is that of 32767, and in a preview 127.
    const Samples deep{1200, 3100, 4700, 9000, 1000, 16000, 7700, 20400, 9900, 15000},
        blended{1200, 3100, 3633, 6133, 6333, 11250, 16166, 20400, 9900, 15000};
    EXPECT_EQ(Blend(Along::kRow, Step(4, 199, 16383), deep, RunKind::kFull16), blended);
    EXPECT_EQ(Blend(Along::kRow, Step(4, 199, 16382), deep, RunKind::kFull16), deep);
    EXPECT_EQ(Blend(Along::kRow, Step(4, 200, 32767), deep, RunKind::kFull16), deep);
    EXPECT_EQ(Blend(Along::kRow, Step(4, 126, 201), deep, RunKind::kPreview16), blended);
}

TEST(EngineEdgeBlending, SmallPicturesGetAnOpaqueAlphaOnly) {
    const Samples alpha{0, 0, 255, 255}, red{10, 90, 20, 80};
    for (const Along along : {Along::kRow, Along::kColumn}) EXPECT_EQ(Blend(along, alpha, red), red);
    // Five suffice for one candidate, by its far pair: (2 * 10 + 90) / 3, half, (80 + 2 * 30) / 3.
    EXPECT_EQ(Blend(Along::kRow, {0, 200, 200, 200, 255}, {10, 90, 20, 80, 30}),
              (Samples{10, 36, 41, 46, 30}));
}

}  // namespace

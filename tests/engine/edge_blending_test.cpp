// Edge blending alone (edge_blending.cases).
#include <gtest/gtest.h>

#include "tests/support/engine_cases.h"

namespace {

using namespace test_support;

void BlendEdges(TestEngine* engine) {
    EXPECT_EQ(keying::BlendEdges(engine->planes), keying::Status::kDone);
    EXPECT_TRUE(engine->GuardsIntact());
}

TEST(EngineEdgeBlending, MatchesItsCases) {
    const Numbers usualRed{12, 31, 47, 90, 10, 160, 77, 204, 99, 150};
    for (Case c : ReadCases("edge_blending")) {
        const Numbers &alphas = c.settings.at("alphas"), &red = c.Has("red") ? c.settings["red"] : usualRed;
        c.pixels.assign(alphas.size(), {Numbers{0, 0, 0}, {}, {}});
        if (c.Has("column")) c.settings["width"] = {1};
        const auto engine = EngineOf(c);
        for (std::size_t n = 0; n < alphas.size(); ++n) {
            const auto i = static_cast<std::int64_t>(n);
            const auto sample = static_cast<std::uint16_t>(red[n]);
            engine->Set(kOutA, i, static_cast<std::uint16_t>(alphas[n]));
            engine->SetColour(kOutR, i, sample, static_cast<std::uint16_t>(sample + 1), sample / 2);
        }
        BlendEdges(engine.get());
        const auto plane = static_cast<Plane>(c.Value("plane", kOutR));
        const auto from = static_cast<std::int64_t>(c.Value("from", 0));
        Numbers found;
        for (std::size_t n = 0; n < c.expected.size(); ++n)
            found.push_back(engine->Get(plane, from + static_cast<std::int64_t>(n)));
        EXPECT_EQ(found, c.expected) << c.name;
        for (std::int64_t i = 0; i < engine->Pixels(); ++i)
            ASSERT_EQ(engine->Get(kOutA, i), engine->planes.depth == 2 ? 65535 : 255) << c.name;
    }
}

TEST(EngineEdgeBlending, ColumnsFollowTheRows) {
    // Six columns of five rows, equal but for alpha: columns 3 to 5 are opaque from row 2 down. The rows
    // 2 to 4 have candidates 2 and 3, and write columns 1 to 4.
    constexpr int kColours[] = {12, 31, 47, 90, 10, 160};
    TestEngine engine(6, 5, RunKind::kPreview8);
    for (int i = 0; i < 30; ++i) {
        engine.Set(kOutA, i, i % 6 >= 3 && i >= 12 ? 255 : 0);
        engine.Set(kOutR, i, static_cast<std::uint16_t>(kColours[i % 6] + i / 6 * 16));
    }
    BlendEdges(&engine);
    // Column 4: 10, 26 and then, after candidate 3, (42 + 2 * 192) / 3 = 142, 158, 174. Row 2 alone is a
    // candidate: before (2 * 10 + 26) / 3 = 15.3, after (158 + 2 * 174) / 3 = 168.7. Column 1 is transparent
    // in all rows: row 2 has the mean before candidate 2, (2 * 44 + 63) / 3.
    const int column4[] = {10, 15, 92, 168, 174}, column1[] = {31, 47, 50, 66, 82};
    for (int y = 0; y < 5; ++y) {
        EXPECT_EQ(engine.Get(kOutR, y * 6 + 4), column4[y]) << "row " << y;
        EXPECT_EQ(engine.Get(kOutR, y * 6 + 1), column1[y]) << "row " << y;
    }
}

}  // namespace

// Edge blending alone (edge_blending.cases).
#include <gtest/gtest.h>

#include "tests/support/engine_cases.h"

namespace {

using namespace test_support;

void BlendEdges(TestEngine* engine) {
    EXPECT_EQ(keying::BlendEdges(engine->settings, engine->planes), keying::Status::kDone);
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

}  // namespace

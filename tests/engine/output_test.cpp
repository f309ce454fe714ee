// The refinement (refinement.cases), the writers (output.cases), the selection, and the flush after a stop.
#include <gtest/gtest.h>

#include "tests/support/engine_cases.h"

namespace {

using namespace test_support;

using Pixel = std::array<int, 4>;

TEST(EngineRefinement, MatchesItsCases) {
    ExpectPictures("refinement");
}

TEST(EngineWriters, MatchTheirCases) {
    ExpectPictures("output");
}

TEST(EngineSelection, RestoresThePhotoOutsideIt) {
    // A half-transparent top layer on white, which every composite changes. Green is 0, which the fetch
    // changes to 1. Selections are bytes at both depths: at 16 bits pixel 5 belongs to the high byte of
    // sample 2. They do not count in the flush after refined rows, from pixel 6 on.
    for (const RunKind kind : {RunKind::kFull8, RunKind::kFull16}) {
        for (const unsigned flags : {kPhoto, kPhoto | kBlend | kTransparency}) {
            for (const bool have : {false, true}) {
                TestEngine engine(3, 4, kind);
                SetFlags(&engine, flags);
                engine.SetHasSelection(have);
                const auto M = static_cast<std::uint16_t>(engine.planes.maxSample);
                engine.Fill(kTopA, M / 2);
                engine.Fill(kTopR, M / 3);
                for (Plane plane : {kBottomR, kBottomG, kBottomB}) engine.Fill(plane, M);
                engine.Fill(kSelection, 0x0101);
                for (int i : {1, 5, 7, 11}) engine.Bytes(kSelection)[i] = 0;
                engine.Key();
                for (int i = 0; i < 12; ++i) {
                    const bool outside = i == 1 || i == 5 || (flags != kPhoto && (i == 7 || i == 11));
                    EXPECT_EQ(OutPixel(engine, i) == (Pixel{M / 3, 0, 0, M / 2}), have && outside)
                        << "pixel " << i << ", flags " << flags;
                }
            }
        }
    }
}

TEST(EngineFlush, AfterAStopWritesTheRingsRows) {
    // 100 rows, stopped in row 23: its slot, 3, still has row 18, and the slot before row 22. These are
    // written to rows 98 and 99. Red of row y is 2 * y + 1, times 128 / 255 over black: 45 gives 22.6, 37
    // gives 18.6.
    TestEngine engine(2, 100, RunKind::kFull8);
    const TestEngine untouched(2, 100, RunKind::kFull8);
    SetFlags(&engine, kPhoto);
    engine.Fill(kTopA, 128);
    for (int i = 0; i < 200; ++i) engine.SetColour(kTopR, i, static_cast<std::uint16_t>(i / 2 * 2 + 1), 5, 5);
    engine.stopFromRow = 20;
    engine.Key();
    EXPECT_EQ(engine.Get(kOutA, 2 * 20), 128);  // the last row refined
    EXPECT_EQ(OutPixel(engine, 2 * 22), (Pixel{45, 5, 5, untouched.Get(kOutA, 2 * 22)}));  // as fetched
    for (int i = 2 * 23; i < 2 * 98; ++i) ASSERT_EQ(OutPixel(engine, i), OutPixel(untouched, i)) << i;
    EXPECT_EQ(OutPixel(engine, 2 * 98), (Pixel{22, 2, 2, 255}));
    EXPECT_EQ(OutPixel(engine, 2 * 99), (Pixel{18, 2, 2, 255}));
    EXPECT_EQ(engine.result.rows, 100);  // a flush counts as the end of the picture
}

}  // namespace

// What must hold for any picture: blue against exchanged planes, how far a row's influence reaches, and that
// a run leaves nothing behind for the next.
#include <gtest/gtest.h>

#include "engine_rig.h"
#include "engine_scenes.h"

namespace {

constexpr unsigned kAllFlags = 32, kBlue = 1, kPhoto = 2, kView = 4, kBlend = 8, kTransparency = 16;

bool FinalRender(RunKind kind) {
    return kind == RunKind::kFull8 || kind == RunKind::kFull16;
}

TEST(EngineProperties, BlueEqualsExchangedPlanes) {
    // The search has tests of its own for a blue backdrop, so the photo is shown: all that is left is the
    // exchange. The flush does not make it, but for a few pixels, and its rows are left out.
    for (const RunKind kind : kRunKinds) {
        for (unsigned flags = 0; flags < kAllFlags; ++flags) {
            if (!(flags & kBlue) || !(flags & kPhoto)) continue;
            EngineRig blue(37, 23, kind), exchanged(37, 23, kind);
            PaintScene(&blue, Scene::kNoise, flags);
            PaintScene(&exchanged, Scene::kNoise, flags);
            for (EngineRig* rig : {&blue, &exchanged}) {
                rig->HaveSelection(true);
                // The lift of refined rows goes by the brightness of the picture's own channels.
                if (!(flags & (kBlend | kTransparency))) rig->CopyPlane(kBottomB, kBottomG);
            }
            SetFlags(&blue, flags);
            SetFlags(&exchanged, flags & ~kBlue);
            exchanged.ExchangePlanes(kTopG, kTopB);
            exchanged.ExchangePlanes(kBottomG, kBottomB);
            exchanged.ExchangePlanes(kOutG, kOutB);
            blue.AnalyseAndKey();
            exchanged.AnalyseAndKey();
            exchanged.ExchangePlanes(kOutG, kOutB);
            if (!(flags & (kView | kBlend))) {
                const std::int64_t flushed = std::int64_t{37} * (23 - (FinalRender(kind) ? 2 : 1));
                for (Plane plane : kOutputs) {
                    for (std::int64_t i = flushed; i < blue.Pixels(); ++i)
                        exchanged.Set(plane, i, blue.Get(plane, i));
                }
            }
            EXPECT_EQ(FirstDifference(exchanged, blue), "") << "flags " << flags;
        }
    }
}

// Changes row `row` of the layers and tells the first and the last row of the outputs that differ; -1, -1
// when none does. The backdrop stays the one measured before.
struct Reach {
    std::int32_t first, last;
};

Reach ReachOfRow(RunKind kind, unsigned flags, std::int32_t row) {
    constexpr std::int32_t kWidth = 31, kHeight = 19;
    EngineRig before(kWidth, kHeight, kind), after(kWidth, kHeight, kind);
    for (EngineRig* rig : {&before, &after}) {
        SetFlags(rig, flags);
        PaintScene(rig, Scene::kSubject, 5);
    }
    before.AnalyseAndKey();
    Random random(row);
    for (std::int64_t i = std::int64_t{row} * kWidth; i < (std::int64_t{row} + 1) * kWidth; ++i) {
        for (Plane plane : {kTopR, kTopG, kTopB, kTopA, kBottomR, kBottomG, kBottomB}) {
            after.Set(plane, i,
                      static_cast<std::uint16_t>(
                          random.Below(static_cast<std::uint32_t>(after.globals.maxSample) + 1)));
        }
    }
    after.globals.backdropMeanG = before.globals.backdropMeanG;
    after.Key();
    Reach reach{-1, -1};
    for (std::int64_t i = 0; i < before.Pixels(); ++i) {
        for (Plane plane : kOutputs) {
            if (before.Get(plane, i) == after.Get(plane, i)) continue;
            const auto y = static_cast<std::int32_t>(i / kWidth);
            if (reach.first < 0) reach.first = y;
            reach.last = y;
        }
    }
    return reach;
}

// Not the half of the picture: there the bytes lie that the flush of 16-bit planes takes for samples.
constexpr std::int32_t kMiddle = 5;

TEST(EngineProperties, RowsReachAsFarAsTheirWindow) {
    for (const RunKind kind : kRunKinds) {
        const std::int32_t radius = FinalRender(kind) ? 2 : 1;
        for (unsigned flags = 0; flags < kAllFlags; ++flags) {
            // Refined rows: the window's half height each way. Direct rows: none. Edge blending at its
            // smallest radius: two rows to see the edge, or to gather, and one to write.
            const bool refined = !(flags & kBlend);
            const bool blended = !refined && !(flags & kTransparency);
            const std::int32_t reach = refined ? radius : blended ? 3 : 0;
            for (const std::int32_t row : {0, kMiddle, 18}) {
                const Reach found = ReachOfRow(kind, flags, row);
                ASSERT_GE(found.first, 0) << "row " << row << ", flags " << flags;
                EXPECT_GE(found.first, row - reach) << "row " << row << ", flags " << flags;
                EXPECT_LE(found.last, row + reach) << "row " << row << ", flags " << flags;
            }
            // And it does reach that far, where the photo's own noise has a say.
            if (refined && !(flags & kView)) {
                EXPECT_EQ(ReachOfRow(kind, flags, kMiddle).first, kMiddle - radius) << "flags " << flags;
            }
        }
    }
}

TEST(EngineProperties, TransparencyKnowsNoBottomLayer) {
    for (const RunKind kind : kRunKinds) {
        EngineRig rig(33, 18, kind), other(33, 18, kind);
        for (EngineRig* each : {&rig, &other}) {
            PaintScene(each, Scene::kSubject, 8);
            SetFlags(each, kBlend | kTransparency);
        }
        for (Plane plane : {kBottomR, kBottomG, kBottomB}) other.Fill(plane, 200);
        rig.AnalyseAndKey();
        other.AnalyseAndKey();
        EXPECT_EQ(FirstDifference(rig, other), "");
    }
}

TEST(EngineProperties, RunsLeaveNothingBehind) {
    // Planes at any place, after runs of other kinds: the same result, no block kept, no byte outside
    // touched.
    for (const RunKind kind : kRunKinds) {
        for (unsigned flags = 0; flags < kAllFlags; ++flags) {
            EngineRig first(29, 24, kind), second(29, 24, kind, static_cast<std::int32_t>(flags % 7 + 1));
            PaintScene(&first, Scene::kHair, flags);
            SetFlags(&first, flags);
            first.AnalyseAndKey();

            EngineRig between(64, 30, RunKind::kFull16);
            PaintScene(&between, Scene::kExtremes, flags);
            SetFlags(&between, ~flags);
            between.AnalyseAndKey();

            PaintScene(&second, Scene::kHair, flags);
            SetFlags(&second, flags);
            second.AnalyseAndKey();
            EXPECT_EQ(FirstDifference(first, second), "") << "flags " << flags;
            for (const EngineRig* rig : {&first, &between, &second}) {
                EXPECT_TRUE(rig->GuardsStand()) << "flags " << flags;
                EXPECT_EQ(rig->LiveBlocks(), 0) << "flags " << flags;
            }
        }
    }
}

}  // namespace

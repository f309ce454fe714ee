// The refinement of the rows behind, by the cases of refinement.cases.
#include <gtest/gtest.h>

#include "cases.h"

namespace {

TEST(EngineRefinement, GivesWhatTheCasesSay) {
    ExpectPictures("refinement");
}

TEST(EngineRefinement, SmoothsFromADifferenceOfExactlyOneTenth) {
    // Backdrop, keyed to an alpha of 0, and one pixel whose alpha is 0.1 to the last bit:
    // the first estimate (180 - 155) / (255 - 155), by the contrast (0.25 - 0.5) * 2 + 0.5, and 0.1 of
    // offset.
    EngineRig rig(40, 2, RunKind::kPreview8);
    Globals& g = rig.globals;
    rig.LayBackdrop(100, 155, 50);
    g.backdropMeanG = 255;
    g.SliderRemoveGreen = -300;
    g.SliderRestoreBlack = g.SliderAlterGreen = 0;
    g.SliderSelectTransp = 110;
    g.SliderScaleTransp = 100;
    SetFlags(&rig, kBlue);
    for (int i = 0; i < 80; ++i) rig.SetColour(kTopR, i, 100, 50, i == 44 ? 180 : 155);
    for (int x = 0; x < 40; ++x) rig.SetColour(kBottomR, x, 0, 0, x == 6 ? 90 : 30);
    rig.Key();
    // Beside it the window holds that difference and no other. Its foreground is (78.9, 201.1, 39.4)
    // logically, of which green is 201.1 * 0.1 + 30 * 0.9 = 47.1: (5 * (50 * 30 + 45 * 47.1) + 10 * 80 * 30 +
    // 30 * 80 * 90) / (5 * 95 + 10 * 80 + 30 * 80) = 70.2. Kept, it would be 30.
    EXPECT_EQ(rig.Get(kOutB, 5), 70);
}

}  // namespace

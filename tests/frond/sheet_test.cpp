// The crop that a contact sheet finds, and its words for settings.
#include <gtest/gtest.h>

#include "frond/sheet_picture.h"

namespace {

using namespace frond;

// Grains of all values to the left, and a subject to the right with a soft upper edge, 5 samples wide.
Survey MakeSurvey(bool hasGrains, bool hasSubject) {
    Survey survey;
    survey.step = 3;
    survey.width = 200;
    survey.height = 90;
    for (int i = 0; i < 200 * 90; ++i) {
        const int x = i % 200, y = i / 200;
        const int grain = hasGrains && x < 60 ? i * 7919 % 256 : 0;
        const int subject = std::clamp((y - 40) * 50, 0, 255);
        survey.alpha.push_back(static_cast<std::uint8_t>(hasSubject && x >= 140 ? subject : grain));
    }
    return survey;
}

TEST(Sheet, FindsTheSubjectsSoftEdge) {
    const CropRequest size{120, 60};
    const std::optional<Area> edge = FindSoftestArea(MakeSurvey(true, true), 599, 269, size);
    ASSERT_TRUE(edge);
    EXPECT_GE(edge->left, 140 * 3);
    EXPECT_LE(edge->left + edge->width, 599);
    EXPECT_LT(edge->top, 40 * 3);
    EXPECT_GT(edge->top + edge->height, 46 * 3);
    const std::optional<Area> grains = FindSoftestArea(MakeSurvey(true, false), 599, 269, size);
    ASSERT_TRUE(grains);
    EXPECT_LE(grains->left, 20 * 3);
    EXPECT_FALSE(FindSoftestArea(MakeSurvey(false, false), 599, 269, size));
    const std::optional<Area> whole = FindSoftestArea(MakeSurvey(true, true), 599, 269, {599, 269});
    ASSERT_TRUE(whole);
    EXPECT_TRUE(whole->left == 0 && whole->top == 0);
}

TEST(Sheet, DescribesSettings) {
    ParameterValues values;
    SetValue(values, "SliderScaleTransp", -5);
    SetValue(values, "FlagRealityInteg", 0);
    SetValue(values, "FlagBlueLogic", 1);
    EXPECT_EQ(DescribeSettings(values),
              "remove-green 40, restore-black 20, alter-green 100, select-transparency 100, "
              "scale-transparency -5, background-level 100, blend off, blue on");
}

}  // namespace

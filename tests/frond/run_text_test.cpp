// The texts that show how far a run is. The time is an argument.
#include "frond/run_text.h"

#include <gtest/gtest.h>

namespace {

using namespace frond;

TEST(RunText, FormatsDurations) {
    const std::pair<double, const char*> cases[] = {{-1, "0.0 s"},
                                                    {0.04, "0.0 s"},
                                                    {9.94, "9.9 s"},
                                                    {9.96, "10 s"},
                                                    {59.4, "59 s"},
                                                    {59.5, "1 min 0 s"},
                                                    {260, "4 min 20 s"},
                                                    {3599.4, "59 min 59 s"},
                                                    {3599.5, "1 h 0 min"},
                                                    {3 * 3600 + 119, "3 h 1 min"},
                                                    {1e300, "277777 h 46 min"}};
    for (const auto& [seconds, text] : cases) EXPECT_EQ(FormatDuration(seconds), text) << seconds;
}

TEST(RunText, FitsTheStatusToTheColumns) {
    const RunCounts counts{200, 35, 2, 0};
    const std::string label = "\u65e5\u672c-long-name.jpg";
    const std::pair<int, const char*> cases[] = {
        {70, "37 of 200, 2 failed, 1.3 s each, 4 min left  \u65e5\u672c-long-name.jpg"},
        {54, "37 of 200, 2 failed, 1.3 s each, 4 min left  \u65e5\u672c-long"},
        {52, "37 of 200, 2 failed, 1.3 s each, 4 min left"},
        {42, "37 of 200, 2 failed, 4 min left  \u65e5\u672c-long"},
        {31, "37 of 200, 2 failed, 4 min left"},
        {30, "37 of 200, 2 failed  \u65e5\u672c-long"},
        {19, "37 of 200, 2 failed"},
        {5, "37 of"},
        {0, ""}};
    for (const auto& [columns, text] : cases) {
        EXPECT_EQ(FormatStatus(counts, 37 * 1.3, label, columns), text) << columns;
        EXPECT_LE(ColumnsOf(text), columns);
    }
    EXPECT_EQ(FormatStatus({3, 0, 0, 0}, 5, "", 80), "0 of 3");
    EXPECT_EQ(FormatStatus({3, 3, 0, 0}, 6, "", 29), "3 of 3, 2.0 s each");
    EXPECT_EQ(FormatSummary({200, 198, 2, 7}, 260),
              "198 of 200 results written, 2 failed, 7 were there, 4 min 20 s");
}

}  // namespace

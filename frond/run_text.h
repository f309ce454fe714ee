// The texts that show how far a run is.
#pragma once

#include <cstddef>
#include <string>

namespace frond {

struct RunCounts {
    std::size_t total = 0;     // results to make
    std::size_t written = 0;   // complete results
    std::size_t failed = 0;    // results that could not be made
    std::size_t existing = 0;  // results that were there and were left; not in `total`
};

// "0.4 s", "12 s", "4 min 20 s" or "1 h 5 min".
std::string FormatDuration(double seconds);

// "37 of 200, 2 failed, 1.3 s each, 4 min left" after `seconds`, and the label, in at most `columns` columns.
// Parts that do not fit are left out: the label's end, the time of each, the time left.
std::string FormatStatus(const RunCounts& counts, double seconds, const std::string& label, int columns);

// The same without an end: "37 done, 2 failed, 3 waiting", or ", watching" when none waits, and the label.
std::string FormatEndlessStatus(const RunCounts& counts, const std::string& label, int columns);

// "198 of 200 results written, 2 failed, 4 min 20 s".
std::string FormatSummary(const RunCounts& counts, double seconds);

// The columns of a printable text in UTF-8. Characters from U+1000, which may be wide, count as two.
int ColumnsOf(const std::string& text);

// The start of the text that fits the columns.
std::string TruncateToColumns(const std::string& text, int columns);

}  // namespace frond

// One line on standard error that shows how far a command is, if that is a terminal; else nothing. For one
// result it is a bar, for several a text.
#pragma once

#include <cstdint>
#include <string>

namespace frond {

struct ProgressBar {
    bool isShown;         // standard error is a terminal, and not --quiet
    bool isText = false;  // ShowLine is used instead of ShowProgress, which then has no effect
    std::string label;    // the picture's name
    int lastPercent = -1;
    int shownColumns = 0;  // of the line on the terminal

    explicit ProgressBar(bool quiet);
    ~ProgressBar();  // clears the line
};

// Starts at 0 for the next picture.
void StartProgress(ProgressBar& bar, const std::string& label);
void ShowProgress(ProgressBar& bar, std::int32_t done, std::int32_t total);

// The columns that a line may have now.
int LineColumns();

// Replaces the line. The text is printable and has at most LineColumns() columns.
void ShowLine(ProgressBar& bar, const std::string& text);

// Clears the line before a message.
void ClearProgress(ProgressBar& bar);

bool IsErrorTerminal();

}  // namespace frond

// A progress bar on standard error if that is a terminal; else nothing.
#pragma once

#include <cstdint>
#include <string>

namespace frond {

struct ProgressBar {
    bool isShown;       // standard error is a terminal, and not --quiet
    std::string label;  // the picture's name
    int lastPercent = -1;

    explicit ProgressBar(bool quiet);
    ~ProgressBar();  // clears the line
};

// Starts at 0 for the next picture.
void StartProgress(ProgressBar& bar, const std::string& label);
void ShowProgress(ProgressBar& bar, std::int32_t done, std::int32_t total);

// Clears the line before a message.
void ClearProgress(ProgressBar& bar);

}  // namespace frond

// A bar on the terminal; nothing where standard error is no terminal.
#pragma once

#include <cstdint>
#include <string>

namespace frond {

struct ProgressBar {
    bool isShown;       // standard error is a terminal, and nobody asked for quiet
    std::string label;  // of the picture at work
    int lastPercent = -1;

    explicit ProgressBar(bool quiet);
    ~ProgressBar();  // leaves a clean line
};

// Starts again at 0 for the next picture.
void Begin(ProgressBar& bar, const std::string& label);
void Advance(ProgressBar& bar, std::int32_t done, std::int32_t total);

// Takes the bar off the line, so that a message can stand there.
void Clear(ProgressBar& bar);

}  // namespace frond

#include "frond/progress_bar.h"

#include <algorithm>
#include <cstdio>

#ifdef _WIN32
#include <io.h>
#include <windows.h>
#else
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace frond {

namespace {

constexpr int kBarWidth = 40, kMinBarWidth = 5, kLabelWidth = 20, kDefaultColumns = 80;

bool IsTerminal() {
#ifdef _WIN32
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(fileno(stderr)) != 0;
#endif
}

int TerminalColumns() {
#ifdef _WIN32
    CONSOLE_SCREEN_BUFFER_INFO info;
    const bool isKnown = GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info) != 0;
    const int columns = isKnown ? info.srWindow.Right - info.srWindow.Left + 1 : 0;
#else
    winsize size{};
    const int columns = ioctl(fileno(stderr), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
#endif
    return columns > 0 ? columns : kDefaultColumns;
}

// The start of the text that fits the columns. Counts two columns for characters from U+1000, which may be
// wide.
std::string TruncateToColumns(const std::string& text, int columns) {
    std::size_t end = 0;
    while (end < text.size()) {
        columns -= static_cast<unsigned char>(text[end]) < 0xE1 ? 1 : 2;
        if (columns < 0) break;
        do ++end;
        while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80);
    }
    return text.substr(0, end);
}

// Leaves columns for the label, and the last column free, where terminals wrap.
std::string Line(int percent, const std::string& label, int columns) {
    const int bar = std::min(kBarWidth, columns - 1 - 7 - 1 - kLabelWidth);
    std::string line;
    if (bar >= kMinBarWidth) {
        line = "[" + std::string(static_cast<std::size_t>(percent * bar / 100), '#');
        line.resize(static_cast<std::size_t>(bar) + 1, '.');
        line += "] ";
    }
    const std::string number = std::to_string(percent);
    line += std::string(3 - number.size(), ' ') + number + "% ";
    return TruncateToColumns(line + label, columns - 1);
}

}  // namespace

ProgressBar::ProgressBar(bool quiet) : isShown(!quiet && IsTerminal()) {}

ProgressBar::~ProgressBar() {
    ClearProgress(*this);
}

void StartProgress(ProgressBar& bar, const std::string& label) {
    ClearProgress(bar);
    bar.label = label;
    ShowProgress(bar, 0, 1);
}

void ShowProgress(ProgressBar& bar, std::int32_t done, std::int32_t total) {
    if (!bar.isShown || total <= 0) return;
    const int percent = static_cast<int>(std::clamp<std::int64_t>(std::int64_t{done} * 100 / total, 0, 100));
    if (percent == bar.lastPercent) return;
    bar.lastPercent = percent;
    std::fprintf(stderr, "\r%s", Line(percent, bar.label, TerminalColumns()).c_str());
    std::fflush(stderr);
}

void ClearProgress(ProgressBar& bar) {
    if (!bar.isShown || bar.lastPercent < 0) return;
    const std::string blank(static_cast<std::size_t>(TerminalColumns() - 1), ' ');
    std::fprintf(stderr, "\r%s\r", blank.c_str());
    std::fflush(stderr);
    bar.lastPercent = -1;
}

}  // namespace frond

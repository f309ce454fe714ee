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

#include "frond/run_text.h"

namespace frond {

namespace {

constexpr int kBarWidth = 40, kMinBarWidth = 5, kLabelWidth = 20, kDefaultColumns = 80;

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

// Leaves columns for the label.
std::string Line(int percent, const std::string& label, int columns) {
    const int bar = std::min(kBarWidth, columns - 7 - 1 - kLabelWidth);
    std::string line;
    if (bar >= kMinBarWidth) {
        line = "[" + std::string(static_cast<std::size_t>(percent * bar / 100), '#');
        line.resize(static_cast<std::size_t>(bar) + 1, '.');
        line += "] ";
    }
    const std::string number = std::to_string(percent);
    line += std::string(3 - number.size(), ' ') + number + "% ";
    return TruncateToColumns(line + label, columns);
}

}  // namespace

bool IsErrorTerminal() {
#ifdef _WIN32
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(fileno(stderr)) != 0;
#endif
}

ProgressBar::ProgressBar(bool quiet) : isShown(!quiet && IsErrorTerminal()) {}

ProgressBar::~ProgressBar() {
    ClearProgress(*this);
}

void StartProgress(ProgressBar& bar, const std::string& label) {
    bar.label = label;
    if (bar.isText) return;
    ClearProgress(bar);
    ShowProgress(bar, 0, 1);
}

void ShowProgress(ProgressBar& bar, std::int32_t done, std::int32_t total) {
    if (!bar.isShown || bar.isText || total <= 0) return;
    const int percent = static_cast<int>(std::clamp<std::int64_t>(std::int64_t{done} * 100 / total, 0, 100));
    if (percent == bar.lastPercent) return;
    ShowLine(bar, Line(percent, bar.label, LineColumns()));
    bar.lastPercent = percent;
}

// Terminals wrap in the last column.
int LineColumns() {
    return TerminalColumns() - 1;
}

void ShowLine(ProgressBar& bar, const std::string& text) {
    if (!bar.isShown) return;
    const int columns = ColumnsOf(text), left = std::min(bar.shownColumns, LineColumns()) - columns;
    std::fprintf(stderr, "\r%s%*s", text.c_str(), std::max(0, left), "");
    std::fflush(stderr);
    bar.shownColumns = columns;
}

void ClearProgress(ProgressBar& bar) {
    bar.lastPercent = -1;
    if (bar.shownColumns == 0) return;
    ShowLine(bar, "");
    std::fprintf(stderr, "\r");
    std::fflush(stderr);
}

}  // namespace frond

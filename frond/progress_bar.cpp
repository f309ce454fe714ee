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

constexpr int kBarWidth = 40, kLeastBar = 5, kLabelWidth = 20, kUsualColumns = 80;

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
    return columns > 0 ? columns : kUsualColumns;
}

// As much of the text's beginning as the columns hold. From U+1000 on a character may take two of them.
std::string Shortened(const std::string& text, int columns) {
    std::size_t end = 0;
    while (end < text.size()) {
        columns -= static_cast<unsigned char>(text[end]) < 0xE1 ? 1 : 2;
        if (columns < 0) break;
        do ++end;
        while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80);
    }
    return text.substr(0, end);
}

// The bar leaves the label some columns and the last column free, where a terminal would wrap.
std::string Line(int percent, const std::string& label, int columns) {
    const int bar = std::min(kBarWidth, columns - 1 - 7 - 1 - kLabelWidth);
    std::string line;
    if (bar >= kLeastBar) {
        line = "[" + std::string(static_cast<std::size_t>(percent * bar / 100), '#');
        line.resize(static_cast<std::size_t>(bar) + 1, '.');
        line += "] ";
    }
    const std::string number = std::to_string(percent);
    line += std::string(3 - number.size(), ' ') + number + "% ";
    return Shortened(line + label, columns - 1);
}

}  // namespace

ProgressBar::ProgressBar(bool quiet) : isShown(!quiet && IsTerminal()) {}

ProgressBar::~ProgressBar() {
    Clear(*this);
}

void Begin(ProgressBar& bar, const std::string& label) {
    Clear(bar);
    bar.label = label;
    Advance(bar, 0, 1);
}

void Advance(ProgressBar& bar, std::int32_t done, std::int32_t total) {
    if (!bar.isShown || total <= 0) return;
    const int percent = static_cast<int>(std::clamp<std::int64_t>(std::int64_t{done} * 100 / total, 0, 100));
    if (percent == bar.lastPercent) return;
    bar.lastPercent = percent;
    std::fprintf(stderr, "\r%s", Line(percent, bar.label, TerminalColumns()).c_str());
    std::fflush(stderr);
}

void Clear(ProgressBar& bar) {
    if (!bar.isShown || bar.lastPercent < 0) return;
    const std::string blank(static_cast<std::size_t>(TerminalColumns() - 1), ' ');
    std::fprintf(stderr, "\r%s\r", blank.c_str());
    std::fflush(stderr);
    bar.lastPercent = -1;
}

}  // namespace frond

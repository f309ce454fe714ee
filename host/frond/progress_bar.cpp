#include "host/frond/progress_bar.h"

#include <algorithm>
#include <cstdio>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace frond {

namespace {

constexpr int kBarWidth = 40;

bool IsTerminal() {
#ifdef _WIN32
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(fileno(stderr)) != 0;
#endif
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
    std::string line(static_cast<std::size_t>(percent * kBarWidth / 100), '#');
    line.resize(kBarWidth, '.');
    std::fprintf(stderr, "\r[%s] %3d%% %s", line.c_str(), percent, bar.label.c_str());
    std::fflush(stderr);
}

void Clear(ProgressBar& bar) {
    if (!bar.isShown || bar.lastPercent < 0) return;
    const std::string blank(kBarWidth + 8 + bar.label.size(), ' ');
    std::fprintf(stderr, "\r%s\r", blank.c_str());
    std::fflush(stderr);
    bar.lastPercent = -1;
}

}  // namespace frond

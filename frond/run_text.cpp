#include "frond/run_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace frond {

namespace {

// Shorter labels say nothing.
constexpr int kLeastLabelColumns = 8;
constexpr double kMostSeconds = 1e9;

std::string WholeNumber(double value) {
    return std::to_string(static_cast<long long>(value));
}

// In whole seconds below a minute, in whole minutes above.
std::string FormatRoughly(double seconds) {
    if (seconds <= 59) return WholeNumber(std::ceil(seconds)) + " s";
    const double minutes = std::ceil(seconds / 60);
    if (minutes < 60) return WholeNumber(minutes) + " min";
    return FormatDuration(minutes * 60);
}

bool IsContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

int ColumnsOfLead(char byte) {
    return static_cast<unsigned char>(byte) < 0xE1 ? 1 : 2;
}

// The first of the lines that fits, and after it the start of the label if that says something.
std::string FitLine(std::initializer_list<std::string> lines, const std::string& label, int columns) {
    for (const std::string& line : lines) {
        const int free = columns - ColumnsOf(line);
        if (free < 0) continue;
        if (label.empty() || free < 2 + kLeastLabelColumns) return line;
        return line + "  " + TruncateToColumns(label, free - 2);
    }
    return TruncateToColumns(*(lines.end() - 1), columns);
}

}  // namespace

std::string FormatDuration(double seconds) {
    seconds = std::clamp(seconds, 0.0, kMostSeconds);
    if (seconds < 9.95) {
        char text[16];
        std::snprintf(text, sizeof text, "%.1f s", seconds);
        return text;
    }
    const double whole = std::round(seconds);
    if (whole < 60) return WholeNumber(whole) + " s";
    const double minutes = std::floor(whole / 60);
    if (minutes < 60) return WholeNumber(minutes) + " min " + WholeNumber(whole - minutes * 60) + " s";
    const double hours = std::floor(minutes / 60);
    return WholeNumber(hours) + " h " + WholeNumber(minutes - hours * 60) + " min";
}

std::string FormatStatus(const RunCounts& counts, double seconds, const std::string& label, int columns) {
    const std::size_t done = counts.written + counts.failed;
    const std::string count = std::to_string(done) + " of " + std::to_string(counts.total);
    std::string failed, each, left;
    if (counts.failed > 0) failed = ", " + std::to_string(counts.failed) + " failed";
    if (done > 0) {
        const double one = std::clamp(seconds, 0.0, kMostSeconds) / static_cast<double>(done);
        each = ", " + FormatDuration(one) + " each";
        if (counts.total > done)
            left = ", " + FormatRoughly(one * static_cast<double>(counts.total - done)) + " left";
    }
    return FitLine({count + failed + each + left, count + failed + left, count + failed}, label, columns);
}

std::string FormatEndlessStatus(const RunCounts& counts, const std::string& label, int columns) {
    const std::size_t done = counts.written + counts.failed;
    std::string line = std::to_string(counts.written) + " done";
    if (counts.failed > 0) line += ", " + std::to_string(counts.failed) + " failed";
    line += counts.total > done ? ", " + std::to_string(counts.total - done) + " waiting" : ", watching";
    return FitLine({line}, label, columns);
}

std::string FormatSummary(const RunCounts& counts, double seconds) {
    std::string line = std::to_string(counts.written) + " of " + std::to_string(counts.total) +
                       (counts.total == 1 ? " result written" : " results written");
    if (counts.failed > 0) line += ", " + std::to_string(counts.failed) + " failed";
    if (counts.existing > 0) line += ", " + std::to_string(counts.existing) + " were there";
    return line + ", " + FormatDuration(seconds);
}

int ColumnsOf(const std::string& text) {
    int columns = 0;
    for (const char byte : text) columns += IsContinuation(byte) ? 0 : ColumnsOfLead(byte);
    return columns;
}

std::string TruncateToColumns(const std::string& text, int columns) {
    std::size_t end = 0;
    while (end < text.size()) {
        columns -= ColumnsOfLead(text[end]);
        if (columns < 0) break;
        do ++end;
        while (end < text.size() && IsContinuation(text[end]));
    }
    return text.substr(0, end);
}

}  // namespace frond

// Warnings about a photograph or a run.
#pragma once

#include <string>

namespace frond {

// Each kind is printed once per run; the report has all. A new kind gets an enumerator and a name here. A
// warning about the photograph alone goes to ReadPhotograph::warnings, one that depends on the background or
// its settings to the item in batch.cpp, one about the run to Warn() in run_report.h.
enum class WarningKind {
    kProfile,      // a background's profile cannot be converted
    kHiddenMatte,  // --show-matte without --no-blend
    kUntagged,     // the background has a profile, the photograph none
    // From a survey of the photograph; see advice.h.
    kHardlyKeyed,
    kMostlyKeyed,
    kEmptyChannels,
    kDepth,
};

// The kind's name in a report.
constexpr const char* NameOf(WarningKind kind) {
    switch (kind) {
        case WarningKind::kProfile:
            return "profile";
        case WarningKind::kHiddenMatte:
            return "hidden-matte";
        case WarningKind::kUntagged:
            return "untagged";
        case WarningKind::kHardlyKeyed:
            return "hardly-keyed";
        case WarningKind::kMostlyKeyed:
            return "mostly-keyed";
        case WarningKind::kEmptyChannels:
            return "empty-channels";
        case WarningKind::kDepth:
            return "depth";
    }
    return "";
}

struct Warning {
    WarningKind kind;
    std::string text;  // one line without a full stop
};

}  // namespace frond

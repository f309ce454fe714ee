#include "frond/run_report.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "images/text.h"

namespace frond {

namespace {

using Json = nlohmann::ordered_json;

Json PathOrNull(const std::filesystem::path& path) {
    return path.empty() ? Json(nullptr) : Json(path.u8string());
}

}  // namespace

double SecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void OpenReport(RunReport& report, const std::filesystem::path& path) {
    try {
        report.file = std::make_unique<images::LineFile>(path);
    } catch (const images::PictureError& error) {
        throw Failure(kBadOutput, error.what());
    }
}

void PrintMessage(RunReport& report, const std::string& line) {
    ClearProgress(report.bar);
    PrintError(line);
}

void PrintOnce(RunReport& report, const std::string& line) {
    if (report.printedOnce.insert(line).second) PrintMessage(report, line);
}

void Warn(RunReport& report, const Warning& warning) {
    if (report.warned.insert(warning.kind).second && !report.isQuiet) PrintMessage(report, warning.text);
}

void ShowStatus(RunReport& report, const std::string& name) {
    report.bar.label = name;
    if (report.isEndless) {
        ShowLine(report.bar, FormatEndlessStatus(report.counts, name, LineColumns()));
    } else if (report.bar.isText) {
        ShowLine(report.bar, FormatStatus(report.counts, SecondsSince(report.start), name, LineColumns()));
    } else {
        StartProgress(report.bar, name);
    }
}

void ReportFinished(RunReport& report, const FinishedTask& finished) {
    RunCounts& counts = report.counts;
    ++(finished.error.empty() ? counts.written : counts.failed);
    for (const Warning& warning : finished.warnings) Warn(report, warning);
    if (report.isVerbose && finished.error.empty()) {
        const Task& task = finished.task;
        PrintMessage(report, std::to_string(counts.written + counts.failed) + " of " +
                                 std::to_string(counts.total) + ": " + images::InputName(task.photo) +
                                 " -> " + images::DisplayName(task.out.empty() ? task.matte : task.out) +
                                 ", " + FormatDuration(finished.seconds));
    }
    if (report.bar.isText) ShowStatus(report, report.bar.label);
    if (report.file == nullptr) return;
    try {
        report.file->Append(FormatReportLine(finished), false);
    } catch (const images::DiskFull& error) {
        throw Failure(kBadOutput, error.what(), true);
    } catch (const images::PictureError& error) {
        throw Failure(kBadOutput, error.what());
    }
}

void PrintSummary(RunReport& report) {
    const RunCounts& counts = report.counts;
    if (counts.total + counts.existing < 2 || report.isQuiet) return;
    if (report.isVerbose || IsErrorTerminal())
        PrintMessage(report, FormatSummary(counts, SecondsSince(report.start)));
}

std::string FormatReportLine(const FinishedTask& finished) {
    Json warnings = Json::array();
    for (const Warning& warning : finished.warnings)
        warnings.push_back({{"kind", NameOf(warning.kind)}, {"text", warning.text}});
    const Json line = {
        {"photograph", finished.task.photo.u8string()},
        {"background", PathOrNull(finished.background.path)},
        {"result", PathOrNull(finished.task.out)},
        {"matte", PathOrNull(finished.task.matte)},
        {"settings", Json::parse(FormatAction(finished.settings))["parameters"]},
        {"seconds", std::round(finished.seconds * 1000) / 1000},
        {"warnings", warnings},
        {"error", finished.error.empty() ? Json(nullptr) : Json(finished.error)},
        {"code", static_cast<int>(finished.code)},
    };
    return line.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace frond

// What a run shows: a line on the terminal that tells how far it is, messages on standard error, and lines in
// a report file.
#pragma once

#include <chrono>
#include <memory>
#include <set>
#include <string>

#include "frond/command.h"
#include "frond/progress_bar.h"
#include "frond/result_plan.h"
#include "frond/run_text.h"
#include "frond/warnings.h"
#include "images/atomic_file.h"

namespace frond {

// For all batches of a command, on one thread.
struct RunReport {
    ProgressBar bar;
    bool isQuiet, isVerbose;
    bool isEndless = false;                  // more photographs may come at any time: no time left is shown
    std::unique_ptr<images::LineFile> file;  // --report; null: none
    RunCounts counts;                        // of the batches so far; whoever plans sets `total`
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::set<WarningKind> warned;
    std::set<std::string> printedOnce;

    // Shows no line on the terminal with `isTraced`, which prints all the time.
    RunReport(bool quiet, bool verbose, bool isTraced)
        : bar(quiet || isTraced), isQuiet(quiet), isVerbose(verbose) {}
};

// What is known of a result when it is finished, made or not.
struct FinishedTask {
    const Task& task;
    const BackgroundSource& background;
    const ParameterValues& settings;  // recorded by the module; if it failed, those of the background
    double seconds;                   // from the start of reading to the result's name
    const std::vector<Warning>& warnings;
    ExitCode code;      // kDone: the result is complete
    std::string error;  // one line; empty: complete
};

double SecondsSince(std::chrono::steady_clock::time_point start);

// Opens the file of --report, to which lines are appended. Throws Failure kBadOutput.
void OpenReport(RunReport& report, const std::filesystem::path& path);

// Prints a line on standard error, above the line on the terminal.
void PrintMessage(RunReport& report, const std::string& line);

// Prints a failure that concerns many results the first time only.
void PrintOnce(RunReport& report, const std::string& line);

// Prints the first warning of its kind, unless --quiet.
void Warn(RunReport& report, const Warning& warning);

// Shows how far the run is, with the name of the photograph that is being keyed.
void ShowStatus(RunReport& report, const std::string& name);

// Counts a result, prints its warnings, appends its line to the report file, and with --verbose prints a line
// when it is complete. Its error is printed by the caller. Throws Failure kBadOutput when the report file
// cannot be written; a full disk ends the batch.
void ReportFinished(RunReport& report, const FinishedTask& finished);

// Prints counts and time, for several results on a terminal or with --verbose.
void PrintSummary(RunReport& report);

// One line of a report file: photograph, background, result, matte, settings, seconds, warnings, error, code.
std::string FormatReportLine(const FinishedTask& finished);

}  // namespace frond

// The options that the commands key and watch share, and what these options describe.
#pragma once

#include <string>
#include <vector>

#include "frond/backgrounds.h"
#include "frond/keying.h"
#include "frond/result_plan.h"
#include "frond/run_report.h"
#include "images/picture_file.h"

namespace frond {

struct KeyingOptions {
    std::vector<std::string> over;
    std::string out, format, name, subsampling, start, action, matte, selection, module, report;
    int depth = 0, jobs = 0;  // 0: not given
    int lift = 0;
    std::string fit = "cover";
    bool quiet = false, verbose = false, check = false, force = false, allowsUntrusted = false;
    images::WriteOptions files;
    ParameterValues parameters;
};

// Adds all of them but those of AddParameterOptions. Parsing the command line stores the values in `options`,
// which must outlive it.
void AddKeyingOptions(CLI::App& app, KeyingOptions& options);

// Add some of them, for commands that have no others.
void AddFitOption(CLI::App& app, KeyingOptions& options);
void AddPictureOptions(CLI::App& app, KeyingOptions& options);   // --fit, --depth, --lift, --selection
void AddSettingsOptions(CLI::App& app, KeyingOptions& options);  // --start, --action
void AddModuleOptions(CLI::App& app, KeyingOptions& options);    // --module, --allow-untrusted

// Finds the backgrounds and reads their settings, not their pictures. Throws Failure.
void AddBackgrounds(Backgrounds& backgrounds, const KeyingOptions& options);

// The same for a command with one background. Throws Failure kBadUsage for several.
void AddBackground(Backgrounds& backgrounds, const KeyingOptions& options);

// Where the results go, and which files they must not replace. Throws Failure kBadUsage.
ResultRules MakeRules(const KeyingOptions& options, const Backgrounds& backgrounds, bool isForSeveral);

// Reads the selection. Throws Failure.
KeySettings ReadSettings(const KeyingOptions& options);

// A host whose runs end at an interrupt and show their progress.
host::HostOptions MakeHostOptions(const KeyingOptions& options, ProgressBar& bar);

// Warns when settings give an unchanged photograph.
void WarnOfHiddenMatte(RunReport& report, const Backgrounds& backgrounds);

// How many photographs are read and written at once.
int Jobs(const KeyingOptions& options);

}  // namespace frond

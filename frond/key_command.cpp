// frond key: keys photographs with the filter.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <vector>

#include "frond/batch.h"
#include "frond/keying_options.h"

namespace frond {

namespace {

namespace fs = std::filesystem;

struct Options {
    std::vector<std::string> photos;
    std::string record;
    bool skipExisting = false, trace = false, dialog = false;
    KeyingOptions keying;
};

Options gOptions;  // from the command line

std::vector<fs::path> PathsFromUtf8(const std::vector<std::string>& texts) {
    std::vector<fs::path> paths;
    paths.reserve(texts.size());
    for (const std::string& text : texts) paths.push_back(PathFromUtf8(text));
    return paths;
}

// Standard input and standard output serve one file each.
void RequireOneStandardStream() {
    const KeyingOptions& keying = gOptions.keying;
    std::vector<std::string> inputs = gOptions.photos, outputs = {keying.out, keying.matte, gOptions.record};
    inputs.insert(inputs.end(), keying.over.begin(), keying.over.end());
    inputs.insert(inputs.end(), {keying.selection, keying.action});
    if (std::count(inputs.begin(), inputs.end(), "-") > 1)
        throw Failure(kBadUsage, "only one input can be standard input");
    if (std::count(outputs.begin(), outputs.end(), "-") > 1)
        throw Failure(kBadUsage, "only one output can be standard output");
}

// Checks everything that can be checked before the first photograph is read.
ResultPlan Plan(const Backgrounds& backgrounds, ResultRules& rules) {
    for (const ResultTarget* target : {&rules.out, &rules.matte}) {
        if (!target->path.empty() && !target->isFolder)
            RequireWritablePath(FormatName(*target, target->path));
    }
    ResultPlan plan = PlanResults(PathsFromUtf8(gOptions.photos), backgrounds, rules);
    for (const Task& task : plan.tasks)
        RequireAlphaSupport(FormatName(rules.out, task.out), backgrounds[task.background].parameters);
    if (!plan.refusals.empty()) {
        const std::size_t more = plan.refusals.size() - 1;
        throw Failure(kBadUsage, plan.refusals[0].reason +
                                     (more > 0 ? "; " + std::to_string(more) + " more like this" : ""));
    }
    CreateResultFolders(rules);
    return plan;
}

host::HostOptions MakeKeyHostOptions(ProgressBar& bar) {
    host::HostOptions options = MakeHostOptions(gOptions.keying, bar);
    if (gOptions.dialog) {
        options.progress = [&bar](std::int32_t done, std::int32_t total) {
            ShowProgress(bar, done, total);
            PumpMessages();
        };
    }
    if (gOptions.trace) {
        options.trace = [&bar](const std::string& line) {
            ClearProgress(bar);
            std::fprintf(stderr, "%s\n", line.c_str());
        };
    }
    return options;
}

ResultRules MakeKeyRules(const Backgrounds& backgrounds) {
    const bool isForSeveral = gOptions.photos.size() * backgrounds.size() > 1;
    ResultRules rules = MakeRules(gOptions.keying, backgrounds, isForSeveral);
    if (gOptions.dialog && gOptions.keying.out.empty())
        throw Failure(kBadUsage, "--dialog needs the result's path, with -o");
    rules.skipsExisting = gOptions.skipExisting;
    if (!gOptions.record.empty() && gOptions.record != "-")
        rules.outputs.push_back(PathFromUtf8(gOptions.record));
    return rules;
}

ExitCode RunKey() {
    InstallInterruptHandlers();
    if (gOptions.dialog) RequireWindows();
    RequireOneStandardStream();
    const KeyingOptions& keying = gOptions.keying;
    Backgrounds backgrounds;
    AddBackgrounds(backgrounds, keying);
    for (BackgroundSource& source : backgrounds) source.isForOne = gOptions.photos.size() == 1;
    ResultRules rules = MakeKeyRules(backgrounds);
    const ResultPlan plan = Plan(backgrounds, rules);
    RunReport report(keying.quiet, keying.verbose, gOptions.trace);
    report.counts.total = plan.tasks.size();
    report.counts.existing = plan.existing;
    report.bar.isText = plan.tasks.size() > 1;
    if (!keying.out.empty() && !gOptions.dialog) WarnOfHiddenMatte(report, backgrounds);
    const fs::path module = FindModule(PathFromUtf8(keying.module));
    if (!plan.tasks.empty()) ReadSingleBackground(backgrounds);
    KeySettings settings = ReadSettings(keying);
    settings.withDialog = gOptions.dialog;
    if (!keying.report.empty()) OpenReport(report, PathFromUtf8(keying.report));
    OwnerWindow window;
    host::HostOptions options = MakeKeyHostOptions(report.bar);
    if (gOptions.dialog) {
        window = OpenOwnerWindow(kProgramName);
        options.mainWindow = window.get();
        options.keepDisplays = false;
    }
    // The dialog and the trace go with one photograph at a time.
    const int jobs = gOptions.dialog || gOptions.trace ? 1 : Jobs(keying);
    Session session;
    StartSession(session, module, std::move(options));
    const BatchResult result = RunBatch(
        {plan.tasks, settings, backgrounds, rules, session, report, keying.files, window, jobs, true});
    if (!result.ending.empty()) throw Failure(result.code, result.ending);
    PrintSummary(report);
    if (report.counts.written > 0 && !gOptions.record.empty())
        WriteAction(PathFromUtf8(gOptions.record), result.recorded);
    return result.code;
}

constexpr char kFooter[] =
    "Exit codes: 0 done; 2 wrong command line or action; 3 an input is missing, damaged or unsuitable;\n"
    "4 a result could not be written; 5 no module; 6 the filter failed; 130 interrupted. A failed\n"
    "result does not stop the batch; the exit code is that of the first failure. A full disk or an\n"
    "interrupt ends the run; its last line has the number of results written.";

}  // namespace

Command AddKeyCommand(CLI::App& app) {
    CLI::App* key =
        app.add_subcommand("key", "Remove the backdrop of photographs and put them over a background");
    key->add_option("PHOTO", gOptions.photos, "The photographs; - is standard input")->required();
    AddKeyingOptions(*key, gOptions.keying);
    key->add_flag("--skip-existing", gOptions.skipExisting,
                  "Leave results that were made of their photograph as it is now")
        ->group("Results");
    key->add_option("--record", gOptions.record, "Write the parameters of the run to this file")
        ->type_name("FILE")
        ->group("Settings");
    key->add_flag("--dialog", gOptions.dialog, "Choose the parameters in the filter's dialog (on Windows)");
    key->add_flag("--trace", gOptions.trace, "Print each call between filter and host on standard error");
    AddParameterOptions(*key, gOptions.keying.parameters);
    key->footer(kFooter);
    return {key, RunKey};
}

}  // namespace frond

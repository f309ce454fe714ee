// frond key: keys photographs with the filter.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <vector>

#include "frond/batch.h"
#include "frond/pipeline.h"
#include "images/picture_file.h"
#include "images/text.h"

namespace frond {

namespace {

namespace fs = std::filesystem;

struct Options {
    std::vector<std::string> photos, over;
    std::string out, format, name, subsampling, action, record, matte, selection, module, report;
    int depth = 0, jobs = 0;  // 0: not given
    int lift = 0;
    std::string fit = "cover";
    bool quiet = false, verbose = false, trace = false, check = false, dialog = false;
    bool force = false, skipExisting = false;
    images::WriteOptions files;
    ParameterValues parameters;
};

Options gOptions;  // from the command line

std::vector<fs::path> PathsFromUtf8(const std::vector<std::string>& texts) {
    std::vector<fs::path> paths;
    for (const std::string& text : texts) paths.push_back(PathFromUtf8(text));
    return paths;
}

// Standard input and standard output serve one file each.
void RequireOneStandardStream() {
    std::vector<std::string> inputs = gOptions.photos,
                             outputs = {gOptions.out, gOptions.matte, gOptions.record};
    inputs.insert(inputs.end(), gOptions.over.begin(), gOptions.over.end());
    inputs.insert(inputs.end(), {gOptions.selection, gOptions.action});
    if (std::count(inputs.begin(), inputs.end(), "-") > 1)
        throw Failure(kBadUsage, "only one input can be standard input");
    if (std::count(outputs.begin(), outputs.end(), "-") > 1)
        throw Failure(kBadUsage, "only one output can be standard output");
}

// Where the results go, and which files they must not replace.
ResultRules MakeRules(const Backgrounds& backgrounds) {
    if (gOptions.out.empty() && gOptions.matte.empty())
        throw Failure(kBadUsage, "give the result's path with -o");
    if (gOptions.dialog && gOptions.out.empty())
        throw Failure(kBadUsage, "--dialog needs the result's path, with -o");
    ResultRules rules;
    const bool isForSeveral = gOptions.photos.size() * backgrounds.size() > 1;
    rules.out = MakeTarget(gOptions.out, isForSeveral, gOptions.format);
    rules.matte = MakeTarget(gOptions.matte, isForSeveral, gOptions.format);
    rules.name = !gOptions.name.empty()   ? gOptions.name
                 : backgrounds.size() > 1 ? kNameOfSeveral
                                          : kNameOfOne;
    RequireNamePattern(rules.name);
    rules.format = gOptions.format.empty() ? "png" : gOptions.format;
    rules.force = gOptions.force;
    rules.skipsExisting = gOptions.skipExisting;
    for (const BackgroundSource& background : backgrounds) {
        if (background.path.empty()) continue;
        rules.inputs.push_back(background.path);
        rules.inputs.push_back(ActionFileOf(background.path));
    }
    for (const std::string& text : {gOptions.selection, gOptions.action}) {
        if (!text.empty()) rules.inputs.push_back(PathFromUtf8(text));
    }
    for (const std::string& text : {gOptions.record, gOptions.report}) {
        if (!text.empty() && text != "-") rules.outputs.push_back(PathFromUtf8(text));
    }
    return rules;
}

// Checks everything that can be checked before the first photograph is read.
ResultPlan Plan(const Backgrounds& backgrounds, ResultRules& rules) {
    for (const ResultTarget* target : {&rules.out, &rules.matte}) {
        if (!target->path.empty() && !target->isFolder)
            RequireWritablePath(FormatName(*target, target->path));
    }
    const ResultPlan plan = PlanResults(PathsFromUtf8(gOptions.photos), backgrounds, rules);
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

host::HostOptions MakeHostOptions(ProgressBar& bar) {
    host::HostOptions options = gOptions.check ? host::HostOptions{} : host::LeanOptions();
    options.abortRequested = [] { return gInterrupted.load(); };
    options.progress = [&bar](std::int32_t done, std::int32_t total) {
        ShowProgress(bar, done, total);
        if (gOptions.dialog) PumpMessages();
    };
    options.displayed = [](const host::DisplayCall&) {};
    if (gOptions.trace) {
        options.trace = [&bar](const std::string& line) {
            ClearProgress(bar);
            std::fprintf(stderr, "%s\n", line.c_str());
        };
    }
    return options;
}

void AddBackgrounds(Backgrounds& backgrounds) {
    ParameterValues action;
    if (!gOptions.action.empty()) action = ReadAction(PathFromUtf8(gOptions.action));
    OpenBackgrounds(backgrounds, FindBackgrounds(gOptions.over), FitNamed(gOptions.fit), action,
                    gOptions.parameters);
    for (BackgroundSource& source : backgrounds) source.isForOne = gOptions.photos.size() == 1;
}

KeySettings ReadSettings() {
    KeySettings settings;
    settings.depth = gOptions.depth;
    settings.lift = gOptions.lift;
    settings.withDialog = gOptions.dialog;
    settings.wantsResult = !gOptions.out.empty();
    settings.wantsMatte = !gOptions.matte.empty();
    if (!gOptions.selection.empty()) {
        settings.selection =
            MakeSelection(ReadInputPicture(PathFromUtf8(gOptions.selection)), gOptions.selection);
    }
    return settings;
}

void WarnOfHiddenMatte(RunReport& report, const ParameterValues& parameters) {
    if (ValueOrDefault(parameters, "FlagShowSelect") == 0 ||
        ValueOrDefault(parameters, "FlagRealityInteg") == 0) {
        return;
    }
    Warn(report,
         {WarningKind::kHiddenMatte, "--show-matte needs --no-blend; the photograph is written unchanged"});
}

// The dialog and the trace go with one photograph at a time.
int Jobs() {
    if (gOptions.dialog || gOptions.trace) return 1;
    return gOptions.jobs > 0 ? gOptions.jobs : AvailableCores();
}

ExitCode RunKey() {
    InstallInterruptHandlers();
    if (gOptions.dialog) RequireWindows();
    RequireOneStandardStream();
    Backgrounds backgrounds;
    AddBackgrounds(backgrounds);
    ResultRules rules = MakeRules(backgrounds);
    const ResultPlan plan = Plan(backgrounds, rules);
    RunReport report(gOptions.quiet, gOptions.verbose, gOptions.trace);
    report.counts.total = plan.tasks.size();
    report.counts.existing = plan.existing;
    report.bar.isText = plan.tasks.size() > 1;
    for (const BackgroundSource& source : backgrounds) {
        if (!gOptions.out.empty() && !gOptions.dialog) WarnOfHiddenMatte(report, source.parameters);
    }
    const fs::path module = FindModule(PathFromUtf8(gOptions.module));
    if (!plan.tasks.empty()) ReadSingleBackground(backgrounds);
    const KeySettings settings = ReadSettings();
    if (!gOptions.report.empty()) OpenReport(report, PathFromUtf8(gOptions.report));
    OwnerWindow window;
    host::HostOptions options = MakeHostOptions(report.bar);
    if (gOptions.dialog) {
        window = OpenOwnerWindow(kProgramName);
        options.mainWindow = window.get();
        options.keepDisplays = false;
    }
    Session session;
    StartSession(session, module, std::move(options));
    const BatchResult result = RunBatch(
        {plan.tasks, settings, backgrounds, rules, session, report, gOptions.files, window, Jobs(), true});
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
    Options& o = gOptions;
    key->add_option("PHOTO", o.photos, "The photographs; - is standard input")->required();
    key->option_defaults()->group("Pictures");
    key->add_option(
           "--over", o.over,
           "The new background, or a folder of them; may be given several times. Settings in NAME.json "
           "beside NAME.jpg are for that background")
        ->type_name("BACKGROUND")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    key->option_defaults()->group("Results");
    key->add_option("-o,--out", o.out,
                    "The result: .png, .tif, .jpg or .webp; or a folder (no extension, or several results); "
                    "- is standard output")
        ->type_name("OUT");
    key->add_option("--matte", o.matte, "Also write the matte as a grey picture; a folder as for --out")
        ->type_name("FILE");
    key->add_option("--format", o.format,
                    "Format of the files in a folder, default png; of standard output or a pipe")
        ->check(CLI::IsMember({"png", "tif", "tiff", "jpg", "jpeg", "webp"}));
    key->add_option("--name", o.name,
                    "Names of the files in a folder; default {photo}, with several backgrounds "
                    "{photo}-{background}")
        ->type_name("PATTERN");
    key->add_flag("--force", o.force, "Replace results of other photographs in a folder too");
    key->add_flag("--skip-existing", o.skipExisting,
                  "Leave results that are there and not older than their photograph");
    key->add_option("--compression", o.files.compression,
                    "Of PNG and TIFF files, from fast and large to slow and small")
        ->check(CLI::Range(0, 9));
    key->add_option("--quality", o.files.quality, "Of JPEG and WebP files")->check(CLI::Range(1, 100));
    key->add_option("--subsampling", o.subsampling,
                    "Of JPEG files; 420 has colour at half the resolution; default 444")
        ->check(CLI::IsMember({"444", "420"}))
        ->each([](const std::string& text) { gOptions.files.subsamples = text == "420"; });
    key->add_option("--depth", o.depth, "Bits per channel; default: the photograph's")
        ->check(CLI::IsMember({8, 16}));
    key->option_defaults()->group("Pictures");
    key->add_option("--lift", o.lift,
                    "Raise the photograph's red, green and blue to at least this first; 3 helps where a "
                    "backdrop has channels at 0")
        ->check(CLI::Range(0, 255));
    key->add_option("--fit", o.fit, "How to fit the background to the photograph")
        ->check(CLI::IsMember({"cover", "stretch", "none"}));
    key->add_option("--selection", o.selection,
                    "Grey picture of the photograph's size; black areas stay unchanged")
        ->type_name("MASK");
    key->option_defaults()->group("Settings");
    key->add_option("--action", o.action, "Read the parameters from this file; options override it")
        ->type_name("FILE");
    key->add_option("--record", o.record, "Write the parameters of the run to this file")->type_name("FILE");
    key->option_defaults()->group("Options");
    key->add_option("--module", o.module, "The filter module; default: the one beside the program")
        ->type_name("FILE");
    key->add_option("--jobs", o.jobs, "How many photographs to read and write at once; default: the cores")
        ->check(CLI::Range(1, 256));
    key->add_flag_callback("--allow-untrusted", images::AllowUntrustedFormats, kUntrustedText);
    key->add_flag("--dialog", o.dialog, "Choose the parameters in the filter's dialog (on Windows)");
    key->add_flag("--check", o.check, "Check the filter's use of memory more closely, which takes time");
    key->add_option("--report", o.report, "Append a line in JSON to this file for each result")
        ->type_name("FILE");
    key->add_flag("--quiet", o.quiet, "Show no progress, no warnings and no summary");
    key->add_flag("--verbose", o.verbose, "Print a line for each result, and the counts and the time");
    key->add_flag("--trace", o.trace, "Print each call between filter and host on standard error");
    AddParameterOptions(*key, o.parameters);
    key->footer(kFooter);
    return {key, RunKey};
}

}  // namespace frond

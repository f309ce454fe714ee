// frond key: keys photographs with the filter.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <set>
#include <vector>

#include "frond/command.h"
#include "frond/keying.h"
#include "frond/owner_window.h"
#include "images/picture_file.h"
#include "images/resample.h"
#include "images/text.h"

namespace frond {

namespace {

namespace fs = std::filesystem;

struct Options {
    std::vector<std::string> photos;
    std::string over, out, format = "png", action, record, matte, selection, module;
    int depth = 0;
    std::string fit = "cover";
    bool quiet = false, trace = false, check = false, dialog = false;
    ParameterValues parameters;
};

Options gOptions;  // from the command line

// One photograph and its results; an empty path: no such result.
struct Task {
    fs::path photo, out, matte;
};

bool IsFolder(const fs::path& path) {
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

// Whether the target for results is a folder: there are several photographs, or the folder exists, or the
// name ends in a slash, or it has no extension and does not exist.
bool IsFolderTarget(const std::string& target) {
    if (target.empty()) return false;
    const fs::path path = PathFromUtf8(target);
    std::error_code ignored;
    return gOptions.photos.size() > 1 || IsFolder(path) || !path.has_filename() ||
           (!path.has_extension() && !fs::exists(path, ignored));
}

// The result's path for one photograph: `target`, or a file with the photograph's name in the folder
// `target`.
fs::path TargetFor(const std::string& target, bool inFolder, const fs::path& photo) {
    if (target.empty()) return {};
    const fs::path path = PathFromUtf8(target);
    return inFolder ? path / (photo.stem() += "." + gOptions.format) : path;
}

void CreateFolder(const fs::path& path) {
    std::error_code failure;
    fs::create_directories(path, failure);
    if (!IsFolder(path)) {
        throw Failure(kBadOutput, images::DisplayName(path) + ": is not a folder and cannot be created");
    }
}

// Follows symbolic links.
bool IsSameFile(const fs::path& a, const fs::path& b) {
    std::error_code ignored;
    return fs::equivalent(a, b, ignored) ||
           fs::weakly_canonical(a, ignored) == fs::weakly_canonical(b, ignored);
}

// Throws when a result would overwrite an input or another result.
void RequireDistinctFiles(const std::vector<Task>& tasks) {
    std::vector<fs::path> inputs, results;
    for (const std::string& text : gOptions.photos) inputs.push_back(PathFromUtf8(text));
    for (const std::string& text : {gOptions.over, gOptions.selection, gOptions.action}) {
        if (!text.empty()) inputs.push_back(PathFromUtf8(text));
    }
    for (const Task& task : tasks) {
        if (!task.out.empty()) results.push_back(task.out);
        if (!task.matte.empty()) results.push_back(task.matte);
    }
    if (!gOptions.record.empty()) results.push_back(PathFromUtf8(gOptions.record));
    for (std::size_t i = 0; i < results.size(); ++i) {
        for (const fs::path& input : inputs) {
            if (IsSameFile(results[i], input)) {
                throw Failure(kBadUsage,
                              images::DisplayName(results[i]) + ": is an input and would be overwritten");
            }
        }
        for (std::size_t j = 0; j < i; ++j) {
            if (IsSameFile(results[i], results[j])) {
                throw Failure(kBadUsage,
                              images::DisplayName(results[i]) + ": two results would go to this file");
            }
        }
    }
}

void RequireAlphaSupport(const fs::path& out, const ParameterValues& parameters) {
    if (out.empty() || ValueOrDefault(parameters, "FlagOutputAlpha") == 0 || images::FormatOf(out).holdsAlpha)
        return;
    throw Failure(kBadUsage, images::DisplayName(out) + ": JPEG has no transparency; use .png or .tif");
}

// Checks everything that can be checked before the first photograph is read.
std::vector<Task> PlanTasks(const ParameterValues& parameters) {
    if (gOptions.out.empty() && gOptions.matte.empty())
        throw Failure(kBadUsage, "give the result's path with -o");
    if (gOptions.dialog && gOptions.out.empty())
        throw Failure(kBadUsage, "--dialog needs the result's path, with -o");
    const bool outInFolder = IsFolderTarget(gOptions.out), matteInFolder = IsFolderTarget(gOptions.matte);
    std::vector<Task> tasks;
    for (const std::string& text : gOptions.photos) {
        const fs::path photo = PathFromUtf8(text);
        tasks.push_back({photo, TargetFor(gOptions.out, outInFolder, photo),
                         TargetFor(gOptions.matte, matteInFolder, photo)});
    }
    for (const Task& task : tasks) {
        if (task.out.empty() || outInFolder) continue;
        RequireWritablePath(task.out);
    }
    RequireAlphaSupport(tasks[0].out, parameters);
    if (!gOptions.matte.empty() && !matteInFolder) RequireWritablePath(tasks[0].matte);
    RequireDistinctFiles(tasks);
    if (!gOptions.out.empty() && outInFolder) CreateFolder(PathFromUtf8(gOptions.out));
    if (!gOptions.matte.empty() && matteInFolder) CreateFolder(PathFromUtf8(gOptions.matte));
    return tasks;
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

KeySettings ReadSettings(const ParameterValues& parameters) {
    KeySettings settings;
    settings.parameters = parameters;
    settings.depth = gOptions.depth;
    settings.withDialog = gOptions.dialog;
    settings.fit = gOptions.fit == "cover"     ? images::Fit::kCover
                   : gOptions.fit == "stretch" ? images::Fit::kStretch
                                               : images::Fit::kNone;
    if (!gOptions.over.empty()) {
        settings.background = ReadInputPicture(PathFromUtf8(gOptions.over));
        settings.backgroundName = gOptions.over;
    }
    if (!gOptions.selection.empty()) {
        settings.selection = ReadInputPicture(PathFromUtf8(gOptions.selection));
        settings.selectionName = gOptions.selection;
    }
    return settings;
}

void RunTask(Session& session, const KeySettings& settings, const Task& task, ParameterValues& recorded) {
    const KeyingResult keyed =
        KeyPhotograph(session, settings, task.photo, !task.out.empty(), !task.matte.empty());
    if (!keyed.warning.empty() && !gOptions.quiet) PrintError(keyed.warning);
    if (gInterrupted) throw Failure(kInterrupted, "interrupted");
    RequireAlphaSupport(task.out, keyed.recorded);
    if (!task.out.empty()) WriteResult(task.out, keyed.result);
    // Writes both results of a photograph or none: an interrupt does not stop the second.
    if (!task.matte.empty()) WriteResult(task.matte, keyed.matte, !task.out.empty());
    recorded = keyed.recorded;
}

// The last line of a run that ends before the last photograph.
std::string DescribeFailure(const Failure& failure, const Task& task, std::size_t done, std::size_t count) {
    const bool interrupted = failure.code == kInterrupted;
    std::string line = failure.what();
    if (count == 1) return interrupted ? line + "; nothing was written" : line;
    if (interrupted) line += " at " + images::DisplayName(task.photo);
    return line + "; " + std::to_string(done) + " of " + std::to_string(count) + " photographs written";
}

// A failed photograph does not stop the batch. Returns the code of the first failure.
ExitCode RunTasks(Session& session, const KeySettings& settings, const std::vector<Task>& tasks,
                  ProgressBar& bar, const OwnerWindow& window) {
    ExitCode code = kDone;
    std::size_t done = 0;
    ParameterValues recorded;
    for (const Task& task : tasks) {
        StartProgress(bar, images::DisplayName(task.photo.filename()));
        if (window) SetWindowTitle(window, images::DisplayName(task.photo.filename()) + " - " + kProgramName);
        try {
            RunTask(session, settings, task, recorded);
            ++done;
        } catch (const Failure& failure) {
            ClearProgress(bar);
            if (failure.endsBatch) {
                const bool isFirst = code == kDone || failure.code == kInterrupted;
                throw Failure(isFirst ? failure.code : code,
                              DescribeFailure(failure, task, done, tasks.size()));
            }
            PrintError(failure.code == kRunFailed ? images::DisplayName(task.photo) + ": " + failure.what()
                                                  : failure.what());
            if (code == kDone) code = failure.code;
        } catch (const std::bad_alloc&) {
            ClearProgress(bar);
            PrintError(images::DisplayName(task.photo) + ": not enough memory");
            if (code == kDone) code = kRunFailed;
        }
    }
    if (done > 0 && !gOptions.record.empty()) WriteAction(PathFromUtf8(gOptions.record), recorded);
    return code;
}

ExitCode RunKey() {
    InstallInterruptHandlers();
    if (gOptions.dialog) RequireWindows();
    ParameterValues parameters;
    if (!gOptions.action.empty()) parameters = ReadAction(PathFromUtf8(gOptions.action));
    MergeParameters(parameters, gOptions.parameters);
    const std::vector<Task> tasks = PlanTasks(parameters);
    const bool hidesMatte = ValueOrDefault(parameters, "FlagShowSelect") != 0 &&
                            ValueOrDefault(parameters, "FlagRealityInteg") != 0;
    if (hidesMatte && !gOptions.out.empty() && !gOptions.dialog && !gOptions.quiet)
        PrintError("--show-matte needs --no-blend; the photograph is written unchanged");
    const fs::path module = FindModule(PathFromUtf8(gOptions.module));
    const KeySettings settings = ReadSettings(parameters);
    ProgressBar bar(gOptions.quiet || gOptions.trace);
    OwnerWindow window;
    host::HostOptions options = MakeHostOptions(bar);
    if (gOptions.dialog) {
        window = OpenOwnerWindow(kProgramName);
        options.mainWindow = window.get();
        options.keepDisplays = false;
    }
    Session session;
    StartSession(session, module, std::move(options));
    return RunTasks(session, settings, tasks, bar, window);
}

constexpr char kFooter[] =
    "Exit codes: 0 done; 2 wrong command line or action; 3 an input is missing, damaged or unsuitable;\n"
    "4 a result could not be written; 5 no module; 6 the filter failed; 130 interrupted. A failed\n"
    "photograph does not stop the batch; the exit code is that of the first failure. A full disk or an\n"
    "interrupt ends the run; its last line has the number of photographs written.";

}  // namespace

Command AddKeyCommand(CLI::App& app) {
    CLI::App* key =
        app.add_subcommand("key", "Remove the backdrop of photographs and put them over a background");
    Options& o = gOptions;
    key->add_option("PHOTO", o.photos, "The photographs")->required();
    key->add_option("--over", o.over, "The new background")->type_name("BACKGROUND");
    key->add_option("-o,--out", o.out,
                    "The result: .png, .tif or .jpg; or a folder (no extension, or several photographs)")
        ->type_name("OUT");
    key->add_option("--matte", o.matte, "Also write the matte as a grey picture; a folder as for --out")
        ->type_name("FILE");
    key->add_option("--format", o.format, "Format of the files in a folder: png, tif or jpg")
        ->check(CLI::IsMember({"png", "tif", "tiff", "jpg", "jpeg"}));
    key->add_option("--depth", o.depth, "Bits per channel, 8 or 16; default: the photograph's")
        ->check(CLI::IsMember({8, 16}));
    key->add_option("--fit", o.fit,
                    "How to fit the background to the photograph: cover, stretch or none; default: cover")
        ->check(CLI::IsMember({"cover", "stretch", "none"}));
    key->add_option("--selection", o.selection,
                    "Grey picture of the photograph's size; black areas stay unchanged")
        ->type_name("MASK");
    key->add_option("--action", o.action, "Read the parameters from this file; options override it")
        ->type_name("FILE");
    key->add_option("--record", o.record, "Write the parameters of the run to this file")->type_name("FILE");
    key->add_option("--module", o.module, "The filter module; default: the one beside the program")
        ->type_name("FILE");
    key->add_flag("--dialog", o.dialog, "Choose the parameters in the filter's dialog (on Windows)");
    key->add_flag("--check", o.check, "Check the filter's use of memory more closely, which takes time");
    key->add_flag("--quiet", o.quiet, "Show no progress bar and no warnings");
    key->add_flag("--trace", o.trace, "Print each call between filter and host on standard error");
    AddParameterOptions(*key, o.parameters);
    key->footer(kFooter);
    return {key, RunKey};
}

}  // namespace frond

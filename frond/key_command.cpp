// frond key: photographs through the filter.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <set>
#include <vector>

#include "frond/frond.h"
#include "frond/keying.h"
#include "frond/main_window.h"
#include "images/atomic_file.h"
#include "images/picture_io.h"

namespace frond {

namespace {

namespace fs = std::filesystem;

struct Options {
    std::vector<std::string> photos;
    std::string over, out, format = "png", action, record, matte, selection, module;
    int depth = 0;
    std::string fit = "cover";
    bool quiet = false, trace = false, dialog = false;
    ParameterValues parameters;
};

Options gOptions;  // what the command line said

// One photograph and what becomes of it; an empty path: not wanted.
struct Task {
    fs::path photo, out, matte;
};

bool IsFolder(const fs::path& path) {
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

// Whether the name given for results means a folder: several photographs need one, it is there, or the name
// ends in a slash or has no ending and is not there.
bool MeansFolder(const std::string& target) {
    if (target.empty()) return false;
    const fs::path path = PathOf(target);
    std::error_code ignored;
    return gOptions.photos.size() > 1 || IsFolder(path) || !path.has_filename() ||
           (!path.has_extension() && !fs::exists(path, ignored));
}

// The file for one photograph: `target` itself, or, where that is a folder, a file of the photograph's name.
fs::path FileFor(const std::string& target, bool inFolder, const fs::path& photo) {
    if (target.empty()) return {};
    const fs::path path = PathOf(target);
    return inFolder ? path / (photo.stem() += "." + gOptions.format) : path;
}

void RequireFolder(const fs::path& path) {
    std::error_code failure;
    fs::create_directories(path, failure);
    if (!IsFolder(path)) {
        throw Failure(kBadOutput, images::DisplayName(path) + ": is no folder and cannot be made one");
    }
}

// Two names of one file, also through links.
bool IsSameFile(const fs::path& a, const fs::path& b) {
    std::error_code ignored;
    return fs::equivalent(a, b, ignored) ||
           fs::weakly_canonical(a, ignored) == fs::weakly_canonical(b, ignored);
}

// No result may take the place of an input or of another result.
void RequireDistinctFiles(const std::vector<Task>& tasks) {
    std::vector<fs::path> inputs, results;
    for (const std::string& text : gOptions.photos) inputs.push_back(PathOf(text));
    for (const std::string& text : {gOptions.over, gOptions.selection, gOptions.action}) {
        if (!text.empty()) inputs.push_back(PathOf(text));
    }
    for (const Task& task : tasks) {
        if (!task.out.empty()) results.push_back(task.out);
        if (!task.matte.empty()) results.push_back(task.matte);
    }
    if (!gOptions.record.empty()) results.push_back(PathOf(gOptions.record));
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

void RequireRoomForAlpha(const fs::path& out, const ParameterValues& parameters) {
    if (out.empty() || ValueOrDefault(parameters, "FlagOutputAlpha") == 0 || images::FormatOf(out).holdsAlpha)
        return;
    throw Failure(kBadUsage, images::DisplayName(out) + ": JPEG holds no transparency; use .png or .tif");
}

// Everything that can be known to be wrong before work begins.
std::vector<Task> PlanTasks(const ParameterValues& parameters) {
    if (gOptions.out.empty() && gOptions.matte.empty())
        throw Failure(kBadUsage, "say with -o where the result goes");
    if (gOptions.dialog && gOptions.out.empty())
        throw Failure(kBadUsage, "say with -o where the dialog's result goes");
    const bool outInFolder = MeansFolder(gOptions.out), matteInFolder = MeansFolder(gOptions.matte);
    std::vector<Task> tasks;
    for (const std::string& text : gOptions.photos) {
        const fs::path photo = PathOf(text);
        tasks.push_back({photo, FileFor(gOptions.out, outInFolder, photo),
                         FileFor(gOptions.matte, matteInFolder, photo)});
    }
    for (const Task& task : tasks) {
        if (task.out.empty() || outInFolder) continue;
        RequireWritableName(task.out);
    }
    RequireRoomForAlpha(tasks[0].out, parameters);
    if (!gOptions.matte.empty() && !matteInFolder) RequireWritableName(tasks[0].matte);
    RequireDistinctFiles(tasks);
    if (!gOptions.out.empty() && outInFolder) RequireFolder(PathOf(gOptions.out));
    if (!gOptions.matte.empty() && matteInFolder) RequireFolder(PathOf(gOptions.matte));
    return tasks;
}

host::HostOptions MakeHostOptions(ProgressBar& bar) {
    host::HostOptions options;
    options.abortRequested = [] { return gStopAsked.load(); };
    options.progress = [&bar](std::int32_t done, std::int32_t total) {
        Advance(bar, done, total);
        if (gOptions.dialog) PumpMessages();
    };
    options.displayed = [](const host::DisplayCall&) {};
    if (gOptions.trace) {
        options.trace = [&bar](const std::string& line) {
            Clear(bar);
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
        settings.background = Read(PathOf(gOptions.over));
        settings.backgroundName = gOptions.over;
    }
    if (!gOptions.selection.empty()) {
        settings.selection = Read(PathOf(gOptions.selection));
        settings.selectionName = gOptions.selection;
    }
    return settings;
}

void RunTask(Session& session, const KeySettings& settings, const Task& task, ParameterValues& recorded) {
    const Keyed keyed = KeyPhotograph(session, settings, task.photo, !task.out.empty(), !task.matte.empty());
    if (!keyed.warning.empty() && !gOptions.quiet) PrintError(keyed.warning);
    if (gStopAsked) throw Failure(kInterrupted, "interrupted");
    RequireRoomForAlpha(task.out, keyed.recorded);
    if (!task.out.empty()) Write(task.out, keyed.result);
    // A photograph has both of its results or none.
    if (!task.matte.empty()) Write(task.matte, keyed.matte, !task.out.empty());
    recorded = keyed.recorded;
}

// The last line of a run that ends before all photographs had their turn.
std::string ClosingLine(const Failure& failure, const Task& task, std::size_t done, std::size_t count) {
    const bool interrupted = failure.code == kInterrupted;
    std::string line = failure.what();
    if (count == 1) return interrupted ? line + "; nothing was written" : line;
    if (interrupted) line += " at " + images::DisplayName(task.photo);
    return line + "; " + std::to_string(done) + " of " + std::to_string(count) + " photographs written";
}

// A picture that fails does not keep the others from their turn; the first failure's code is the program's.
ExitCode RunTasks(Session& session, const KeySettings& settings, const std::vector<Task>& tasks,
                  ProgressBar& bar, const MainWindow& window) {
    ExitCode code = kDone;
    std::size_t done = 0;
    ParameterValues recorded;
    for (const Task& task : tasks) {
        Begin(bar, images::DisplayName(task.photo.filename()));
        if (window) SetTitle(window, images::DisplayName(task.photo.filename()) + " - " + kProgramName);
        try {
            RunTask(session, settings, task, recorded);
            ++done;
        } catch (const Failure& failure) {
            Clear(bar);
            if (failure.endsBatch) {
                const bool isFirst = code == kDone || failure.code == kInterrupted;
                throw Failure(isFirst ? failure.code : code, ClosingLine(failure, task, done, tasks.size()));
            }
            PrintError(failure.code == kRunFailed ? images::DisplayName(task.photo) + ": " + failure.what()
                                                  : failure.what());
            if (code == kDone) code = failure.code;
        } catch (const std::bad_alloc&) {
            Clear(bar);
            PrintError(images::DisplayName(task.photo) + ": not enough memory");
            if (code == kDone) code = kRunFailed;
        }
    }
    if (done > 0 && !gOptions.record.empty()) WriteAction(PathOf(gOptions.record), recorded);
    return code;
}

ExitCode RunKey() {
    WatchForInterrupts();
    if (gOptions.dialog) RequireWindows();
    ParameterValues parameters;
    if (!gOptions.action.empty()) parameters = ReadAction(PathOf(gOptions.action));
    Overlay(parameters, gOptions.parameters);
    const std::vector<Task> tasks = PlanTasks(parameters);
    const bool hidesMatte = ValueOrDefault(parameters, "FlagShowSelect") != 0 &&
                            ValueOrDefault(parameters, "FlagRealityInteg") != 0;
    if (hidesMatte && !gOptions.out.empty() && !gOptions.dialog && !gOptions.quiet)
        PrintError("--show-matte needs --no-blend; the photograph is written as it is");
    const fs::path module = FindModule(PathOf(gOptions.module));
    const KeySettings settings = ReadSettings(parameters);
    ProgressBar bar(gOptions.quiet || gOptions.trace);
    MainWindow window;
    host::HostOptions options = MakeHostOptions(bar);
    if (gOptions.dialog) {
        window = OpenMainWindow(kProgramName);
        options.mainWindow = window.get();
        options.keepDisplays = false;
    }
    Session session;
    StartSession(session, module, std::move(options));
    return RunTasks(session, settings, tasks, bar, window);
}

constexpr char kFooter[] =
    "Exit codes: 0 done; 2 the command line or an action is wrong; 3 a file to read is missing, damaged or\n"
    "unsuitable; 4 a result could not be written; 5 no module; 6 the filter failed; 130 interrupted. Of "
    "several\n"
    "photographs, the first failure counts, and the others go on; a full disk or an interrupt ends the run, "
    "and\n"
    "the last line tells how many photographs were written.";

}  // namespace

Command AddKeyCommand(CLI::App& app) {
    CLI::App* key =
        app.add_subcommand("key", "Remove the backdrop of photographs and set them on a background");
    Options& o = gOptions;
    key->add_option("PHOTO", o.photos, "The photographs")->required();
    key->add_option("--over", o.over, "The picture that becomes the background")->type_name("BACKGROUND");
    key->add_option("-o,--out", o.out,
                    "The result: .png, .tif or .jpg; without an ending, or for several photographs, a folder")
        ->type_name("OUT");
    key->add_option("--matte", o.matte, "Also write the matte, as a grey picture; a folder as with --out")
        ->type_name("FILE");
    key->add_option("--format", o.format, "Ending of the files in a folder: png, tif or jpg")
        ->check(CLI::IsMember({"png", "tif", "tiff", "jpg", "jpeg"}));
    key->add_option("--depth", o.depth, "Bits per channel to work with, 8 or 16; default: the photograph's")
        ->check(CLI::IsMember({8, 16}));
    key->add_option("--fit", o.fit, "How the background meets the photograph's size; default: cover it")
        ->check(CLI::IsMember({"cover", "stretch", "none"}));
    key->add_option("--selection", o.selection,
                    "Grey picture of the photograph's size; where it is black, nothing changes")
        ->type_name("MASK");
    key->add_option("--action", o.action,
                    "Take the parameters from this file; options given here come on top")
        ->type_name("FILE");
    key->add_option("--record", o.record, "Write the parameters of the run to this file")->type_name("FILE");
    key->add_option("--module", o.module, "The filter module, if it does not lie beside the program")
        ->type_name("FILE");
    key->add_flag("--dialog", o.dialog, "Let the filter's dialog decide on the parameters (on Windows)");
    key->add_flag("--quiet", o.quiet, "No progress bar and no warnings");
    key->add_flag("--trace", o.trace, "Print every call between the filter and its host on standard error");
    AddParameterOptions(*key, o.parameters);
    key->footer(kFooter);
    return {key, RunKey};
}

}  // namespace frond

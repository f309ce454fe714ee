// frond key: keys photographs with the filter.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <set>
#include <vector>

#include "frond/batch.h"
#include "frond/pipeline.h"
#include "images/picture_file.h"
#include "images/resample.h"
#include "images/text.h"

namespace frond {

namespace {

namespace fs = std::filesystem;

struct Options {
    std::vector<std::string> photos;
    std::string over, out, format = "png", subsampling, action, record, matte, selection, module;
    int depth = 0, jobs = 0;  // 0: not given
    std::string fit = "cover";
    bool quiet = false, trace = false, check = false, dialog = false;
    images::WriteOptions files;
    ParameterValues parameters;
};

Options gOptions;  // from the command line

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

void ReadBackground(BackgroundSource& background) {
    background.fit = gOptions.fit == "cover"     ? images::Fit::kCover
                     : gOptions.fit == "stretch" ? images::Fit::kStretch
                                                 : images::Fit::kNone;
    if (gOptions.over.empty()) return;
    background.picture = ReadInputPicture(PathFromUtf8(gOptions.over));
    background.name = gOptions.over;
    background.isForOne = gOptions.photos.size() == 1;
}

KeySettings ReadSettings(const ParameterValues& parameters) {
    KeySettings settings;
    settings.parameters = parameters;
    settings.depth = gOptions.depth;
    settings.withDialog = gOptions.dialog;
    settings.wantsResult = !gOptions.out.empty();
    settings.wantsMatte = !gOptions.matte.empty();
    if (!gOptions.selection.empty()) {
        settings.selection =
            MakeSelection(ReadInputPicture(PathFromUtf8(gOptions.selection)), gOptions.selection);
    }
    return settings;
}

// The dialog and the trace go with one photograph at a time.
int Jobs() {
    if (gOptions.dialog || gOptions.trace) return 1;
    return gOptions.jobs > 0 ? gOptions.jobs : AvailableCores();
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
    BackgroundSource background;
    ReadBackground(background);
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
    const BatchResult result = RunBatch(
        {tasks, settings, background, session, bar, gOptions.files, window, Jobs(), !gOptions.quiet});
    if (result.written > 0 && !gOptions.record.empty())
        WriteAction(PathFromUtf8(gOptions.record), result.recorded);
    return result.code;
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
    key->add_option(
           "-o,--out", o.out,
           "The result: .png, .tif, .jpg or .webp; or a folder (no extension, or several photographs)")
        ->type_name("OUT");
    key->add_option("--matte", o.matte, "Also write the matte as a grey picture; a folder as for --out")
        ->type_name("FILE");
    key->add_option("--format", o.format, "Format of the files in a folder: png, tif, jpg or webp")
        ->check(CLI::IsMember({"png", "tif", "tiff", "jpg", "jpeg", "webp"}));
    key->add_option("--compression", o.files.compression,
                    "PNG and TIFF: 0 to 9, from fast and large to slow and small; default 1")
        ->check(CLI::Range(0, 9));
    key->add_option("--quality", o.files.quality, "JPEG and WebP: 1 to 100; default 95")
        ->check(CLI::Range(1, 100));
    key->add_option("--subsampling", o.subsampling,
                    "JPEG: 444, or 420 for colour at half the resolution; default 444")
        ->check(CLI::IsMember({"444", "420"}))
        ->each([](const std::string& text) { gOptions.files.subsamples = text == "420"; });
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
    key->add_option("--jobs", o.jobs, "How many photographs to read and write at once; default: the cores")
        ->check(CLI::Range(1, 256));
    key->add_flag_callback("--allow-untrusted", images::AllowUntrustedFormats, kUntrustedText);
    key->add_flag("--dialog", o.dialog, "Choose the parameters in the filter's dialog (on Windows)");
    key->add_flag("--check", o.check, "Check the filter's use of memory more closely, which takes time");
    key->add_flag("--quiet", o.quiet, "Show no progress bar and no warnings");
    key->add_flag("--trace", o.trace, "Print each call between filter and host on standard error");
    AddParameterOptions(*key, o.parameters);
    key->footer(kFooter);
    return {key, RunKey};
}

}  // namespace frond

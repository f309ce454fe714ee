// frond watch: keys the photographs of a folder as they arrive.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>

#include "frond/batch.h"
#include "frond/folder_events.h"
#include "frond/keying_options.h"
#include "frond/pipeline.h"
#include "frond/watched_folder.h"
#include "images/text.h"

namespace frond {

namespace {

namespace fs = std::filesystem;

struct Options {
    std::string folder;
    double sweepSeconds = 2;
    KeyingOptions keying;
};

Options gOptions;  // from the command line

// When a full disk is tried again: not before, and at the latest.
constexpr std::int64_t kRetryMs = 2000, kLatestRetryMs = 10000;

// Photographs that are keyed before the next look for newer ones, for each job. More let new photographs
// wait; with fewer the cores wait.
constexpr std::size_t kGroupPerJob = 4;

std::int64_t Now() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// The watched folder and what the system shows of it.
struct Watch {
    fs::path path;
    WatchedFolder folder;
    FolderEventsPtr events;  // null: the system gives none
    std::string identity;    // of the folder that is being watched
    bool isThere = true;
    std::int64_t nextSweep = 0;
};

bool IsWanted(const fs::path& name) {
    return IsPhotographName(name, gOptions.keying.allowsUntrusted);
}

// Looks at the whole folder. A slow network drive is left alone ten times as long as the look takes.
void Sweep(Watch& watch, RunReport& report) {
    const std::int64_t start = Now();
    const std::string identity = FolderIdentity(watch.path);
    if (identity != watch.identity) watch.events.reset();
    if (watch.events == nullptr && !identity.empty()) watch.events = OpenFolderEvents(watch.path);
    if (!watch.identity.empty() && !identity.empty() && identity != watch.identity) {
        PrintMessage(report, images::DisplayName(watch.path) +
                                 ": is another folder now; a drive was mounted or removed");
    }
    watch.identity = identity;
    std::vector<FolderFile> listing;
    const bool isThere = !identity.empty() && ListFolder(watch.path, IsWanted, listing);
    if (isThere != watch.isThere) {
        PrintMessage(report, images::DisplayName(watch.path) +
                                 (isThere ? ": is back" : ": cannot be read; waiting until it is back"));
    }
    watch.isThere = isThere;
    if (isThere) {
        // On Windows the folder has old values of a file that is being written.
        for (FolderFile& file : listing) {
            if (!IsKnown(watch.folder, file)) LookAtFile(watch.path / file.name, file.signature);
        }
        NoteListing(watch.folder, std::move(listing), Now());
    }
    const std::int64_t end = Now();
    const auto interval = static_cast<std::int64_t>(gOptions.sweepSeconds * 1000);
    watch.nextSweep = end + std::max(interval, 10 * (end - start));
}

// Looks at files of the folder. While the folder is gone, it remembers them.
void LookAt(Watch& watch, const std::vector<fs::path>& names, bool isClosed) {
    for (const fs::path& name : names) {
        FileSignature signature;
        if (!IsWanted(name)) continue;
        if (LookAtFile(watch.path / name, signature)) {
            NoteFile(watch.folder, {name, signature}, isClosed, Now());
        } else if (!FolderIdentity(watch.path).empty()) {
            ForgetFile(watch.folder, name);
        } else {
            watch.nextSweep = 0;
        }
    }
}

// Waits for the next event, sweep or look, at most until a time, and notes what has changed.
void AwaitChanges(Watch& watch, std::int64_t until) {
    until = std::min(until, watch.nextSweep);
    if (watch.isThere) until = std::min(until, NextLook(watch.folder));
    const FolderChanges changes = WaitForFolderChanges(watch.events.get(), until - Now(), gFinishing);
    if (changes.missesSome) {
        watch.events.reset();
        watch.nextSweep = 0;
    }
    LookAt(watch, changes.changed, false);
    LookAt(watch, changes.closed, true);
}

// What photographs are keyed with.
struct Keying {
    Backgrounds backgrounds;
    ResultRules rules;
    KeySettings settings;
    Session session;
    RunReport report;
    ExitCode code = kDone;  // of the first failure

    Keying() : report(gOptions.keying.quiet, gOptions.keying.verbose, false) {}
};

// Why no result can be written at present.
struct Pause {
    std::string reason;                 // empty: nothing is wrong
    std::int64_t next = 0, latest = 0;  // when to try again: as soon as, and at the latest
    std::uintmax_t space = 0;           // free bytes at the last attempt
};

std::uintmax_t FreeSpace(const ResultRules& rules) {
    std::error_code ignored;
    return fs::space((rules.out.path.empty() ? rules.matte : rules.out).path, ignored).available;
}

void StartPause(Pause& pause, const std::string& reason, Keying& keying) {
    if (pause.reason.empty()) PrintMessage(keying.report, reason + "; waiting");
    pause = {reason, Now() + kRetryMs, Now() + kLatestRetryMs, FreeSpace(keying.rules)};
}

// The folder of results that is gone, as a network drive may be; empty: none.
fs::path MissingFolder(const ResultRules& rules) {
    for (const ResultTarget* target : {&rules.out, &rules.matte}) {
        if (target->isFolder && FolderIdentity(target->path).empty()) return target->path;
    }
    return {};
}

// Whether to key photographs now. After a full disk that is when its free space has changed, and from time
// to time in any case: a quota is not seen there.
bool MayWrite(Pause& pause, Keying& keying) {
    const fs::path missing = MissingFolder(keying.rules);
    if (!missing.empty()) StartPause(pause, images::DisplayName(missing) + ": is missing", keying);
    const std::int64_t now = Now();
    if (pause.reason.empty() || now >= pause.latest) return true;
    if (now < pause.next) return false;
    pause.next = now + kRetryMs;
    return FreeSpace(keying.rules) != pause.space;
}

// A photograph that disappears is no failure.
bool Postpone(Watch& watch, const fs::path& photo) {
    const fs::path name = photo.filename();
    FileSignature signature;
    if (LookAtFile(photo, signature)) return PostponePhotograph(watch.folder, name, Now());
    watch.nextSweep = 0;
    if (FolderIdentity(watch.path).empty()) {
        RequeuePhotograph(watch.folder, name);
    } else {
        ForgetFile(watch.folder, name);
    }
    return true;
}

// Prints one line for each photograph.
void ReportRefusals(const std::vector<Refusal>& refusals, Keying& keying) {
    const BackgroundSource& first = keying.backgrounds[0];
    for (std::size_t i = 0; i < refusals.size(); ++i) {
        const auto& [photo, reason] = refusals[i];
        if (i == 0 || refusals[i - 1].photo != photo) PrintMessage(keying.report, reason);
        ReportFinished(keying.report,
                       {{photo, 0, {}, {}}, first, first.parameters, 0, {}, kBadOutput, reason});
        if (keying.code == kDone) keying.code = kBadOutput;
    }
}

// Sets the number of results to make: those that are done, and those of photographs that wait.
void UpdateTotal(const Watch& watch, Keying& keying, std::size_t underWay) {
    RunCounts& counts = keying.report.counts;
    const std::size_t waiting =
        CountFiles(watch.folder, FileState::kReady) + CountFiles(watch.folder, FileState::kChanging);
    counts.total = counts.written + counts.failed + underWay + waiting * keying.backgrounds.size();
}

// Keys the next photographs. During a pause it tries only one.
void KeyPhotographs(Watch& watch, Keying& keying, Pause& pause) {
    const int jobs = Jobs(gOptions.keying);
    const std::size_t most = pause.reason.empty() ? static_cast<std::size_t>(jobs) * kGroupPerJob : 1;
    std::vector<fs::path> photos = TakePhotographs(watch.folder, most);
    for (fs::path& photo : photos) photo = watch.path / photo;
    ResultPlan plan;
    try {
        plan = PlanResults(photos, keying.backgrounds, keying.rules);
        ReportRefusals(plan.refusals, keying);
    } catch (const Failure& failure) {  // of the ledger or the report file
        for (const fs::path& photo : photos) RequeuePhotograph(watch.folder, photo.filename());
        StartPause(pause, failure.what(), keying);
        return;
    }
    keying.report.counts.existing += plan.existing;
    UpdateTotal(watch, keying, plan.tasks.size());
    if (plan.tasks.empty()) {
        pause.reason.clear();
        return;
    }
    const BatchResult result =
        RunBatch({plan.tasks, keying.settings, keying.backgrounds, keying.rules, keying.session,
                  keying.report, gOptions.keying.files, nullptr, jobs, false,
                  [&](const fs::path& photo) { return Postpone(watch, photo); }});
    const bool isMissing = !MissingFolder(keying.rules).empty();
    for (std::size_t i = 0; i < plan.tasks.size(); ++i) {
        const TaskOutcome outcome = result.outcomes[i];
        if (outcome == TaskOutcome::kNotMade || (outcome == TaskOutcome::kFailed && isMissing))
            RequeuePhotograph(watch.folder, plan.tasks[i].photo.filename());
        if (outcome == TaskOutcome::kFailed && keying.code == kDone) keying.code = result.code;
    }
    if (!result.cause.empty()) {
        StartPause(pause, result.cause, keying);
    } else {
        pause.reason.clear();
    }
}

void KeyAsTheyArrive(Watch& watch, Keying& keying) {
    Pause pause;
    while (!gFinishing) {
        if (Now() >= watch.nextSweep) Sweep(watch, keying.report);
        if (watch.isThere) LookAt(watch, FilesToLookAt(watch.folder, Now()), false);
        const auto canKey = [&] { return watch.isThere && CountFiles(watch.folder, FileState::kReady) > 0; };
        if (canKey() && MayWrite(pause, keying)) KeyPhotographs(watch, keying, pause);
        UpdateTotal(watch, keying, 0);
        ShowStatus(keying.report, {});
        AwaitChanges(watch, !canKey() ? kNever : pause.reason.empty() ? 0 : pause.next);
    }
}

// Throws Failure for options with which no photograph could have a result.
void RequireUsableOptions(const fs::path& folder, Keying& keying) {
    ResultRules rules = keying.rules;
    for (const ResultTarget* target : {&rules.out, &rules.matte}) {
        if (target->isFolder && FolderIdentity(target->path) == FolderIdentity(folder)) {
            throw Failure(kBadUsage, images::DisplayName(target->path) +
                                         ": is the watched folder; results need another one");
        }
    }
    rules.force = true;
    rules.skipsExisting = false;
    const ResultPlan plan =
        PlanResults({folder / "PHOTO1.jpg", folder / "PHOTO2.jpg"}, keying.backgrounds, rules);
    if (!plan.refusals.empty()) throw Failure(kBadUsage, plan.refusals[0].reason);
    for (const Task& task : plan.tasks)
        RequireAlphaSupport(task.out, keying.backgrounds[task.background].parameters);
    for (const BackgroundSource& source : keying.backgrounds) {
        if (!source.path.empty() && keying.backgrounds.size() > 1) ReadInputPicture(source.path);
    }
    ReadSingleBackground(keying.backgrounds);
}

ExitCode RunWatch() {
    InstallFinishHandlers();
    const KeyingOptions& options = gOptions.keying;
    Watch watch;
    watch.path = PathFromUtf8(gOptions.folder);
    if (FolderIdentity(watch.path).empty())
        throw Failure(kBadInput, images::DisplayName(watch.path) + ": no such folder");
    Keying keying;
    AddBackgrounds(keying.backgrounds, options);
    keying.rules = MakeRules(options, keying.backgrounds, true);
    keying.rules.skipsExisting = true;
    const fs::path module = FindModule(PathFromUtf8(options.module));
    RequireUsableOptions(watch.path, keying);
    keying.settings = ReadSettings(options);
    CreateResultFolders(keying.rules);
    RunReport& report = keying.report;
    report.isEndless = report.bar.isText = true;
    if (!options.out.empty()) WarnOfHiddenMatte(report, keying.backgrounds);
    if (!options.report.empty()) OpenReport(report, PathFromUtf8(options.report));
    StartSession(keying.session, module, MakeHostOptions(options, report.bar));
    KeyAsTheyArrive(watch, keying);
    if (!options.quiet) PrintMessage(report, FormatSummary(report.counts, SecondsSince(report.start)));
    return keying.code;
}

constexpr char kFooter[] =
    "Runs until Ctrl-C, which completes the photographs under way; a second one ends the program at once. "
    "The exit code is 0, or that of the first failure; see frond key --help.";

}  // namespace

Command AddWatchCommand(CLI::App& app) {
    CLI::App* watch =
        app.add_subcommand("watch", "Key the photographs of a folder, and each one that arrives");
    watch->add_option("FOLDER", gOptions.folder, "The folder of the photographs, without its subfolders")
        ->required();
    AddKeyingOptions(*watch, gOptions.keying);
    watch
        ->add_option("--sweep", gOptions.sweepSeconds,
                     "Seconds between two looks at the whole folder, for drives that report no changes")
        ->check(CLI::Range(0.1, 3600.0));
    AddParameterOptions(*watch, gOptions.keying.parameters);
    watch->footer(kFooter);
    return {watch, RunWatch};
}

}  // namespace frond

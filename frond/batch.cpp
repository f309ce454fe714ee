#include "frond/batch.h"

#include <atomic>
#include <deque>
#include <exception>
#include <new>

#include "frond/pipeline.h"
#include "images/atomic_file.h"
#include "images/picture_file.h"
#include "images/text.h"

namespace frond {

namespace {

using Clock = std::chrono::steady_clock;

// A photograph for its neighbouring tasks. The first of them reads it.
struct SharedPhotograph {
    std::size_t first, last;          // its tasks
    std::atomic<std::size_t> unused;  // tasks that need it still
    bool isRead = false, isPostponed = false;
    ReadPhotograph read;
    std::exception_ptr failure;

    explicit SharedPhotograph(std::size_t task) : first(task), last(task), unused(1) {}
};

// A task under way. A failure skips the stages that follow.
struct Item {
    SharedPhotograph* photo = nullptr;
    std::shared_ptr<FittedBackground> background;
    KeyedPhotograph keyed;
    std::vector<std::uint8_t> out, matte;  // complete files
    std::vector<Warning> warnings;
    std::exception_ptr failure;
    bool isSkipped = false;
    Clock::time_point start;
    double seconds = 0;
};

struct BatchState {
    const Batch& batch;
    std::deque<SharedPhotograph> photos;
    std::vector<Item> items;  // in the order of the tasks
    std::atomic<std::size_t> unread;
    std::atomic<bool> hasEnded{false};  // a failed write has ended the batch
    BatchResult result;

    explicit BatchState(const Batch& theBatch)
        : batch(theBatch), items(theBatch.tasks.size()), unread(theBatch.tasks.size()) {
        const std::vector<Task>& tasks = batch.tasks;
        for (std::size_t i = 0; i < tasks.size(); ++i) {
            if (i > 0 && tasks[i].photo == tasks[i - 1].photo) {
                photos.back().last = i;
                ++photos.back().unused;
            } else {
                photos.emplace_back(i);
            }
            items[i].photo = &photos.back();
        }
        result.outcomes.resize(tasks.size(), TaskOutcome::kNotMade);
    }
};

// Runs a stage of a task that is still to be done, and keeps its failure.
template <typename Stage>
void RunStage(BatchState& state, Item& item, const Stage& stage) {
    if (item.failure != nullptr || item.isSkipped || state.hasEnded) return;
    try {
        stage();
    } catch (...) {
        item.failure = std::current_exception();
    }
}

void RequireNoInterrupt() {
    if (gInterrupted) throw Failure(kInterrupted, "interrupted");
}

void ReadShared(const Batch& batch, std::size_t i, SharedPhotograph& photo) {
    const Task& task = batch.tasks[i];
    try {
        photo.read = ReadForKeying(batch.settings, batch.backgrounds[task.background], task.photo);
        photo.isRead = true;
    } catch (...) {
        photo.failure = std::current_exception();
    }
}

void Read(BatchState& state, std::size_t i) {
    Item& item = state.items[i];
    SharedPhotograph& photo = *item.photo;
    const Batch& batch = state.batch;
    item.start = Clock::now();
    item.isSkipped = gFinishing;
    RunStage(state, item, [&] {
        if (i == photo.first) ReadShared(batch, i, photo);
        item.failure = photo.failure;
        item.isSkipped = !photo.isRead && photo.failure == nullptr;
        if (!photo.isRead) return;
        BackgroundSource& source = batch.backgrounds[batch.tasks[i].background];
        item.background = source.path.empty() ? photo.read.lower : FitBackground(source, photo.read.header);
    });
    if (--state.unread == 0 && batch.isLast) ReleaseBackgrounds(batch.backgrounds);
}

void KeyOne(BatchState& state, std::size_t i) {
    Item& item = state.items[i];
    const Batch& batch = state.batch;
    const Task& task = batch.tasks[i];
    const BackgroundSource& source = batch.backgrounds[task.background];
    RunStage(state, item, [&] {
        const std::string name = images::InputName(task.photo.filename());
        ShowStatus(batch.report, name);
        if (batch.window) SetWindowTitle(batch.window, name + " - " + kProgramName);
        const bool ownsBackground = source.path.empty() || source.isForOne;
        item.keyed = Key(batch.session, batch.settings, source.parameters,
                         {item.photo->read, i == item.photo->last, item.background, ownsBackground});
        if (!item.background->isConverted) {
            item.warnings.push_back(
                {WarningKind::kProfile, source.name + ": its colour profile cannot be converted to the "
                                                      "photograph's; its values are used unchanged"});
        }
        if (item.background->isTaggedAlone) {
            item.warnings.push_back({WarningKind::kUntagged,
                                     images::DisplayName(task.photo) +
                                         ": has no colour profile, but its background has one; the values of "
                                         "both are used unchanged"});
        }
        RequireNoInterrupt();
        RequireAlphaSupport(FormatName(batch.rules.out, task.out), item.keyed.recorded);
    });
}

void Encode(BatchState& state, std::size_t i) {
    Item& item = state.items[i];
    const Task& task = state.batch.tasks[i];
    const images::Picture& header = item.photo->read.header;
    const ResultRules& rules = state.batch.rules;
    RunStage(state, item, [&] {
        RequireNoInterrupt();
        if (!task.out.empty()) {
            item.out = EncodeResult(FormatName(rules.out, task.out),
                                    TakeResult(header, *item.background, item.keyed), state.batch.files);
        }
        if (!task.matte.empty())
            item.matte = EncodeResult(FormatName(rules.matte, task.matte), TakeMatte(header, item.keyed),
                                      state.batch.files);
    });
    item.background.reset();
    item.keyed.layer = {};
    item.keyed.matte = {};
    if (i == item.photo->first) {
        const std::vector<Warning>& warnings = item.photo->read.warnings;
        item.warnings.insert(item.warnings.begin(), warnings.begin(), warnings.end());
    }
    if (--item.photo->unused == 0) item.photo->read = {};
}

// Records the photograph in the folder's ledger, and writes the result. A file that the user has named is
// replaced without a question.
void WriteTo(ResultTarget& target, bool force, const Task& task, const std::filesystem::path& path,
             const std::vector<std::uint8_t>& bytes, bool ignoreInterrupt) {
    const bool isListed = !target.ledger.folder.empty() && !images::IsSpecialFile(path);
    const std::string photo = isListed ? PhotoIdentity(task.photo) : std::string();
    if (isListed) ClaimResult(target.ledger, path, photo, force || !target.isFolder);
    WriteResultFile(path, bytes, ignoreInterrupt);
    if (isListed) CompleteResult(target.ledger, path, photo, task.version);
}

void Write(BatchState& state, std::size_t i) {
    Item& item = state.items[i];
    const Task& task = state.batch.tasks[i];
    ResultRules& rules = state.batch.rules;
    RunStage(state, item, [&] {
        RequireNoInterrupt();
        if (!task.out.empty()) WriteTo(rules.out, rules.force, task, task.out, item.out, false);
        // Writes both results of a photograph or none: an interrupt does not stop the second.
        if (!task.matte.empty())
            WriteTo(rules.matte, rules.force, task, task.matte, item.matte, !task.out.empty());
    });
    item.seconds = std::chrono::duration<double>(Clock::now() - item.start).count();
    // {} would keep the memory until the batch's end.
    item.out = std::vector<std::uint8_t>();
    item.matte = std::vector<std::uint8_t>();
    if (item.failure == nullptr) {
        item.isSkipped = item.isSkipped || state.hasEnded;
        return;
    }
    try {
        std::rethrow_exception(item.failure);
    } catch (const Failure& failure) {
        if (failure.endsBatch) state.hasEnded = true;
    } catch (...) {
    }
}

// The last line of a run that ends before its last result.
std::string DescribeEnding(const Failure& failure, const Task& task, const RunCounts& counts) {
    const bool interrupted = failure.code == kInterrupted;
    std::string line = failure.what();
    if (counts.total == 1) return interrupted ? line + "; nothing was written" : line;
    if (interrupted) line += " at " + images::InputName(task.photo);
    return line + "; " + std::to_string(counts.written) + " of " + std::to_string(counts.total) +
           " results written";
}

// Prints why a task failed, and returns the exit code. A photograph that cannot be read fails for all of its
// tasks, and a background for all photographs.
ExitCode PrintFailure(BatchState& state, std::size_t i, std::string& line) {
    const Item& item = state.items[i];
    const Task& task = state.batch.tasks[i];
    ExitCode code = kRunFailed;
    try {
        std::rethrow_exception(item.failure);
    } catch (const Failure& failure) {
        if (failure.endsBatch) throw;
        code = failure.code;
        line = code == kRunFailed ? images::InputName(task.photo) + ": " + failure.what() : failure.what();
    } catch (const std::bad_alloc&) {
        line = images::InputName(task.photo) + ": not enough memory";
    }
    if (IsFailureOf(state.batch.backgrounds[task.background], line)) {
        PrintOnce(state.batch.report, line);
    } else if (item.failure != item.photo->failure || i == item.photo->first) {
        PrintMessage(state.batch.report, line);
    }
    return code;
}

// Whether the caller tries the task's photograph again. Asks once for a photograph.
bool IsPostponed(BatchState& state, std::size_t i) {
    SharedPhotograph& photo = *state.items[i].photo;
    if (photo.failure == nullptr || !state.batch.isPostponed || i != photo.first) return photo.isPostponed;
    try {
        std::rethrow_exception(photo.failure);
    } catch (const Failure& failure) {
        photo.isPostponed = failure.code == kBadInput && state.batch.isPostponed(state.batch.tasks[i].photo);
    } catch (...) {
    }
    return photo.isPostponed;
}

void Report(BatchState& state, std::size_t i) {
    const Item& item = state.items[i];
    const Batch& batch = state.batch;
    const BackgroundSource& source = batch.backgrounds[batch.tasks[i].background];
    if (item.isSkipped) return;
    if (IsPostponed(state, i)) {
        state.result.outcomes[i] = TaskOutcome::kPostponed;
        return;
    }
    FinishedTask finished{batch.tasks[i], source, source.parameters, item.seconds, item.warnings, kDone, {}};
    if (item.failure != nullptr) {
        finished.code = PrintFailure(state, i, finished.error);
        state.result.outcomes[i] = TaskOutcome::kFailed;
        if (state.result.code == kDone) state.result.code = finished.code;
        ReportFinished(batch.report, finished);
        return;
    }
    state.result.outcomes[i] = TaskOutcome::kWritten;
    state.result.recorded = item.keyed.recorded;
    ReportFinished(batch.report,
                   {batch.tasks[i], source, item.keyed.recorded, item.seconds, item.warnings, kDone, {}});
}

}  // namespace

BatchResult RunBatch(const Batch& batch) {
    BatchState state(batch);
    std::size_t reported = 0;
    ShowStatus(batch.report, batch.tasks.empty() ? "" : images::InputName(batch.tasks[0].photo.filename()));
    try {
        RunPipeline(batch.tasks.size(), batch.jobs,
                    {[&](std::size_t i) { Read(state, i); }, [&](std::size_t i) { KeyOne(state, i); },
                     [&](std::size_t i) { Encode(state, i); }, [&](std::size_t i) { Write(state, i); },
                     [&](std::size_t i) {
                         reported = i;
                         Report(state, i);
                     },
                     [&](std::size_t i) { return state.items[i].photo->first; }});
    } catch (const Failure& failure) {
        BatchResult& result = state.result;
        ClearProgress(batch.report.bar);
        result.cause = failure.what();
        result.ending = DescribeEnding(failure, batch.tasks[reported], batch.report.counts);
        if (result.code == kDone || failure.code == kInterrupted) result.code = failure.code;
    }
    return state.result;
}

void RequireAlphaSupport(const std::filesystem::path& out, const ParameterValues& parameters) {
    if (out.empty() || ValueOrDefault(parameters, "FlagOutputAlpha") == 0 || images::FormatOf(out).holdsAlpha)
        return;
    throw Failure(kBadUsage, images::InputName(out) + ": JPEG has no transparency; use .png, .tif or .webp");
}

}  // namespace frond

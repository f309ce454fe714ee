#include "frond/batch.h"

#include <atomic>
#include <exception>
#include <new>

#include "frond/pipeline.h"
#include "images/picture_file.h"
#include "images/text.h"

namespace frond {

namespace {

// A photograph under way. A failure skips the stages that follow.
struct Photograph {
    ReadPhotograph read;
    KeyedPhotograph keyed;
    std::vector<std::uint8_t> out, matte;  // complete files
    std::string warning;
    std::exception_ptr failure;
};

struct BatchState {
    const Batch& batch;
    std::vector<Photograph> photographs;  // in the order of the tasks
    std::atomic<std::size_t> unread;
    std::atomic<bool> hasEnded{false};  // a failed write has ended the batch
    BatchResult result;

    explicit BatchState(const Batch& theBatch)
        : batch(theBatch), photographs(theBatch.tasks.size()), unread(theBatch.tasks.size()) {}
};

// Runs a stage of a photograph that has not failed, and keeps its failure.
template <typename Stage>
void RunStage(Photograph& photograph, const Stage& stage) {
    if (photograph.failure != nullptr) return;
    try {
        stage();
    } catch (...) {
        photograph.failure = std::current_exception();
    }
}

void RequireNoInterrupt() {
    if (gInterrupted) throw Failure(kInterrupted, "interrupted");
}

void Read(BatchState& state, std::size_t i) {
    Photograph& photograph = state.photographs[i];
    const Batch& batch = state.batch;
    RunStage(photograph, [&] {
        if (!state.hasEnded)
            photograph.read = ReadForKeying(batch.settings, batch.background, batch.tasks[i].photo);
    });
    if (--state.unread == 0) ReleaseBackground(batch.background);
}

void KeyOne(BatchState& state, std::size_t i) {
    Photograph& photograph = state.photographs[i];
    const Batch& batch = state.batch;
    const std::string name = images::DisplayName(batch.tasks[i].photo.filename());
    StartProgress(batch.bar, name);
    if (batch.window) SetWindowTitle(batch.window, name + " - " + kProgramName);
    RunStage(photograph, [&] {
        if (state.hasEnded) return;
        photograph.keyed = Key(batch.session, batch.settings, photograph.read);
        if (!photograph.read.background->isConverted) {
            photograph.warning = batch.background.name +
                                 ": its colour profile cannot be converted to the photograph's; its values "
                                 "are used unchanged";
        }
        RequireNoInterrupt();
        RequireAlphaSupport(batch.tasks[i].out, photograph.keyed.recorded);
    });
}

void Encode(BatchState& state, std::size_t i) {
    Photograph& photograph = state.photographs[i];
    const Task& task = state.batch.tasks[i];
    RunStage(photograph, [&] {
        RequireNoInterrupt();
        if (state.hasEnded) return;
        if (!task.out.empty())
            photograph.out =
                EncodeResult(task.out, TakeResult(photograph.read, photograph.keyed), state.batch.files);
        if (!task.matte.empty())
            photograph.matte =
                EncodeResult(task.matte, TakeMatte(photograph.read, photograph.keyed), state.batch.files);
    });
    photograph.read = {};
    photograph.keyed.layer = {};
    photograph.keyed.matte = {};
}

void Write(BatchState& state, std::size_t i) {
    Photograph& photograph = state.photographs[i];
    const Task& task = state.batch.tasks[i];
    RunStage(photograph, [&] {
        RequireNoInterrupt();
        if (state.hasEnded) return;
        if (!task.out.empty()) WriteResultFile(task.out, photograph.out);
        // Writes both results of a photograph or none: an interrupt does not stop the second.
        if (!task.matte.empty()) WriteResultFile(task.matte, photograph.matte, !task.out.empty());
    });
    photograph.out = {};
    photograph.matte = {};
    if (photograph.failure == nullptr) return;
    try {
        std::rethrow_exception(photograph.failure);
    } catch (const Failure& failure) {
        if (failure.endsBatch) state.hasEnded = true;
    } catch (...) {
    }
}

// The last line of a run that ends before the last photograph.
std::string DescribeFailure(const Failure& failure, const Task& task, std::size_t done, std::size_t count) {
    const bool interrupted = failure.code == kInterrupted;
    std::string line = failure.what();
    if (count == 1) return interrupted ? line + "; nothing was written" : line;
    if (interrupted) line += " at " + images::DisplayName(task.photo);
    return line + "; " + std::to_string(done) + " of " + std::to_string(count) + " photographs written";
}

void Report(BatchState& state, std::size_t i) {
    Photograph& photograph = state.photographs[i];
    const Task& task = state.batch.tasks[i];
    BatchResult& result = state.result;
    if (!photograph.warning.empty() && state.batch.showsWarnings) {
        ClearProgress(state.batch.bar);
        PrintError(photograph.warning);
    }
    if (photograph.failure == nullptr) {
        ++result.written;
        result.recorded = photograph.keyed.recorded;
        return;
    }
    ClearProgress(state.batch.bar);
    try {
        std::rethrow_exception(photograph.failure);
    } catch (const Failure& failure) {
        if (failure.endsBatch) {
            const bool isFirst = result.code == kDone || failure.code == kInterrupted;
            throw Failure(isFirst ? failure.code : result.code,
                          DescribeFailure(failure, task, result.written, state.photographs.size()));
        }
        PrintError(failure.code == kRunFailed ? images::DisplayName(task.photo) + ": " + failure.what()
                                              : failure.what());
        if (result.code == kDone) result.code = failure.code;
    } catch (const std::bad_alloc&) {
        PrintError(images::DisplayName(task.photo) + ": not enough memory");
        if (result.code == kDone) result.code = kRunFailed;
    }
}

}  // namespace

BatchResult RunBatch(const Batch& batch) {
    BatchState state(batch);
    StartProgress(batch.bar, images::DisplayName(batch.tasks[0].photo.filename()));
    RunPipeline(batch.tasks.size(), batch.jobs,
                {[&](std::size_t i) { Read(state, i); }, [&](std::size_t i) { KeyOne(state, i); },
                 [&](std::size_t i) { Encode(state, i); }, [&](std::size_t i) { Write(state, i); },
                 [&](std::size_t i) { Report(state, i); }});
    return state.result;
}

void RequireAlphaSupport(const std::filesystem::path& out, const ParameterValues& parameters) {
    if (out.empty() || ValueOrDefault(parameters, "FlagOutputAlpha") == 0 || images::FormatOf(out).holdsAlpha)
        return;
    throw Failure(kBadUsage,
                  images::DisplayName(out) + ": JPEG has no transparency; use .png, .tif or .webp");
}

}  // namespace frond

// The results of a command, made one after another.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "frond/command.h"
#include "frond/keying.h"
#include "frond/owner_window.h"
#include "frond/result_plan.h"
#include "frond/run_report.h"

namespace frond {

// What a batch works with. The members must outlive it. Several batches may share all but the tasks.
struct Batch {
    const std::vector<Task>& tasks;  // the results of one photograph are neighbours
    const KeySettings& settings;
    Backgrounds& backgrounds;
    ResultRules& rules;  // of the tasks' plan
    Session& session;
    RunReport& report;
    const images::WriteOptions& files;
    const OwnerWindow& window;  // its title is the photograph's name; may be null
    int jobs;                   // see RunPipeline
    bool isLast;                // the backgrounds are freed when all photographs have been read

    // Called for a photograph that is missing or damaged. True: the caller tries it again later, and no
    // message is printed. Null: never.
    std::function<bool(const std::filesystem::path&)> isPostponed = nullptr;
};

enum class TaskOutcome {
    kNotMade,    // the batch ended before, or the user asked to finish (gFinishing)
    kWritten,    // all results of the task are complete
    kFailed,     // its message has been printed
    kPostponed,  // see Batch::isPostponed
};

struct BatchResult {
    ExitCode code = kDone;              // of the first failure
    std::vector<TaskOutcome> outcomes;  // of each task
    ParameterValues recorded;           // of the last task that was written

    // Why an interrupt, a full disk or a failed report ended the batch, with the number of results written;
    // empty: none did. `code` is then that of the first failure, or kInterrupted.
    std::string ending;
    std::string cause;  // the same without the number
};

// Makes the results of all tasks. A photograph is read once for its neighbouring tasks. Results, messages and
// their order do not depend on `jobs`. A failed task does not stop the others; its message is printed. After
// an interrupt or on a full disk nothing more is written. When gFinishing becomes true, the tasks that have
// begun are completed, and the others are left without a message.
BatchResult RunBatch(const Batch& batch);

// Throws kBadUsage when the result has transparency and its format has none.
void RequireAlphaSupport(const std::filesystem::path& out, const ParameterValues& parameters);

}  // namespace frond

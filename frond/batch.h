// The photographs of a command, keyed one after another with the same settings.
#pragma once

#include <filesystem>
#include <vector>

#include "frond/command.h"
#include "frond/keying.h"
#include "frond/owner_window.h"
#include "frond/progress_bar.h"

namespace frond {

// One photograph and its results; an empty path: no such result.
struct Task {
    std::filesystem::path photo, out, matte;
};

// What a batch works with. The members must outlive it.
struct Batch {
    const std::vector<Task>& tasks;
    const KeySettings& settings;
    BackgroundSource& background;
    Session& session;
    ProgressBar& bar;
    const images::WriteOptions& files;
    const OwnerWindow& window;  // its title is the photograph's name; may be null
    int jobs;                   // see RunPipeline
    bool showsWarnings;
};

// The outcome of a batch.
struct BatchResult {
    ExitCode code = kDone;     // of the first failure
    std::size_t written = 0;   // photographs whose results are complete
    ParameterValues recorded;  // of the last of them
};

// Keys all photographs. Results, messages and their order do not depend on `jobs`. A failed photograph does
// not stop the others; its message is printed. An interrupt or a full disk ends the batch, and no photograph
// after that one is written: throws Failure with the last line and the number of photographs written.
BatchResult RunBatch(const Batch& batch);

// Throws kBadUsage when the result has transparency and its format has none.
void RequireAlphaSupport(const std::filesystem::path& out, const ParameterValues& parameters);

}  // namespace frond

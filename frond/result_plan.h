// Which results a command makes of its photographs and backgrounds, and where they go.
//
// To make the results of some photographs: PlanResults, then RunBatch (batch.h) with its tasks. Both may be
// called again for further photographs, with the same rules and backgrounds.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "frond/backgrounds.h"
#include "frond/result_ledger.h"

namespace frond {

// One photograph on one background, and its results; an empty path: no such result.
struct Task {
    std::filesystem::path photo;
    std::size_t background = 0;  // index into Backgrounds
    std::filesystem::path out, matte;
    std::string version = {};  // of the photograph at the time of the plan
};

// Where one kind of result goes.
struct ResultTarget {
    std::filesystem::path path;  // a file or a folder; empty: no such results
    bool isFolder = false;
    ResultLedger ledger;  // of the folder; of a file's folder if that has one

    // The extension that tells the format of standard output, or of a pipe without an extension; empty: the
    // path tells it.
    std::string format;
};

// A name with the extension of the result's format.
std::filesystem::path FormatName(const ResultTarget& target, const std::filesystem::path& result);

struct ResultRules {
    ResultTarget out, matte;
    std::string name;    // pattern of the names in a folder, without the extension
    std::string format;  // their extension, without a dot
    bool force = false;  // replace results of other photographs too
    bool skipsExisting = false;

    std::vector<std::filesystem::path> inputs;   // files besides photographs that no result may replace
    std::vector<std::filesystem::path> outputs;  // files besides results that are written
};

// The target for a path of the command line. It is a folder when there are several results, or the folder
// exists, or the path ends in a slash, or it has no extension and nothing of that name exists. `format` is
// the value of --format, or empty. Throws Failure kBadUsage for standard output without a format or for
// several results.
ResultTarget MakeTarget(const std::string& path, bool isForSeveral, const std::string& format);

// {photo} and {background} in a pattern become the names of the two files without extension, or "stdin".
// Throws Failure kBadUsage for an empty pattern, other braces or a slash.
void RequireNamePattern(const std::string& pattern);
constexpr char kNameOfOne[] = "{photo}", kNameOfSeveral[] = "{photo}-{background}";

struct Refusal {
    std::filesystem::path photo;
    std::string reason;  // one line
};

// The outcome of planning.
struct ResultPlan {
    std::vector<Task> tasks;        // the results to make: each photograph on all backgrounds, in order
    std::vector<Refusal> refusals;  // results that would overwrite something; not in `tasks`
    std::size_t existing = 0;       // results left by `skipsExisting`; not in `tasks`
};

// Refuses a result that would replace an input, another result of the plan, or in a folder, without `force`,
// a file that is not known to be a result of the same photograph. With `skipsExisting` leaves a task whose
// files were made of the photograph as it is now. Files outside a folder count when they are not older. Reads
// the ledgers; writes nothing. Throws Failure.
ResultPlan PlanResults(const std::vector<std::filesystem::path>& photos, const Backgrounds& backgrounds,
                       ResultRules& rules);

// Creates the folders of the targets, and deletes in them what killed runs have left. Throws Failure
// kBadOutput.
void CreateResultFolders(const ResultRules& rules);

}  // namespace frond

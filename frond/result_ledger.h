// Which photograph each result in a folder was made of, so that no run overwrites the result of another
// photograph.
//
// The hidden file .frond-results has a line {"result": "a.png", "photo": "/shoot/a.jpg"} for each. The last
// line of a result counts. A line is on the disk before the result gets its name, and several processes may
// append at once. A line that a kill left incomplete is ignored. When the result is complete, the line is
// repeated with the photograph's version, "version": "8271333@-4642313376087614452". After a power failure
// that line may be missing: then the result is made again.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <unordered_map>

namespace frond {

// Not for several threads at once.
struct ResultLedger {
    struct Entry {
        std::string photo;      // a PhotoIdentity
        std::string version;    // a PhotoVersion; empty: the result may be incomplete or of another version
        std::uintmax_t at = 0;  // offset of its line
    };

    std::filesystem::path folder;                    // empty: no list is kept
    std::unordered_map<std::string, Entry> entries;  // by the result's file name
    std::uintmax_t readBytes = 0;                    // of the file
    std::uintmax_t plannedAt = 0;                    // the file's size when the results were last planned
};

// The photograph's absolute path without symbolic links, in UTF-8; empty for standard input, which is never
// the same photograph.
std::string PhotoIdentity(const std::filesystem::path& photo);

// The size and the time of the last change of the photograph; empty when there is none.
std::string PhotoVersion(const std::filesystem::path& photo);

// Whether the folder has a list of results.
bool HasLedger(const std::filesystem::path& folder);

// Reads the lines that were added since the last call, and remembers the file's size as that of a plan. A
// missing file has no lines. Throws Failure kBadInput when it cannot be read.
void ReadLedger(ResultLedger& ledger);

// The identity of the photograph that a result was made of, or empty when that is not known.
std::string PhotoOf(const ResultLedger& ledger, const std::filesystem::path& result);

// Records that the result, a file in the ledger's folder, is now being written for the photograph. Without
// `force` throws Failure kBadOutput when another process has recorded another photograph since the plan: of
// two processes the first one wins. Throws Failure kBadOutput when the line cannot be written.
void ClaimResult(ResultLedger& ledger, const std::filesystem::path& result, const std::string& photo,
                 bool force);

// Records that the result is complete, made of this version of the photograph. Without effect when the line
// cannot be written.
void CompleteResult(const ResultLedger& ledger, const std::filesystem::path& result, const std::string& photo,
                    const std::string& version);

// Whether the result is complete, and made of this version of the photograph.
bool IsComplete(const ResultLedger& ledger, const std::filesystem::path& result, const std::string& photo,
                const std::string& version);

// Why the result is not overwritten, in one line. `photo` may be empty.
std::string DescribeOtherPhoto(const std::filesystem::path& result, const std::string& photo);

}  // namespace frond

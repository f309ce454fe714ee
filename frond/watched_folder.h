// Which files of a watched folder are complete photographs that wait to be keyed. Reads no clock and no disk:
// the caller passes the time, in milliseconds from any start, and what the system shows of the folder.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <vector>

namespace frond {

// A file with another signature has other content. The file's number is no part of it: some network drives
// give a file a new one at every look.
struct FileSignature {
    std::uint64_t size = 0;     // bytes
    std::int64_t modified = 0;  // time of the last change, in the system's unit
};

inline bool operator==(const FileSignature& a, const FileSignature& b) {
    return a.size == b.size && a.modified == b.modified;
}

// A file of the folder, without its subfolders.
struct FolderFile {
    std::filesystem::path name;
    FileSignature signature;
};

// A file without a closing event is complete when its signature has been the same for this time.
constexpr std::int64_t kSettleMs = 1000;
// A camera may stop in the middle of a file. A damaged file is a failure when it has not changed for this
// time.
constexpr std::int64_t kYoungMs = 10000;
constexpr std::int64_t kNever = INT64_MAX;

enum class FileState {
    kChanging,  // may still be written
    kReady,     // waits to be keyed
    kDamaged,   // could not be read soon after its last change: waits for the next one
    kFinished,  // keyed, failed or under way
};

struct WatchedFile {
    FileSignature signature;
    std::int64_t changedAt = 0;      // when this signature was seen first
    std::uint64_t place = 0;         // in the order of these changes
    bool wasThereAtTheStart = true;  // and has not changed since
    FileState state = FileState::kChanging;
};

struct WatchedFolder {
    std::map<std::filesystem::path, WatchedFile> files;
    std::uint64_t nextPlace = 0;
    bool wasListed = false;
};

// Whether a file of this name can be a photograph: has the extension of a format that can be read, is not
// hidden and not named as an incomplete download or copy. `readsUntrusted`: also formats that need
// --allow-untrusted.
bool IsPhotographName(const std::filesystem::path& name, bool readsUntrusted);

// Whether the file had this signature at the last look.
bool IsKnown(const WatchedFolder& folder, const FolderFile& file);

// One look at one file. `isClosed`: since the last look, its writer has closed it or it was renamed to this
// name, so it is complete.
void NoteFile(WatchedFolder& folder, const FolderFile& file, bool isClosed, std::int64_t now);

// The file is no longer there. If it returns, it is a new one.
void ForgetFile(WatchedFolder& folder, const std::filesystem::path& name);

// One look at all files of the folder; forgets those that are not listed. The files of the first listing are
// keyed from the oldest to the newest, and after those that arrive later.
void NoteListing(WatchedFolder& folder, std::vector<FolderFile> listing, std::int64_t now);

// The files whose state depends on a look at this time.
std::vector<std::filesystem::path> FilesToLookAt(const WatchedFolder& folder, std::int64_t now);

// When FilesToLookAt has the next one; kNever if it has none until something changes.
std::int64_t NextLook(const WatchedFolder& folder);

// Takes the next photographs to key, `most` at most.
std::vector<std::filesystem::path> TakePhotographs(WatchedFolder& folder, std::size_t most);

// The photograph was taken but not keyed: it is ready again.
void RequeuePhotograph(WatchedFolder& folder, const std::filesystem::path& name);

// The photograph was taken and is damaged. Returns true when it is tried again, once it has changed or has
// become old: that is no failure yet.
bool PostponePhotograph(WatchedFolder& folder, const std::filesystem::path& name, std::int64_t now);

std::size_t CountFiles(const WatchedFolder& folder, FileState state);

}  // namespace frond

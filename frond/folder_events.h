// What the system shows of a folder: its files, and events when they change. With inotify on Linux
// (folder_events_linux.cpp), ReadDirectoryChangesW on Windows (folder_events_windows.cpp). Network drives
// often give no events, or only those of this machine: look at the whole folder from time to time as well.
#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "frond/watched_folder.h"

namespace frond {

struct FolderEvents;
void CloseFolderEvents(FolderEvents* events);
struct FolderEventsCloser {
    void operator()(FolderEvents* events) const { CloseFolderEvents(events); }
};
using FolderEventsPtr = std::unique_ptr<FolderEvents, FolderEventsCloser>;

// The names in events, without the folder.
struct FolderChanges {
    std::vector<std::filesystem::path> closed;   // complete: closed by their writers, or renamed to this name
    std::vector<std::filesystem::path> changed;  // created, written or gone
    bool missesSome = false;  // events were lost, or the folder is gone: look at all its files
};

// Null when the system gives no events for the folder.
FolderEventsPtr OpenFolderEvents(const std::filesystem::path& folder);

// Waits until there are events, at most `milliseconds`, and returns soon after `stop` becomes true. Without
// events (null) it waits for the time or `stop`.
FolderChanges WaitForFolderChanges(FolderEvents* events, std::int64_t milliseconds,
                                   const std::atomic<bool>& stop);

// Which folder has the path at present: another text when a drive was mounted or removed. Empty: none.
std::string FolderIdentity(const std::filesystem::path& folder);

// Adds the folder's files for whose names `isWanted` is true, following links, without subfolders. Returns
// false when the folder cannot be read.
bool ListFolder(const std::filesystem::path& folder,
                const std::function<bool(const std::filesystem::path&)>& isWanted,
                std::vector<FolderFile>& files);

// One look at one file. Returns false when there is none of this name, or a folder.
bool LookAtFile(const std::filesystem::path& path, FileSignature& signature);

}  // namespace frond

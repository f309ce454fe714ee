#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "frond/folder_events.h"

namespace frond {

namespace fs = std::filesystem;

namespace {

constexpr std::uint32_t kClosed = IN_CLOSE_WRITE | IN_MOVED_TO;
constexpr std::uint32_t kChanged = IN_CREATE | IN_DELETE | IN_MOVED_FROM;
constexpr std::uint32_t kLost = IN_Q_OVERFLOW | IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED;
// A signal that reaches a thread other than the waiting one does not end its wait.
constexpr std::int64_t kStopCheckMs = 50;

FileSignature SignatureOf(const struct stat& status) {
    return {static_cast<std::uint64_t>(status.st_size),
            std::int64_t{status.st_mtim.tv_sec} * 1000000000 + status.st_mtim.tv_nsec};
}

}  // namespace

struct FolderEvents {
    int file;
};

void CloseFolderEvents(FolderEvents* events) {
    close(events->file);
    delete events;
}

FolderEventsPtr OpenFolderEvents(const fs::path& folder) {
    FolderEventsPtr events(new FolderEvents{inotify_init1(IN_NONBLOCK | IN_CLOEXEC)});
    if (events->file < 0) return nullptr;
    const std::uint32_t mask = kClosed | kChanged | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
    return inotify_add_watch(events->file, folder.c_str(), mask) < 0 ? nullptr : std::move(events);
}

namespace {

void ReadEvents(int file, FolderChanges& changes) {
    alignas(inotify_event) char buffer[1 << 16];
    for (ssize_t size; (size = read(file, buffer, sizeof buffer)) > 0;) {
        for (ssize_t at = 0; at < size;) {
            inotify_event event;
            std::memcpy(&event, buffer + at, sizeof event);
            const char* name = buffer + at + sizeof event;
            if ((event.mask & kLost) != 0) changes.missesSome = true;
            if ((event.mask & kClosed) != 0) changes.closed.emplace_back(name);
            if ((event.mask & kChanged) != 0) changes.changed.emplace_back(name);
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
    }
}

}  // namespace

FolderChanges WaitForFolderChanges(FolderEvents* events, std::int64_t milliseconds,
                                   const std::atomic<bool>& stop) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    FolderChanges changes;
    pollfd waiting{events == nullptr ? -1 : events->file, POLLIN, 0};  // poll passes over file -1
    while (!stop) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        const int found =
            poll(&waiting, 1, static_cast<int>(std::clamp<std::int64_t>(left, 0, kStopCheckMs)));
        if (found > 0) ReadEvents(events->file, changes);
        if (found > 0 || left <= 0) break;
    }
    return changes;
}

std::string FolderIdentity(const fs::path& folder) {
    struct stat status;
    if (stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return {};
    return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

bool ListFolder(const fs::path& folder, const std::function<bool(const fs::path&)>& isWanted,
                std::vector<FolderFile>& files) {
    const std::unique_ptr<DIR, int (*)(DIR*)> open(opendir(folder.c_str()), closedir);
    if (open == nullptr) return false;
    while (true) {
        errno = 0;
        const dirent* entry = readdir(open.get());
        if (entry == nullptr) return errno == 0;
        FolderFile file{entry->d_name, {}};
        if (entry->d_type == DT_DIR || !isWanted(file.name)) continue;
        struct stat status;
        if (fstatat(dirfd(open.get()), entry->d_name, &status, 0) != 0 || !S_ISREG(status.st_mode)) continue;
        file.signature = SignatureOf(status);
        files.push_back(std::move(file));
    }
}

bool LookAtFile(const fs::path& path, FileSignature& signature) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    signature = SignatureOf(status);
    return true;
}

}  // namespace frond

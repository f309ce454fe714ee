#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <set>

#include "frond/folder_events.h"

namespace frond {

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t kStopCheckMs = 50;
// Network drives allow no larger buffer.
constexpr DWORD kBufferBytes = 1 << 16;
constexpr DWORD kFilter =
    FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE;

struct HandleCloser {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

Handle Owned(HANDLE handle) {
    return Handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

FileSignature SignatureOf(DWORD sizeHigh, DWORD sizeLow, const FILETIME& time) {
    return {std::uint64_t{sizeHigh} << 32 | sizeLow,
            static_cast<std::int64_t>(std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime)};
}

}  // namespace

struct FolderEvents {
    fs::path path;
    Handle folder, ready;
    OVERLAPPED overlapped{};
    alignas(DWORD) unsigned char buffer[kBufferBytes];
    bool isReading = false;
    std::set<fs::path> open;  // files with events that a writer may still have open
};

namespace {

bool StartReading(FolderEvents& events) {
    events.overlapped = {};
    events.overlapped.hEvent = events.ready.get();
    events.isReading = ReadDirectoryChangesW(events.folder.get(), events.buffer, kBufferBytes, FALSE, kFilter,
                                             nullptr, &events.overlapped, nullptr) != 0;
    return events.isReading;
}

// There is no event for closing. While a writer has a file open, nobody can open it without sharing writes.
bool IsClosed(const fs::path& path) {
    return Owned(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                             OPEN_EXISTING, 0, nullptr)) != nullptr;
}

// Takes the events of the finished read and starts the next one.
void ReadEvents(FolderEvents& events, FolderChanges& changes) {
    DWORD size = 0;
    events.isReading = false;
    const bool isRead = GetOverlappedResult(events.folder.get(), &events.overlapped, &size, FALSE) != 0;
    if (!isRead || size == 0) changes.missesSome = true;  // 0: more events than the buffer can hold
    for (DWORD at = 0; isRead && size > 0;) {
        FILE_NOTIFY_INFORMATION event;
        std::memcpy(&event, events.buffer + at, offsetof(FILE_NOTIFY_INFORMATION, FileName));
        const auto* name = reinterpret_cast<const wchar_t*>(events.buffer + at +
                                                            offsetof(FILE_NOTIFY_INFORMATION, FileName));
        const fs::path file(std::wstring(name, event.FileNameLength / sizeof(wchar_t)));
        changes.changed.push_back(file);
        if (event.Action != FILE_ACTION_REMOVED && event.Action != FILE_ACTION_RENAMED_OLD_NAME)
            events.open.insert(file);
        if (event.NextEntryOffset == 0) break;
        at += event.NextEntryOffset;
    }
    if (isRead) StartReading(events);
}

void TakeClosedFiles(FolderEvents& events, FolderChanges& changes) {
    for (auto file = events.open.begin(); file != events.open.end();) {
        const bool isClosed = IsClosed(events.path / *file);
        if (isClosed) changes.closed.push_back(*file);
        const bool isGone = !isClosed && GetLastError() != ERROR_SHARING_VIOLATION;
        file = isClosed || isGone ? events.open.erase(file) : std::next(file);
    }
}

}  // namespace

void CloseFolderEvents(FolderEvents* events) {
    DWORD ignored = 0;
    // The system writes to the buffer until the cancelled read has ended.
    if (events->isReading && CancelIo(events->folder.get()) != 0)
        GetOverlappedResult(events->folder.get(), &events->overlapped, &ignored, TRUE);
    delete events;
}

FolderEventsPtr OpenFolderEvents(const fs::path& folder) {
    FolderEventsPtr events(new FolderEvents);
    events->path = folder;
    events->folder = Owned(CreateFileW(
        folder.c_str(), FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr));
    events->ready = Owned(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (events->folder == nullptr || events->ready == nullptr || !StartReading(*events)) return nullptr;
    return events;
}

FolderChanges WaitForFolderChanges(FolderEvents* events, std::int64_t milliseconds,
                                   const std::atomic<bool>& stop) {
    const ULONGLONG start = GetTickCount64();
    FolderChanges changes;
    while (!stop) {
        const std::int64_t left = milliseconds - static_cast<std::int64_t>(GetTickCount64() - start);
        const auto wait = static_cast<DWORD>(std::clamp<std::int64_t>(left, 0, kStopCheckMs));
        if (events == nullptr || !events->isReading) {
            Sleep(wait);
        } else if (WaitForSingleObject(events->ready.get(), wait) == WAIT_OBJECT_0) {
            ReadEvents(*events, changes);
        }
        if (events != nullptr) TakeClosedFiles(*events, changes);
        if (!changes.changed.empty() || !changes.closed.empty() || changes.missesSome || left <= 0) break;
    }
    return changes;
}

std::string FolderIdentity(const fs::path& folder) {
    const Handle open =
        Owned(CreateFileW(folder.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                          OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    BY_HANDLE_FILE_INFORMATION info;
    if (open == nullptr || GetFileInformationByHandle(open.get(), &info) == 0 ||
        (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        return {};
    return std::to_string(info.dwVolumeSerialNumber) + ":" + std::to_string(info.nFileIndexHigh) + ":" +
           std::to_string(info.nFileIndexLow);
}

bool ListFolder(const fs::path& folder, const std::function<bool(const fs::path&)>& isWanted,
                std::vector<FolderFile>& files) {
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW((folder / "*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_FILE_NOT_FOUND;
    BOOL isThere = TRUE;
    for (; isThere != 0; isThere = FindNextFileW(search, &found)) {
        const fs::path name = found.cFileName;
        if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 || !isWanted(name)) continue;
        files.push_back({name, SignatureOf(found.nFileSizeHigh, found.nFileSizeLow, found.ftLastWriteTime)});
    }
    const bool isComplete = GetLastError() == ERROR_NO_MORE_FILES;
    FindClose(search);
    return isComplete;
}

bool LookAtFile(const fs::path& path, FileSignature& signature) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) == 0 ||
        (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return false;
    signature = SignatureOf(data.nFileSizeHigh, data.nFileSizeLow, data.ftLastWriteTime);
    return true;
}

}  // namespace frond

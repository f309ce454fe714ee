#include "frond/watched_folder.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <tuple>

namespace frond {

namespace {

namespace fs = std::filesystem;

constexpr const char* kExtensions[] = {".png",  ".tif",  ".tiff", ".jpg", ".jpeg", ".webp",
                                       ".heic", ".heif", ".avif", ".gif", ".psd",  ".psb"};
constexpr const char* kUntrustedExtensions[] = {".exr", ".jp2", ".j2k", ".jxl", ".bmp"};

template <std::size_t kCount>
bool IsOneOf(const std::string& text, const char* const (&list)[kCount]) {
    return std::find(std::begin(list), std::end(list), text) != std::end(list);
}

// When the file's state depends on a look.
std::int64_t LookAt(const WatchedFile& file) {
    return file.state == FileState::kChanging  ? file.changedAt + kSettleMs
           : file.state == FileState::kDamaged ? file.changedAt + kYoungMs
                                               : kNever;
}

}  // namespace

// Incomplete files of browsers, of transfer programs and of frond have extensions of their own.
bool IsPhotographName(const fs::path& name, bool readsUntrusted) {
    if (name.u8string()[0] == '.') return false;
    std::string extension = name.extension().u8string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return IsOneOf(extension, kExtensions) || (readsUntrusted && IsOneOf(extension, kUntrustedExtensions));
}

bool IsKnown(const WatchedFolder& folder, const FolderFile& seen) {
    const auto known = folder.files.find(seen.name);
    return known != folder.files.end() && known->second.signature == seen.signature;
}

void NoteFile(WatchedFolder& folder, const FolderFile& seen, bool isClosed, std::int64_t now) {
    const auto [at, isNew] = folder.files.try_emplace(seen.name);
    WatchedFile& file = at->second;
    if (isNew || !(file.signature == seen.signature)) {
        file.wasThereAtTheStart = isNew && !folder.wasListed;
        file.signature = seen.signature;
        file.changedAt = now;
        file.place = folder.nextPlace++;
        file.state = FileState::kChanging;
    }
    const bool isComplete = isClosed && file.state == FileState::kChanging;
    if (isComplete || now >= LookAt(file)) file.state = FileState::kReady;
}

void ForgetFile(WatchedFolder& folder, const fs::path& name) {
    folder.files.erase(name);
}

void NoteListing(WatchedFolder& folder, std::vector<FolderFile> listing, std::int64_t now) {
    std::sort(listing.begin(), listing.end(), [](const FolderFile& a, const FolderFile& b) {
        return std::tie(a.signature.modified, a.name) < std::tie(b.signature.modified, b.name);
    });
    for (const FolderFile& file : listing) NoteFile(folder, file, false, now);
    folder.wasListed = true;
    std::sort(listing.begin(), listing.end(),
              [](const FolderFile& a, const FolderFile& b) { return a.name < b.name; });
    // Both are in the order of the names.
    auto listed = listing.cbegin();
    for (auto file = folder.files.begin(); file != folder.files.end();) {
        while (listed != listing.cend() && listed->name < file->first) ++listed;
        const bool isThere = listed != listing.cend() && listed->name == file->first;
        file = isThere ? std::next(file) : folder.files.erase(file);
    }
}

std::vector<fs::path> FilesToLookAt(const WatchedFolder& folder, std::int64_t now) {
    std::vector<fs::path> names;
    for (const auto& [name, file] : folder.files) {
        if (now >= LookAt(file)) names.push_back(name);
    }
    return names;
}

std::int64_t NextLook(const WatchedFolder& folder) {
    std::int64_t next = kNever;
    for (const auto& [name, file] : folder.files) next = std::min(next, LookAt(file));
    return next;
}

std::vector<fs::path> TakePhotographs(WatchedFolder& folder, std::size_t most) {
    std::vector<std::tuple<bool, std::uint64_t, fs::path>> ready;
    for (const auto& [name, file] : folder.files) {
        if (file.state == FileState::kReady) ready.emplace_back(file.wasThereAtTheStart, file.place, name);
    }
    const auto end = ready.begin() + static_cast<std::ptrdiff_t>(std::min(most, ready.size()));
    std::partial_sort(ready.begin(), end, ready.end());
    std::vector<fs::path> names;
    for (auto taken = ready.begin(); taken != end; ++taken) {
        const fs::path& name = std::get<fs::path>(*taken);
        folder.files[name].state = FileState::kFinished;
        names.push_back(name);
    }
    return names;
}

void RequeuePhotograph(WatchedFolder& folder, const fs::path& name) {
    const auto file = folder.files.find(name);
    if (file != folder.files.end()) file->second.state = FileState::kReady;
}

bool PostponePhotograph(WatchedFolder& folder, const fs::path& name, std::int64_t now) {
    const auto file = folder.files.find(name);
    if (file == folder.files.end() || now - file->second.changedAt >= kYoungMs) return false;
    file->second.state = FileState::kDamaged;
    return true;
}

std::size_t CountFiles(const WatchedFolder& folder, FileState state) {
    return static_cast<std::size_t>(
        std::count_if(folder.files.begin(), folder.files.end(),
                      [&](const auto& entry) { return entry.second.state == state; }));
}

}  // namespace frond

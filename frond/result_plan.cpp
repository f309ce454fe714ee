#include "frond/result_plan.h"

#include <unordered_map>
#include <unordered_set>

#include "frond/command.h"
#include "images/atomic_file.h"
#include "images/text.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/stat.h>
#endif

namespace frond {

namespace {

namespace fs = std::filesystem;

bool IsFolder(const fs::path& path) {
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

// The number of an existing file on its disk, or an empty text.
std::string FileNumber(const fs::path& path) {
#ifdef _WIN32
    const HANDLE file = CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE) return {};
    BY_HANDLE_FILE_INFORMATION info;
    const bool isKnown = GetFileInformationByHandle(file, &info) != 0;
    CloseHandle(file);
    if (!isKnown) return {};
    return std::to_string(info.dwVolumeSerialNumber) + ':' + std::to_string(info.nFileIndexHigh) + ':' +
           std::to_string(info.nFileIndexLow);
#else
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) return {};
    return std::to_string(info.st_dev) + ':' + std::to_string(info.st_ino);
#endif
}

// Texts that are equal for two paths of one file, which need not exist yet. A plan asks for thousands of
// files in a few folders.
class FileIdentities {
  public:
    std::string Of(const fs::path& path) {
        std::string number = FileNumber(path);
        if (!number.empty()) return number;
        const fs::path folder = path.parent_path();
        auto [known, isNew] = folders_.try_emplace(folder.u8string());
        if (isNew) {
            std::error_code ignored;
            known->second = fs::weakly_canonical(fs::absolute(folder, ignored), ignored);
        }
        fs::path whole = (known->second / path.filename()).lexically_normal();
#ifdef _WIN32
        // Upper and lower case are the same file.
        std::wstring text = whole.native();
        CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
        whole = text;
#endif
        return whole.u8string();
    }

  private:
    std::unordered_map<std::string, fs::path> folders_;
};

fs::path StemOf(const fs::path& path) {
    return images::IsStandardStream(path) ? fs::path("stdin") : path.stem();
}

// Replaces each {key} in the pattern.
fs::path ExpandName(const std::string& pattern, const fs::path& photo, const fs::path& background) {
    fs::path name;
    for (std::size_t at = 0; at < pattern.size();) {
        const std::size_t open = std::min(pattern.find('{', at), pattern.size());
        name += PathFromUtf8(pattern.substr(at, open - at));
        if (open == pattern.size()) break;
        const std::size_t close = pattern.find('}', open);
        name += pattern.compare(open, close + 1 - open, "{photo}") == 0 ? StemOf(photo) : StemOf(background);
        at = close + 1;
    }
    return name;
}

fs::path PathFor(const ResultTarget& target, const ResultRules& rules, const fs::path& photo,
                 const fs::path& background) {
    if (!target.isFolder) return target.path;
    return target.path / (ExpandName(rules.name, photo, background) += "." + rules.format);
}

// Finds results that would overwrite an input or another result.
class Collisions {
  public:
    Collisions(const std::vector<fs::path>& photos, const ResultRules& rules) {
        for (const auto* paths : {&photos, &rules.inputs}) {
            for (const fs::path& path : *paths) {
                if (!images::IsStandardStream(path)) inputs_.insert(identities_.Of(path));
            }
        }
        for (const fs::path& path : rules.outputs) {
            const std::string reason = Add(path);
            if (!reason.empty()) throw Failure(kBadUsage, reason);
        }
    }

    // Returns why the file must not be written; empty: it may.
    std::string Add(const fs::path& path) {
        const std::string identity = identities_.Of(path);
        if (inputs_.count(identity) > 0)
            return images::DisplayName(path) + ": is an input and would be overwritten";
        if (!results_.insert(identity).second)
            return images::DisplayName(path) + ": two results would go to this file";
        return {};
    }

  private:
    FileIdentities identities_;
    std::unordered_set<std::string> inputs_, results_;
};

// Why an existing file in a folder must not be replaced; empty: it may.
std::string ReasonToKeep(const ResultTarget& target, const fs::path& path, const std::string& photo) {
    std::error_code missing;
    if (!target.isFolder || !fs::exists(path, missing) || images::IsSpecialFile(path)) return {};
    const std::string other = PhotoOf(target.ledger, path);
    return other.empty() || other != photo ? DescribeOtherPhoto(path, other) : std::string();
}

// Whether the result is of the photograph as it is now. `identity`: the photograph's.
bool IsUpToDate(const ResultTarget& target, const fs::path& result, const Task& task,
                const std::string& identity) {
    if (result.empty()) return true;
    std::error_code missing;
    const fs::file_time_type written = fs::last_write_time(result, missing);
    if (missing || !fs::is_regular_file(result, missing)) return false;
    if (target.isFolder) return IsComplete(target.ledger, result, identity, task.version);
    const fs::file_time_type taken = fs::last_write_time(task.photo, missing);
    return !missing && written >= taken;
}

}  // namespace

std::filesystem::path FormatName(const ResultTarget& target, const fs::path& result) {
    return target.format.empty() ? result : fs::path(result) += "." + target.format;
}

ResultTarget MakeTarget(const std::string& text, bool isForSeveral, const std::string& format) {
    ResultTarget target;
    if (text.empty()) return target;
    target.path = PathFromUtf8(text);
    if (images::IsStandardStream(target.path)) {
        if (isForSeveral) throw Failure(kBadUsage, "standard output takes one result; name a folder with -o");
        if (format.empty()) throw Failure(kBadUsage, "standard output needs --format");
    }
    if (images::IsSpecialFile(target.path) && !target.path.has_extension()) target.format = format;
    std::error_code ignored;
    target.isFolder = isForSeveral || IsFolder(target.path) || !target.path.has_filename() ||
                      (!target.path.has_extension() && !images::IsStandardStream(target.path) &&
                       !fs::exists(target.path, ignored));
    const fs::path folder = target.isFolder                 ? target.path
                            : target.path.has_parent_path() ? target.path.parent_path()
                                                            : fs::path(".");
    if (target.isFolder || HasLedger(folder)) target.ledger.folder = folder;
    return target;
}

void RequireNamePattern(const std::string& pattern) {
    const auto refuse = [&](const std::string& reason) {
        throw Failure(kBadUsage, "--name: \"" + images::EscapeUnprintable(pattern) + "\" " + reason);
    };
    if (pattern.empty()) refuse("is empty");
    if (pattern.find_first_of("/\\") != std::string::npos) refuse("has a slash; name the folder with -o");
    for (std::size_t at = 0; (at = pattern.find_first_of("{}", at)) != std::string::npos;) {
        const std::size_t end = pattern.find('}', at);
        const std::string key = end == std::string::npos ? "" : pattern.substr(at, end + 1 - at);
        if (key != "{photo}" && key != "{background}")
            refuse("may have {photo} and {background}, no other braces");
        at = end + 1;
    }
}

ResultPlan PlanResults(const std::vector<fs::path>& photos, const Backgrounds& backgrounds,
                       ResultRules& rules) {
    ResultPlan plan;
    Collisions collisions(photos, rules);
    if (rules.out.isFolder) ReadLedger(rules.out.ledger);
    if (rules.matte.isFolder) ReadLedger(rules.matte.ledger);
    for (const fs::path& photo : photos) {
        const bool isChecked = !rules.force && (rules.out.isFolder || rules.matte.isFolder);
        const std::string identity = isChecked || rules.skipsExisting ? PhotoIdentity(photo) : std::string();
        const std::string version = PhotoVersion(photo);
        for (std::size_t i = 0; i < backgrounds.size(); ++i) {
            Task task{photo, i, PathFor(rules.out, rules, photo, backgrounds[i].path),
                      PathFor(rules.matte, rules, photo, backgrounds[i].path), version};
            std::string reason;
            for (const auto& [target, path] :
                 {std::pair(&rules.out, &task.out), std::pair(&rules.matte, &task.matte)}) {
                if (reason.empty() && !path->empty()) reason = collisions.Add(*path);
                if (reason.empty() && !path->empty() && isChecked)
                    reason = ReasonToKeep(*target, *path, identity);
            }
            if (!reason.empty()) {
                plan.refusals.push_back({photo, reason});
            } else if (rules.skipsExisting && IsUpToDate(rules.out, task.out, task, identity) &&
                       IsUpToDate(rules.matte, task.matte, task, identity)) {
                ++plan.existing;
            } else {
                plan.tasks.push_back(std::move(task));
            }
        }
    }
    return plan;
}

void CreateResultFolders(const ResultRules& rules) {
    for (const ResultTarget* target : {&rules.out, &rules.matte}) {
        if (!target->isFolder) continue;
        std::error_code failure;
        fs::create_directories(target->path, failure);
        if (!IsFolder(target->path)) {
            throw Failure(kBadOutput,
                          images::DisplayName(target->path) + ": is not a folder and cannot be created");
        }
        images::RemoveAbandonedParts(target->path);
    }
}

}  // namespace frond

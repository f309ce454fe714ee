#include "frond/result_ledger.h"

#include <fstream>
#include <nlohmann/json.hpp>

#include "frond/command.h"
#include "images/atomic_file.h"
#include "images/text.h"

namespace frond {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr char kFileName[] = ".frond-results";

fs::path FileOf(const ResultLedger& ledger) {
    return ledger.folder / kFileName;
}

std::string NameOf(const fs::path& result) {
    return result.filename().u8string();
}

// Bytes that are not UTF-8 are replaced.
std::string FormatLine(const std::string& result, const std::string& photo, const std::string& version = {}) {
    Json line = {{"result", result}, {"photo", photo}};
    if (!version.empty()) line["version"] = version;
    return line.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// Reads the complete lines from `readBytes` to the end. Returns the entry that the name had before the first
// line with this text.
ResultLedger::Entry ReadNewLines(ResultLedger& ledger, const std::string& name, const std::string& text) {
    ResultLedger::Entry before;
    bool isFound = false;
    const fs::path path = FileOf(ledger);
    std::error_code missing;
    if (!fs::exists(path, missing)) return before;
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(ledger.readBytes));
    if (!file) throw Failure(kBadInput, images::DisplayName(path) + ": cannot be read");
    for (std::string line; std::getline(file, line) && !file.eof(); ledger.readBytes += line.size() + 1) {
        const Json entry = Json::parse(line, nullptr, false);
        if (!entry.is_object() || !entry.contains("result") || !entry["result"].is_string() ||
            !entry.contains("photo") || !entry["photo"].is_string()) {
            continue;
        }
        if (!isFound && line == text) {
            isFound = true;
            const auto found = ledger.entries.find(name);
            if (found != ledger.entries.end()) before = found->second;
        }
        const auto version = entry.find("version");
        const bool isComplete = version != entry.end() && version->is_string();
        ledger.entries[entry["result"].get<std::string>()] = {
            entry["photo"].get<std::string>(), isComplete ? version->get<std::string>() : std::string(),
            ledger.readBytes};
    }
    return before;
}

// A name as it is after it was written and read.
std::string Stored(const std::string& text) {
    return Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace)).get<std::string>();
}

void AppendLine(const ResultLedger& ledger, const std::string& line) {
    try {
        images::LineFile(FileOf(ledger)).Append(line, true);
    } catch (const images::DiskFull& error) {
        throw Failure(kBadOutput, error.what(), true);
    } catch (const images::PictureError& error) {
        throw Failure(kBadOutput, error.what());
    }
}

}  // namespace

std::string PhotoIdentity(const fs::path& photo) {
    if (images::IsStandardStream(photo)) return {};
    std::error_code failure;
    fs::path path = fs::weakly_canonical(fs::absolute(photo, failure), failure);
    if (failure) path = fs::absolute(photo, failure).lexically_normal();
    return Stored(path.u8string());
}

std::string PhotoVersion(const fs::path& photo) {
    std::error_code missing;
    const std::uintmax_t size = fs::file_size(photo, missing);
    if (missing) return {};
    const fs::file_time_type time = fs::last_write_time(photo, missing);
    if (missing) return {};
    return std::to_string(size) + "@" + std::to_string(time.time_since_epoch().count());
}

bool HasLedger(const fs::path& folder) {
    std::error_code missing;
    return fs::exists(folder / kFileName, missing);
}

void ReadLedger(ResultLedger& ledger) {
    ReadNewLines(ledger, {}, {});
    ledger.plannedAt = ledger.readBytes;
}

std::string PhotoOf(const ResultLedger& ledger, const fs::path& result) {
    const auto found = ledger.entries.find(Stored(NameOf(result)));
    return found == ledger.entries.end() ? std::string() : found->second.photo;
}

void ClaimResult(ResultLedger& ledger, const fs::path& result, const std::string& photo, bool force) {
    const std::string name = Stored(NameOf(result)), line = FormatLine(name, photo);
    AppendLine(ledger, line);
    const ResultLedger::Entry before = ReadNewLines(ledger, name, line);
    std::error_code missing;
    const bool isRecent = before.at >= ledger.plannedAt || fs::is_regular_file(result, missing);
    if (force || before.photo.empty() || before.photo == photo || !isRecent) return;
    AppendLine(ledger, FormatLine(name, before.photo));
    throw Failure(kBadOutput, DescribeOtherPhoto(result, before.photo));
}

void CompleteResult(const ResultLedger& ledger, const fs::path& result, const std::string& photo,
                    const std::string& version) {
    if (version.empty()) return;
    try {
        images::LineFile(FileOf(ledger)).Append(FormatLine(Stored(NameOf(result)), photo, version), false);
    } catch (const images::PictureError&) {
        // The result is made again when existing ones are skipped.
    }
}

bool IsComplete(const ResultLedger& ledger, const fs::path& result, const std::string& photo,
                const std::string& version) {
    const auto found = ledger.entries.find(Stored(NameOf(result)));
    return found != ledger.entries.end() && found->second.photo == photo && !version.empty() &&
           found->second.version == version;
}

std::string DescribeOtherPhoto(const fs::path& result, const std::string& photo) {
    return images::DisplayName(result) + ": exists" +
           (photo.empty() ? ", and its photograph is not known"
                          : " and is the result of " + images::EscapeUnprintable(photo)) +
           "; use --force to replace it";
}

}  // namespace frond

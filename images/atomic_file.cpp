#include "images/atomic_file.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <system_error>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

#include "images/text.h"

namespace images {

bool IsStandardStream(const std::filesystem::path& path) {
    return path == "-";
}

bool IsSpecialFile(const std::filesystem::path& path) {
    std::error_code ignored;
    return IsStandardStream(path) || std::filesystem::is_other(path, ignored);
}

std::string InputName(const std::filesystem::path& path) {
    return IsStandardStream(path) ? "standard input" : DisplayName(path);
}

namespace {

constexpr std::size_t kChunkBytes = std::size_t{4} << 20;  // bytes between two tests of the stop flag

#ifdef _WIN32
std::FILE* OpenToRead(const std::filesystem::path& path) {
    return _wfopen(path.c_str(), L"rb");
}
std::FILE* OpenNew(const std::filesystem::path& path) {
    return _wfopen(path.c_str(), L"wb");
}
std::FILE* OpenSpecial(const std::filesystem::path& path) {
    return _wfopen(path.c_str(), L"wb");
}
std::FILE* OpenUnnamed(const std::filesystem::path&) {
    return nullptr;
}
std::FILE* InBinary(std::FILE* standard) {
    _setmode(_fileno(standard), _O_BINARY);
    return standard;
}
bool LinkToName(std::FILE*, const std::filesystem::path&) {
    return false;
}
bool FlushToDisk(std::FILE* file) {
    return std::fflush(file) == 0 && _commit(_fileno(file)) == 0;
}
#else
std::FILE* OpenToRead(const std::filesystem::path& path) {
    return std::fopen(path.c_str(), "rb");
}
std::FILE* OpenNew(const std::filesystem::path& path) {
    return std::fopen(path.c_str(), "wbx");
}
std::FILE* OpenSpecial(const std::filesystem::path& path) {
    return std::fopen(path.c_str(), "wb");
}

std::FILE* InBinary(std::FILE* standard) {
    return standard;
}

std::string OpenFileName(int file) {
    return "/proc/self/fd/" + std::to_string(file);
}

// Opens an unnamed file in the folder: the system deletes it when the process ends. Null when the file system
// has no such files, or without /proc, which LinkToName needs.
std::FILE* OpenUnnamed(const std::filesystem::path& folder) {
    const int file = open(folder.empty() ? "." : folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666);
    if (file < 0) return nullptr;
    std::FILE* const stream = access(OpenFileName(file).c_str(), F_OK) == 0 ? fdopen(file, "wb") : nullptr;
    if (stream == nullptr) close(file);
    return stream;
}

// Returns false when a file of that name exists.
bool LinkToName(std::FILE* file, const std::filesystem::path& name) {
    const std::string source = OpenFileName(fileno(file));
    return linkat(AT_FDCWD, source.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

// A file system without fsync is not an error.
bool FlushToDisk(std::FILE* file) {
    return std::fflush(file) == 0 && (fsync(fileno(file)) == 0 || errno == EINVAL || errno == ENOTSUP);
}
#endif

std::string ErrorText(int error) {
    return std::generic_category().message(error);
}

constexpr char kPartExtension[] = ".frond-part";

// A random name in the target's folder: machines that share the folder must not choose the same one.
std::filesystem::path TemporaryName(const std::filesystem::path& target) {
    std::random_device random;
    std::string name = ".";
    for (int i = 0; i < 16; ++i) name += "0123456789abcdef"[random() % 16];
    return target.parent_path() / (name + kPartExtension);
}

bool IsDiskFull(const std::error_code& code) {
#ifdef EDQUOT
    if (code == std::error_code(EDQUOT, std::generic_category())) return true;
#endif
    return code == std::errc::no_space_on_device;
}

[[noreturn]] void ThrowWriteError(const std::filesystem::path& path, const std::error_code& code) {
    const std::string name = IsStandardStream(path) ? "standard output" : DisplayName(path);
    const std::string line = name + ": cannot be written: " + code.message();
    if (IsDiskFull(code)) throw DiskFull(line);
    throw PictureError(line);
}

[[noreturn]] void ThrowWriteError(const std::filesystem::path& path) {
    ThrowWriteError(path, std::error_code(errno, std::generic_category()));
}

void WriteChunks(std::FILE* stream, const std::filesystem::path& path, const void* bytes, std::size_t size,
                 const std::atomic<bool>* stop) {
    const auto* from = static_cast<const char*>(bytes);
    for (std::size_t done = 0; done < size;) {
        if (stop != nullptr && *stop) throw PictureError(DisplayName(path) + ": not written, interrupted");
        const std::size_t chunk = std::min(kChunkBytes, size - done);
        if (std::fwrite(from + done, 1, chunk, stream) != chunk) ThrowWriteError(path);
        done += chunk;
    }
    if (!FlushToDisk(stream)) ThrowWriteError(path);
    if (stop != nullptr && *stop) throw PictureError(DisplayName(path) + ": not written, interrupted");
}

// Writes to a pipe or a device.
void WriteToSpecialFile(const std::filesystem::path& path, const void* bytes, std::size_t size,
                        const std::atomic<bool>* stop) {
    if (IsStandardStream(path)) return WriteChunks(InBinary(stdout), path, bytes, size, stop);
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(OpenSpecial(path), std::fclose);
    if (stream == nullptr) ThrowWriteError(path);
    WriteChunks(stream.get(), path, bytes, size, stop);
}

// A file during its write: unnamed where the system supports that, else with a temporary name. The destructor
// deletes it unless Commit was called.
struct TemporaryFile {
    std::filesystem::path target, path;  // `path` is empty for an unnamed file
    std::FILE* stream;

    explicit TemporaryFile(const std::filesystem::path& theTarget)
        : target(theTarget), stream(OpenUnnamed(theTarget.parent_path())) {
        if (stream != nullptr) return;
        path = TemporaryName(target);
        errno = 0;
        stream = OpenNew(path);
        if (stream == nullptr) ThrowWriteError(target);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (stream != nullptr) std::fclose(stream);
        std::error_code ignored;
        if (!path.empty()) std::filesystem::remove(path, ignored);
    }

    // Gives the file its name. All bytes must be on the disk.
    void Commit() {
        if (path.empty()) {
            if (LinkToName(stream, target)) return;
            // Only a named file can replace another one.
            path = TemporaryName(target);
            if (!LinkToName(stream, path)) ThrowWriteError(target);
        }
        const int closed = std::fclose(stream);
        stream = nullptr;
        if (closed != 0) ThrowWriteError(target);
        std::error_code failure;
        std::filesystem::rename(path, target, failure);
        if (failure) ThrowWriteError(target, failure);
        path.clear();
    }
};

}  // namespace

void WriteFileAtomically(const std::filesystem::path& path, const void* bytes, std::size_t size,
                         const std::atomic<bool>* stop) {
    if (IsSpecialFile(path)) return WriteToSpecialFile(path, bytes, size, stop);
    // Replaces the target of a symbolic link.
    std::error_code missing;
    const std::filesystem::path target = std::filesystem::canonical(path, missing);
    TemporaryFile file(missing ? path : target);
    WriteChunks(file.stream, path, bytes, size, stop);
    file.Commit();
}

void RemoveAbandonedParts(const std::filesystem::path& folder) {
    namespace fs = std::filesystem;
    const fs::file_time_type yesterday = fs::file_time_type::clock::now() - std::chrono::hours(24);
    std::error_code failure, ignored;
    for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end;
         entry.increment(failure)) {
        if (entry->path().extension() != kPartExtension) continue;
        const fs::file_time_type written = entry->last_write_time(ignored);
        if (!ignored && written < yesterday) fs::remove(entry->path(), ignored);
    }
}

#ifdef _WIN32
namespace {

[[noreturn]] void ThrowLastError(const std::filesystem::path& path) {
    ThrowWriteError(path, std::error_code(static_cast<int>(GetLastError()), std::system_category()));
}

}  // namespace

LineFile::LineFile(const std::filesystem::path& path)
    : path_(path),
      file_(reinterpret_cast<std::intptr_t>(
          CreateFileW(path.c_str(), FILE_APPEND_DATA | FILE_READ_DATA | SYNCHRONIZE,
                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                      FILE_ATTRIBUTE_NORMAL, nullptr))) {
    if (reinterpret_cast<HANDLE>(file_) == INVALID_HANDLE_VALUE) ThrowLastError(path);
}

LineFile::~LineFile() {
    CloseHandle(reinterpret_cast<HANDLE>(file_));
}

void LineFile::Append(std::string line, bool toDisk) {
    const auto file = reinterpret_cast<HANDLE>(file_);
    char last = '\n';
    DWORD count = 0;
    if (SetFilePointer(file, -1, nullptr, FILE_END) != INVALID_SET_FILE_POINTER)
        ReadFile(file, &last, 1, &count, nullptr);
    line = (last == '\n' ? "" : "\n") + line + '\n';
    const auto size = static_cast<DWORD>(line.size());
    if (!WriteFile(file, line.data(), size, &count, nullptr) || count != size) ThrowLastError(path_);
    if (toDisk && !FlushFileBuffers(file)) ThrowLastError(path_);
}
#else
LineFile::LineFile(const std::filesystem::path& path)
    : path_(path),
      file_(open(path.c_str(), (IsSpecialFile(path) ? O_WRONLY : O_RDWR) | O_APPEND | O_CREAT | O_CLOEXEC,
                 0666)) {
    if (file_ < 0) ThrowWriteError(path);
}

LineFile::~LineFile() {
    close(static_cast<int>(file_));
}

void LineFile::Append(std::string line, bool toDisk) {
    const int file = static_cast<int>(file_);
    char last = '\n';
    const off_t size = lseek(file, 0, SEEK_END);  // negative for a pipe
    if (size > 0 && pread(file, &last, 1, size - 1) != 1) last = '\n';
    line = (last == '\n' ? "" : "\n") + line + '\n';
    errno = 0;
    const ssize_t count = write(file, line.data(), line.size());
    if (count >= 0 && static_cast<std::size_t>(count) < line.size() && errno == 0) errno = ENOSPC;
    if (count < 0 || static_cast<std::size_t>(count) < line.size()) ThrowWriteError(path_);
    if (toDisk && fsync(file) != 0 && errno != EINVAL && errno != ENOTSUP) ThrowWriteError(path_);
}
#endif

std::vector<std::uint8_t> ReadFileBytes(const std::filesystem::path& path, std::size_t most) {
    const std::string name = InputName(path);
    const bool isStandard = IsStandardStream(path);
    std::error_code failure;
    const std::filesystem::file_status status = std::filesystem::status(path, failure);
    if (!isStandard && status.type() == std::filesystem::file_type::not_found)
        throw PictureError(name + ": no such file");
    if (!isStandard && std::filesystem::is_directory(status))
        throw PictureError(name + ": is a folder, not a file");
    errno = 0;
    std::FILE* stream = isStandard ? InBinary(stdin) : OpenToRead(path);
    if (stream == nullptr) throw PictureError(name + ": cannot be opened: " + ErrorText(errno));
    std::vector<std::uint8_t> bytes;
    std::size_t count = 0, wanted = 0;
    do {
        const std::size_t done = bytes.size();
        wanted = std::min(kChunkBytes, most - done);
        bytes.resize(done + wanted);
        count = std::fread(bytes.data() + done, 1, wanted, stream);
        bytes.resize(done + count);
    } while (count == wanted && bytes.size() < most);
    const bool failed = std::ferror(stream) != 0;
    const int error = errno;
    if (!isStandard) std::fclose(stream);
    if (failed) throw PictureError(name + ": cannot be read: " + ErrorText(error));
    return bytes;
}

}  // namespace images

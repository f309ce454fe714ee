#include "host/whole_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <system_error>

#include "host/picture.h"

#ifdef _WIN32
#include <io.h>
#include <process.h>
#else
#include <unistd.h>
#endif

namespace frond {

std::string Shown(const std::filesystem::path& path) {
    return path.u8string();
}

namespace {

constexpr std::size_t kPiece = std::size_t{4} << 20;  // bytes written between two looks at the stop flag

#ifdef _WIN32
std::FILE* OpenToRead(const std::filesystem::path& path) {
    return _wfopen(path.c_str(), L"rb");
}
std::FILE* OpenNew(const std::filesystem::path& path) {
    return _wfopen(path.c_str(), L"wb");
}
bool Settle(std::FILE* file) {
    return std::fflush(file) == 0 && _commit(_fileno(file)) == 0;
}
int ProcessId() {
    return _getpid();
}
#else
std::FILE* OpenToRead(const std::filesystem::path& path) {
    return std::fopen(path.c_str(), "rb");
}
std::FILE* OpenNew(const std::filesystem::path& path) {
    return std::fopen(path.c_str(), "wbx");
}
// Some file systems cannot sync; only a real write error counts.
bool Settle(std::FILE* file) {
    return std::fflush(file) == 0 && (fsync(fileno(file)) == 0 || errno == EINVAL || errno == ENOTSUP);
}
int ProcessId() {
    return getpid();
}
#endif

std::string Reason(int error) {
    return std::generic_category().message(error);
}

// A file that goes away with its owner unless it is kept.
struct PassingFile {
    std::filesystem::path path;
    std::FILE* stream;

    explicit PassingFile(const std::filesystem::path& name) : path(name), stream(OpenNew(name)) {}
    PassingFile(const PassingFile&) = delete;
    PassingFile& operator=(const PassingFile&) = delete;
    ~PassingFile() {
        if (stream == nullptr) return;
        std::fclose(stream);
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }

    void KeepAs(const std::filesystem::path& target) {
        const int closed = std::fclose(stream);
        stream = nullptr;
        std::error_code failure;
        if (closed == 0) std::filesystem::rename(path, target, failure);
        if (closed == 0 && !failure) return;
        const std::string reason = closed != 0 ? Reason(errno) : failure.message();
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
        throw PictureError(Shown(target) + ": cannot be written: " + reason);
    }
};

}  // namespace

void WriteWholeFile(const std::filesystem::path& path, const void* bytes, std::size_t size,
                    const std::atomic<bool>* stop) {
    std::filesystem::path passing = path;
    passing.replace_filename("." + std::to_string(ProcessId()) + ".frond-part");
    errno = 0;
    PassingFile file(passing);
    if (file.stream == nullptr) throw PictureError(Shown(path) + ": cannot be written: " + Reason(errno));
    const auto* from = static_cast<const char*>(bytes);
    for (std::size_t done = 0; done < size;) {
        if (stop != nullptr && *stop) throw PictureError(Shown(path) + ": not written, stopped");
        const std::size_t piece = std::min(kPiece, size - done);
        if (std::fwrite(from + done, 1, piece, file.stream) != piece) {
            throw PictureError(Shown(path) + ": cannot be written: " + Reason(errno));
        }
        done += piece;
    }
    if (!Settle(file.stream)) throw PictureError(Shown(path) + ": cannot be written: " + Reason(errno));
    if (stop != nullptr && *stop) throw PictureError(Shown(path) + ": not written, stopped");
    file.KeepAs(path);
}

std::vector<std::uint8_t> ReadWholeFile(const std::filesystem::path& path) {
    std::error_code failure;
    const std::filesystem::file_status status = std::filesystem::status(path, failure);
    if (status.type() == std::filesystem::file_type::not_found) {
        throw PictureError(Shown(path) + ": no such file");
    }
    if (std::filesystem::is_directory(status)) throw PictureError(Shown(path) + ": is a folder, not a file");
    errno = 0;
    std::FILE* stream = OpenToRead(path);
    if (stream == nullptr) throw PictureError(Shown(path) + ": cannot be opened: " + Reason(errno));
    std::vector<std::uint8_t> bytes;
    std::size_t got = 0;
    do {
        bytes.resize(bytes.size() + kPiece);
        got = std::fread(bytes.data() + bytes.size() - kPiece, 1, kPiece, stream);
        bytes.resize(bytes.size() - kPiece + got);
    } while (got == kPiece);
    const bool failed = std::ferror(stream) != 0;
    std::fclose(stream);
    if (failed) throw PictureError(Shown(path) + ": cannot be read: " + Reason(errno));
    return bytes;
}

}  // namespace frond

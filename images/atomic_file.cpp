#include "images/atomic_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <system_error>

#ifdef _WIN32
#include <io.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace images {

namespace {

// The bytes of the character of UTF-8 at this place; 0 when there is none.
std::size_t CharacterSize(const std::string& text, std::size_t at) {
    const auto byte = [&](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
    };
    const int lead = byte(at);
    const std::size_t size = lead < 0x80                   ? 1
                             : lead >= 0xC2 && lead < 0xE0 ? 2
                             : lead >= 0xE0 && lead < 0xF0 ? 3
                             : lead >= 0xF0 && lead < 0xF5 ? 4
                                                           : 0;
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) return 0;
    }
    return size;
}

// Terminals obey the controls below 0x20, 0x7F, and those from U+0080 to U+009F.
bool IsControl(const std::string& text, std::size_t at) {
    const auto first = static_cast<unsigned char>(text[at]);
    return first < 0x20 || first == 0x7F ||
           (first == 0xC2 && static_cast<unsigned char>(text[at + 1]) < 0xA0);
}

}  // namespace

std::string Printable(const std::string& text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t size = CharacterSize(text, at);
        if (size > 0 && !IsControl(text, at)) {
            result.append(text, at, size);
            at += size;
            continue;
        }
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\x%02X",
                      static_cast<unsigned>(static_cast<unsigned char>(text[at])));
        result += text[at] == '\n' ? "\\n" : text[at] == '\t' ? "\\t" : escape;
        ++at;
    }
    return result;
}

std::string DisplayName(const std::filesystem::path& path) {
    return Printable(path.u8string());
}

bool IsSpecialFile(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::is_other(path, ignored);
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
std::FILE* OpenSpecial(const std::filesystem::path& path) {
    return _wfopen(path.c_str(), L"wb");
}
std::FILE* OpenUnnamed(const std::filesystem::path&) {
    return nullptr;
}
bool GiveName(std::FILE*, const std::filesystem::path&) {
    return false;
}
bool Settle(std::FILE* file) {
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

std::string OpenFileName(int file) {
    return "/proc/self/fd/" + std::to_string(file);
}

// A file in the folder without a name, which the system drops however the process ends. Null where the file
// system has no such files, or where there is no /proc, without which it could get no name later.
std::FILE* OpenUnnamed(const std::filesystem::path& folder) {
    const int file = open(folder.empty() ? "." : folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666);
    if (file < 0) return nullptr;
    std::FILE* const stream = access(OpenFileName(file).c_str(), F_OK) == 0 ? fdopen(file, "wb") : nullptr;
    if (stream == nullptr) close(file);
    return stream;
}

// False where a file of that name is there already.
bool GiveName(std::FILE* file, const std::filesystem::path& name) {
    const std::string source = OpenFileName(fileno(file));
    return linkat(AT_FDCWD, source.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

// Some file systems cannot sync; only a real write error counts.
bool Settle(std::FILE* file) {
    return std::fflush(file) == 0 && (fsync(fileno(file)) == 0 || errno == EINVAL || errno == ENOTSUP);
}
#endif

std::string Reason(int error) {
    return std::generic_category().message(error);
}

// A name beside the target that no other process takes, on this machine or on another that shares the folder.
std::filesystem::path PassingName(const std::filesystem::path& target) {
    std::random_device random;
    std::string name = ".";
    for (int i = 0; i < 16; ++i) name += "0123456789abcdef"[random() % 16];
    return target.parent_path() / (name + ".frond-part");
}

bool IsFull(const std::error_code& code) {
#ifdef EDQUOT
    if (code == std::error_code(EDQUOT, std::generic_category())) return true;
#endif
    return code == std::errc::no_space_on_device;
}

[[noreturn]] void ThrowUnwritten(const std::filesystem::path& path, const std::error_code& code) {
    const std::string line = DisplayName(path) + ": cannot be written: " + code.message();
    if (IsFull(code)) throw DiskFull(line);
    throw PictureError(line);
}

[[noreturn]] void ThrowUnwritten(const std::filesystem::path& path) {
    ThrowUnwritten(path, std::error_code(errno, std::generic_category()));
}

void WriteAll(std::FILE* stream, const std::filesystem::path& path, const void* bytes, std::size_t size,
              const std::atomic<bool>* stop) {
    const auto* from = static_cast<const char*>(bytes);
    for (std::size_t done = 0; done < size;) {
        if (stop != nullptr && *stop) throw PictureError(DisplayName(path) + ": not written, stopped");
        const std::size_t piece = std::min(kPiece, size - done);
        if (std::fwrite(from + done, 1, piece, stream) != piece) ThrowUnwritten(path);
        done += piece;
    }
    if (!Settle(stream)) ThrowUnwritten(path);
    if (stop != nullptr && *stop) throw PictureError(DisplayName(path) + ": not written, stopped");
}

// Into a pipe or a device, which takes the bytes itself.
void WriteThrough(const std::filesystem::path& path, const void* bytes, std::size_t size,
                  const std::atomic<bool>* stop) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(OpenSpecial(path), std::fclose);
    if (stream == nullptr) ThrowUnwritten(path);
    WriteAll(stream.get(), path, bytes, size, stop);
}

// A file in the making. It has no name where the system allows that, else a passing one, and goes away with
// its owner unless it is kept.
struct TemporaryFile {
    std::filesystem::path target, path;  // an empty path: no name
    std::FILE* stream;

    explicit TemporaryFile(const std::filesystem::path& theTarget)
        : target(theTarget), stream(OpenUnnamed(theTarget.parent_path())) {
        if (stream != nullptr) return;
        path = PassingName(target);
        errno = 0;
        stream = OpenNew(path);
        if (stream == nullptr) ThrowUnwritten(target);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (stream != nullptr) std::fclose(stream);
        std::error_code ignored;
        if (!path.empty()) std::filesystem::remove(path, ignored);
    }

    // To be called when all is on the disk.
    void Keep() {
        if (path.empty()) {
            if (GiveName(stream, target)) return;
            // Only a file with a name can take another's place.
            path = PassingName(target);
            if (!GiveName(stream, path)) ThrowUnwritten(target);
        }
        const int closed = std::fclose(stream);
        stream = nullptr;
        if (closed != 0) ThrowUnwritten(target);
        std::error_code failure;
        std::filesystem::rename(path, target, failure);
        if (failure) ThrowUnwritten(target, failure);
        path.clear();
    }
};

}  // namespace

void WriteWholeFile(const std::filesystem::path& path, const void* bytes, std::size_t size,
                    const std::atomic<bool>* stop) {
    if (IsSpecialFile(path)) return WriteThrough(path, bytes, size, stop);
    // A link stays, and the file that it names is the one to replace.
    std::error_code noLink;
    const std::filesystem::path target = std::filesystem::canonical(path, noLink);
    TemporaryFile file(noLink ? path : target);
    WriteAll(file.stream, path, bytes, size, stop);
    file.Keep();
}

std::vector<std::uint8_t> ReadWholeFile(const std::filesystem::path& path) {
    std::error_code failure;
    const std::filesystem::file_status status = std::filesystem::status(path, failure);
    if (status.type() == std::filesystem::file_type::not_found) {
        throw PictureError(DisplayName(path) + ": no such file");
    }
    if (std::filesystem::is_directory(status))
        throw PictureError(DisplayName(path) + ": is a folder, not a file");
    errno = 0;
    std::FILE* stream = OpenToRead(path);
    if (stream == nullptr) throw PictureError(DisplayName(path) + ": cannot be opened: " + Reason(errno));
    std::vector<std::uint8_t> bytes;
    std::size_t got = 0;
    do {
        bytes.resize(bytes.size() + kPiece);
        got = std::fread(bytes.data() + bytes.size() - kPiece, 1, kPiece, stream);
        bytes.resize(bytes.size() - kPiece + got);
    } while (got == kPiece);
    const bool failed = std::ferror(stream) != 0;
    std::fclose(stream);
    if (failed) throw PictureError(DisplayName(path) + ": cannot be read: " + Reason(errno));
    return bytes;
}

}  // namespace images

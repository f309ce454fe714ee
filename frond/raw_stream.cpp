#include "frond/raw_stream.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "frond/command.h"
#include "images/text.h"

#ifdef _WIN32
#include <io.h>
#include <windows.h>
#else
#include <poll.h>
#include <unistd.h>
#endif

namespace frond {

namespace {

constexpr std::size_t kMostAtOnce = 1 << 30;  // the systems count in 31 bits

#ifdef _WIN32

int OpenFile(const std::filesystem::path& path) {
    return _wopen(path.c_str(), _O_RDONLY | _O_BINARY);
}

// _isatty is true for NUL too.
bool IsTerminal(int descriptor) {
    DWORD mode = 0;
    return GetConsoleMode(reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)), &mode) != 0;
}

void Prepare(int descriptor) {
    _setmode(descriptor, _O_BINARY);
}

// A read cannot be waited for; it blocks.
bool Awaits(int, const std::function<bool()>& stops) {
    return !stops();
}

void AwaitSpace(int) {}

std::ptrdiff_t ReadSome(int descriptor, std::uint8_t* bytes, std::size_t count) {
    return _read(descriptor, bytes, static_cast<unsigned>(count));
}

// _write does not always tell that the pipe's reader has gone.
std::ptrdiff_t WriteSome(int descriptor, const std::uint8_t* bytes, std::size_t count) {
    DWORD written = 0;
    const auto file = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
    if (WriteFile(file, bytes, static_cast<DWORD>(count), &written, nullptr)) return written;
    switch (GetLastError()) {
        case ERROR_BROKEN_PIPE:
        case ERROR_NO_DATA:
        case ERROR_PIPE_NOT_CONNECTED:
            errno = EPIPE;
            break;
        case ERROR_DISK_FULL:
            errno = ENOSPC;
            break;
        default:
            errno = EIO;
    }
    return -1;
}

#else

int OpenFile(const std::filesystem::path& path) {
    return open(path.c_str(), O_RDONLY | O_CLOEXEC);
}

bool IsTerminal(int descriptor) {
    return isatty(descriptor) != 0;
}

// A pipe of 1 MiB, the most that a user may have by default, saves most of the changes between the programs
// at both ends.
void Prepare([[maybe_unused]] int descriptor) {
#ifdef F_SETPIPE_SZ
    fcntl(descriptor, F_SETPIPE_SZ, 1 << 20);
#endif
}

// False when `stops` does. A signal ends no read, since it may reach another thread.
bool Awaits(int descriptor, const std::function<bool()>& stops) {
    constexpr int kMilliseconds = 100;
    pollfd input = {descriptor, POLLIN, 0};
    while (!stops()) {
        if (poll(&input, 1, kMilliseconds) > 0) return true;
    }
    return false;
}

void AwaitSpace(int descriptor) {
    pollfd output = {descriptor, POLLOUT, 0};
    poll(&output, 1, -1);
}

std::ptrdiff_t ReadSome(int descriptor, std::uint8_t* bytes, std::size_t count) {
    return read(descriptor, bytes, count);
}

std::ptrdiff_t WriteSome(int descriptor, const std::uint8_t* bytes, std::size_t count) {
    return write(descriptor, bytes, count);
}

#endif

bool IsTransient(int error) {
    return error == EINTR || error == EAGAIN;
}

RawStream StandardStream(int descriptor, const char* name) {
    if (IsTerminal(descriptor))
        throw Failure(kBadUsage, std::string(name) + ": is a terminal; use a pipe or a file");
    Prepare(descriptor);
    return {descriptor, name};
}

}  // namespace

RawStream StandardInput() {
    return StandardStream(0, "standard input");
}

RawStream StandardOutput() {
    return StandardStream(1, "standard output");
}

RawStream OpenForReading(const std::filesystem::path& path) {
    const std::string name = images::DisplayName(path);
    const int descriptor = OpenFile(path);
    if (descriptor < 0) throw Failure(kBadInput, name + ": cannot be read: " + std::strerror(errno));
    Prepare(descriptor);
    return {descriptor, name};
}

std::size_t ReadBytes(const RawStream& stream, std::uint8_t* bytes, std::size_t count,
                      const std::function<bool()>& stops) {
    std::size_t done = 0;
    while (done < count && Awaits(stream.descriptor, stops)) {
        const std::ptrdiff_t got =
            ReadSome(stream.descriptor, bytes + done, std::min(count - done, kMostAtOnce));
        if (got == 0) break;
        if (got > 0) {
            done += static_cast<std::size_t>(got);
        } else if (!IsTransient(errno)) {
            throw Failure(kBadInput, stream.name + ": cannot be read: " + std::strerror(errno));
        }
    }
    return done;
}

bool WriteBytes(const RawStream& stream, const std::uint8_t* bytes, std::size_t count) {
    while (count > 0) {
        AwaitSpace(stream.descriptor);
        const std::ptrdiff_t put = WriteSome(stream.descriptor, bytes, std::min(count, kMostAtOnce));
        if (put >= 0) {
            bytes += put;
            count -= static_cast<std::size_t>(put);
        } else if (errno == EPIPE) {
            return false;
        } else if (!IsTransient(errno)) {
            throw Failure(kBadOutput, stream.name + ": cannot be written: " + std::strerror(errno));
        }
    }
    return true;
}

}  // namespace frond

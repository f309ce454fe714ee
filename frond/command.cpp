#include "frond/command.h"

#include <csignal>
#include <cstdio>

#include "images/atomic_file.h"
#include "images/picture_file.h"
#include "images/text.h"

namespace frond {

std::atomic<bool> gInterrupted{false}, gFinishing{false};

void PrintError(const std::string& line) {
    std::fprintf(stderr, "%s: %s\n", kProgramName, images::EscapeUnprintable(line).c_str());
}

namespace {

extern "C" void OnInterrupt(int signal) {
    gInterrupted = true;
    std::signal(signal, SIG_DFL);
}

extern "C" void OnFinish(int signal) {
    gFinishing = true;
    std::signal(signal, SIG_DFL);
}

void InstallHandlers(void (*handler)(int)) {
    static_assert(std::atomic<bool>::is_always_lock_free, "set from a signal handler");
    std::signal(SIGINT, handler);
    std::signal(SIGTERM, handler);
#ifdef SIGHUP
    std::signal(SIGHUP, handler);
#endif
#ifdef SIGPIPE
    std::signal(SIGPIPE, SIG_IGN);  // a closed pipe makes the write fail instead
#endif
}

}  // namespace

void InstallInterruptHandlers() {
    InstallHandlers(OnInterrupt);
}

void InstallFinishHandlers() {
    InstallHandlers(OnFinish);
}

images::Picture ReadInputPicture(const std::filesystem::path& path) {
    try {
        return images::ReadPicture(path);
    } catch (const images::PictureError& error) {
        throw Failure(kBadInput, error.what());
    }
}

std::vector<std::uint8_t> EncodeResult(const std::filesystem::path& path, const images::Picture& picture,
                                       const images::WriteOptions& options) {
    try {
        return images::EncodePicture(path, picture, options, &gInterrupted);
    } catch (const images::PictureError& error) {
        if (gInterrupted) throw Failure(kInterrupted, "interrupted");
        throw Failure(kBadOutput, error.what());
    }
}

void WriteResultFile(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes,
                     bool ignoreInterrupt) {
    try {
        images::WriteFileAtomically(path, bytes.data(), bytes.size(),
                                    ignoreInterrupt ? nullptr : &gInterrupted);
    } catch (const images::DiskFull& error) {
        throw Failure(kBadOutput, error.what(), true);
    } catch (const images::PictureError& error) {
        if (gInterrupted && !ignoreInterrupt) throw Failure(kInterrupted, "interrupted");
        throw Failure(kBadOutput, error.what());
    }
}

void WriteResult(const std::filesystem::path& path, const images::Picture& picture) {
    WriteResultFile(path, EncodeResult(path, picture));
}

void RequireWritablePath(const std::filesystem::path& path) {
    try {
        images::FormatOf(path);
    } catch (const images::PictureError& error) {
        throw Failure(kBadUsage, error.what());
    }
    const std::filesystem::path folder =
        path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored))
        throw Failure(kBadUsage, images::DisplayName(path) + ": is a folder");
    if (!std::filesystem::is_directory(folder, ignored)) {
        throw Failure(kBadOutput, images::DisplayName(path) + ": cannot be written: no folder " +
                                      images::DisplayName(folder));
    }
}

std::filesystem::path PathFromUtf8(const std::string& text) {
    return std::filesystem::u8path(text);
}

}  // namespace frond

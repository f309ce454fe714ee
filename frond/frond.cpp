#include "frond/frond.h"

#include <csignal>
#include <cstdio>

#include "images/atomic_file.h"
#include "images/picture_io.h"

namespace frond {

std::atomic<bool> gStopAsked{false};

void PrintError(const std::string& line) {
    std::fprintf(stderr, "%s: %s\n", kProgramName, images::Printable(line).c_str());
}

namespace {

extern "C" void NoteInterrupt(int signal) {
    gStopAsked = true;
    std::signal(signal, SIG_DFL);
}

}  // namespace

void WatchForInterrupts() {
    static_assert(std::atomic<bool>::is_always_lock_free, "set from a signal handler");
    std::signal(SIGINT, NoteInterrupt);
    std::signal(SIGTERM, NoteInterrupt);
#ifdef SIGHUP
    std::signal(SIGHUP, NoteInterrupt);
#endif
#ifdef SIGPIPE
    std::signal(SIGPIPE, SIG_IGN);  // a result's reader that goes away makes the write fail
#endif
}

images::Picture Read(const std::filesystem::path& path) {
    try {
        return images::ReadPicture(path);
    } catch (const images::PictureError& error) {
        throw Failure(kBadInput, error.what());
    }
}

void Write(const std::filesystem::path& path, const images::Picture& picture, bool toTheEnd) {
    try {
        images::WritePicture(path, picture, toTheEnd ? nullptr : &gStopAsked);
    } catch (const images::DiskFull& error) {
        throw Failure(kBadOutput, error.what(), true);
    } catch (const images::PictureError& error) {
        if (gStopAsked && !toTheEnd) throw Failure(kInterrupted, "interrupted");
        throw Failure(kBadOutput, error.what());
    }
}

void RequireWritableName(const std::filesystem::path& path) {
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
        throw Failure(kBadOutput, images::DisplayName(path) + ": cannot be written: there is no folder " +
                                      images::DisplayName(folder));
    }
}

std::filesystem::path PathOf(const std::string& text) {
    return std::filesystem::u8path(text);
}

}  // namespace frond

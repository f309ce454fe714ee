// Raw bytes from and to pipes, files and devices.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace frond {

// Open until the program ends.
struct RawStream {
    int descriptor;
    std::string name;  // for messages
};

// The standard streams, in binary mode. Throw Failure kBadUsage if that one is a terminal.
RawStream StandardInput();
RawStream StandardOutput();

// Opens a file or a pipe for reading; waits until the pipe has a writer. Throws Failure kBadInput.
RawStream OpenForReading(const std::filesystem::path& path);

// Reads `count` bytes and returns how many there were: fewer at the end of the stream, and when `stops`
// returns true, which is asked before each read and while a pipe is empty (on Windows only before each read).
// Throws Failure kBadInput.
std::size_t ReadBytes(const RawStream& stream, std::uint8_t* bytes, std::size_t count,
                      const std::function<bool()>& stops);

// Writes all bytes. False: nobody reads the pipe any more. Throws Failure kBadOutput.
bool WriteBytes(const RawStream& stream, const std::uint8_t* bytes, std::size_t count);

}  // namespace frond

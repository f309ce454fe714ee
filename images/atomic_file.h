// Reads whole files and replaces files atomically. The path "-" is standard input or standard output; a file
// of that name is "./-".
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "images/picture.h"

namespace images {

// The disk is full or a quota is exhausted: writing other files would fail too.
struct DiskFull : PictureError {
    using PictureError::PictureError;
};

// Writes a file that gets its name only when all bytes are on the disk: `path` has either its old content or
// all of the new bytes, even if the process ends at any time. A symbolic link stays, and its target is
// replaced. A pipe or a device is not replaced: the bytes are written to it.
//
// Throws PictureError when the folder is missing or not writable, DiskFull for a full disk, and PictureError
// when `stop` (may be null) becomes true during the write; no partial file remains. A killed process leaves
// no file either on Linux file systems with unnamed files (O_TMPFILE); elsewhere a hidden file *.frond-part
// can remain.
void WriteFileAtomically(const std::filesystem::path& path, const void* bytes, std::size_t size,
                         const std::atomic<bool>* stop = nullptr);

// Deletes the *.frond-part files in the folder that were last written more than a day ago: other programs may
// be writing newer ones, on machines with other clocks.
void RemoveAbandonedParts(const std::filesystem::path& folder);

// A file of lines that several processes may append to at once. It is created if needed. An open file is not
// copied; the destructor closes it.
class LineFile {
  public:
    // Throws PictureError when the file cannot be opened.
    explicit LineFile(const std::filesystem::path& path);
    LineFile(const LineFile&) = delete;
    LineFile& operator=(const LineFile&) = delete;
    ~LineFile();

    // Appends the line and its end in one write. After a line that an earlier write left incomplete, it
    // starts on a new line. With `toDisk` it returns when the line is on the disk. Throws PictureError,
    // DiskFull.
    void Append(std::string line, bool toDisk);

  private:
    std::filesystem::path path_;
    std::intptr_t file_;  // a descriptor; on Windows a HANDLE
};

bool IsStandardStream(const std::filesystem::path& path);

// Whether the path is standard input or output, a pipe, a device or another special file.
bool IsSpecialFile(const std::filesystem::path& path);

// A path for messages about reading it.
std::string InputName(const std::filesystem::path& path);

// The bytes of a file, or its first `most`. Throws PictureError when the file is missing, a folder, or cannot
// be read.
std::vector<std::uint8_t> ReadFileBytes(const std::filesystem::path& path,
                                        std::size_t most = static_cast<std::size_t>(-1));

}  // namespace images

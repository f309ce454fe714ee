// Bytes to and from files, whole or not at all.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "images/picture.h"

namespace images {

// A full disk, or a quota that is used up: other files would fare no better.
struct DiskFull : PictureError {
    using PictureError::PictureError;
};

// Text in UTF-8 for a terminal: control characters, and bytes that are no UTF-8, become \n, \t or \x1B.
std::string Printable(const std::string& text);

// A path as people read it, printable.
std::string DisplayName(const std::filesystem::path& path);

// Writes a file that takes its name when it is complete and on the disk, so that `path` holds either what it
// held before or all of the bytes, whenever the process ends. Throws PictureError for a folder that is
// missing or closed to us, for a full disk, and when `stop` (may be null) becomes true meanwhile; nothing is
// left behind then. Nor is it when the process is killed, on Linux and a file system that has files without a
// name; elsewhere a hidden file that ends in .frond-part can stay. A pipe or a device is not replaced: it
// gets the bytes. Of a link, the file that it names is replaced.
void WriteWholeFile(const std::filesystem::path& path, const void* bytes, std::size_t size,
                    const std::atomic<bool>* stop = nullptr);

// Whether the path names a pipe, a device or the like.
bool IsSpecialFile(const std::filesystem::path& path);

// All bytes of a file. Throws PictureError when it is missing, no plain file, or cannot be read.
std::vector<std::uint8_t> ReadWholeFile(const std::filesystem::path& path);

}  // namespace images

// Reads the resources of a Windows module (a PE file) on any platform.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "frond/byte_reader.h"

namespace frond {

struct PeResource {
    std::string type;  // upper case; "#16" for a numbered type
    std::uint32_t id;  // 0 for a named resource
    Bytes data;
};

struct PeFile {
    int bits;             // 32 or 64
    std::string machine;  // a description
    std::vector<PeResource> resources;
};

// Throw Failure kBadInput for a file that cannot be read, kNoModule for a file that is not a Windows module.
PeFile ReadPeFile(const std::filesystem::path& path);
PeFile ParsePeFile(const Bytes& bytes, const std::string& file);

}  // namespace frond

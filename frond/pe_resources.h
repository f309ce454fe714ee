// The resources of a Windows module, read from its file on any platform.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "frond/bytes.h"

namespace frond {

struct PeResource {
    std::string type;  // upper case; "#16" for a numbered type
    std::uint32_t id;  // 0 for a named resource
    Bytes data;
};

struct PeFile {
    int bits;             // 32 or 64
    std::string machine;  // in words
    std::vector<PeResource> resources;
};

// Throws Failure kBadInput for a file that cannot be read, kNoModule for one that is no Windows module.
PeFile ReadPeFile(const std::filesystem::path& path);
PeFile ParsePeFile(const Bytes& bytes, const std::string& file);

}  // namespace frond

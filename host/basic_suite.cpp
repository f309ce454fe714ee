// The basic suite: acquires and releases suites, allocates blocks.
#include <algorithm>
#include <cstring>

#include "host/host_state.h"

namespace host {

namespace {

const void* FindSuite(const HostOptions& options, const char* name, std::int32_t version) {
    const auto& missing = options.missingSuites;
    if (std::find(missing.begin(), missing.end(), name) != missing.end()) return nullptr;
    if (std::strcmp(name, kPSBufferSuite) == 0 && version == kPSBufferSuiteVersion) return BufferSuite();
    if (std::strcmp(name, kPSChannelPortsSuite) == 0 && version == kPSChannelPortsSuiteVersion) {
        return ChannelPortsSuite();
    }
    if (std::strcmp(name, kPSGetFileListSuite) == 0 && version == kPSGetFileListSuiteVersion) {
        return GetFileListSuite();
    }
    return nullptr;
}

SPErr AcquireSuite(const char* name, std::int32_t version, const void** suite) {
    Host* host = EnterService();
    if (host == nullptr) return kServiceFailed;
    if (name == nullptr || suite == nullptr) {
        ReportViolation(*host, ViolationKind::kBadArgument, "AcquireSuite: null argument");
        return kServiceFailed;
    }
    // A failed call leaves the caller's pointer unchanged.
    const void* found =
        ShouldFail(*host, HostCall::kAcquireSuite) ? nullptr : FindSuite(host->options, name, version);
    const SPErr result = found != nullptr ? noErr : kServiceFailed;
    if (found != nullptr) {
        *suite = found;
        ++host->acquired[name];
    }
    Trace(*host, "AcquireSuite \"", name, "\" ", version, " -> ", result);
    return result;
}

SPErr ReleaseSuite(const char* name, std::int32_t version) {
    Host* host = EnterService();
    if (host == nullptr) return kServiceFailed;
    const std::string text = name != nullptr ? name : "";
    Trace(*host, "ReleaseSuite \"", text, "\" ", version);
    const auto found = host->acquired.find(text);
    if (found == host->acquired.end() || found->second == 0) {
        ReportViolation(*host, ViolationKind::kSuite, "ReleaseSuite: \"", text, "\" is not acquired");
        return kServiceFailed;
    }
    --found->second;
    return noErr;
}

Boolean IsEqual(const char* first, const char* second) {
    return first != nullptr && second != nullptr && std::strcmp(first, second) == 0;
}

std::uint8_t* AllocateBlockBytes(Host& host, std::size_t size) {
    const int id = host.blocksMade + 1;
    std::uint8_t* bytes = AllocateGuarded(host.memory, BlockKind::kBlock, id, size, host.options.fillByte);
    if (bytes != nullptr) host.blocksMade = id;
    return bytes;
}

SPErr AllocateBlock(std::size_t size, void** block) {
    Host* host = EnterService();
    if (host == nullptr) return kServiceFailed;
    if (block == nullptr) {
        ReportViolation(*host, ViolationKind::kBadArgument, "AllocateBlock: null argument");
        return kServiceFailed;
    }
    *block = nullptr;
    SPErr result = memFullErr;
    if (!ShouldFail(*host, HostCall::kAllocateBlock)) {
        if (!host->options.allocateBlockGivesNull) *block = AllocateBlockBytes(*host, size);
        if (*block != nullptr || host->options.allocateBlockGivesNull) result = noErr;
    }
    Trace(*host, "AllocateBlock ", size, " -> ", result, ' ', NameOfAddress(host->memory, *block));
    return result;
}

// Freeing null does nothing, like `delete`.
SPErr FreeBlock(void* address) {
    Host* host = EnterService();
    if (host == nullptr) return kServiceFailed;
    Trace(*host, "FreeBlock ", NameOfAddress(host->memory, address));
    if (address == nullptr) return noErr;
    const GuardedBlock* block = FindGuarded(host->memory, BlockKind::kBlock, address);
    if (block == nullptr) {
        ReportViolation(*host, ViolationKind::kBadPointer,
                        "FreeBlock: ", NameOfAddress(host->memory, address), " is not a block");
        return kServiceFailed;
    }
    ReleaseBlock(*host, *block);
    return noErr;
}

}  // namespace

SPBasicSuite* BasicSuite() {
    static SPBasicSuite suite = {AcquireSuite, ReleaseSuite, IsEqual,   AllocateBlock,
                                 FreeBlock,    NotOffered,   NotOffered};
    return &suite;
}

}  // namespace host

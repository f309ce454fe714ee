// The buffer suite: large memory.
#include <algorithm>

#include "host/host_state.h"

namespace host {

namespace {

void* New(std::uint32_t* requestedSize, std::uint32_t minimumSize) {
    Host* host = EnterService();
    if (host == nullptr) return nullptr;
    const std::string requested = requestedSize == nullptr ? "null" : std::to_string(*requestedSize);
    const std::uint32_t size = requestedSize == nullptr ? minimumSize : std::max(*requestedSize, minimumSize);
    std::uint8_t* bytes = nullptr;
    if (!ShouldFail(*host, HostCall::kNewBuffer)) {
        const int id = host->buffersMade + 1;
        bytes = AllocateGuarded(host->memory, BlockKind::kBuffer, id, size, host->options.fillByte);
        if (bytes != nullptr) host->buffersMade = id;
    }
    if (requestedSize != nullptr) *requestedSize = bytes != nullptr ? size : 0;
    Trace(*host, "New ", minimumSize, " requested ", requested, " -> ", NameOfAddress(host->memory, bytes));
    return bytes;
}

void Dispose(void** address) {
    Host* host = EnterService();
    if (host == nullptr) return;
    if (address == nullptr) {
        ReportViolation(*host, ViolationKind::kBadArgument, "Dispose: null argument");
        return;
    }
    Trace(*host, "Dispose ", NameOfAddress(host->memory, *address));
    const GuardedBlock* buffer = FindGuarded(host->memory, BlockKind::kBuffer, *address);
    if (buffer == nullptr) {
        ReportViolation(*host, ViolationKind::kBadPointer, "Dispose: ", NameOfAddress(host->memory, *address),
                        " is not a buffer");
        return;
    }
    ReleaseBlock(*host, *buffer);
    if (host->options.disposeClearsPointer) *address = nullptr;
}

}  // namespace

const PSBufferSuite* BufferSuite() {
    static const PSBufferSuite kSuite = {New, Dispose, NotOffered, NotOffered};
    return &kSuite;
}

}  // namespace host

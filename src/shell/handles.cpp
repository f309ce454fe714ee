#include "shell/handles.h"

#include <cstdlib>

namespace filter {

OSErr gProcessHandleError = noErr;

namespace {

constexpr OSErr kNullHandle = -109;

// A handle points to two words: the address of its block, as in the host's handles, and a tag. The third word
// links all handles in a list, which identifies them without reading the host's memory.
struct ProcessHandle {
    char* block;
    FourCharCode tag;
    ProcessHandle* next;
};

constexpr FourCharCode kProcessHandleTag = FourCC("OTOF");

ProcessHandle* gProcessHandles = nullptr;

// Uses calloc: the checked heap needs the host's broker, which such a host may lack too.
Handle NewProcessHandle(std::int32_t size) {
    gProcessHandleError = noErr;
    auto* handle = static_cast<ProcessHandle*>(std::calloc(1, sizeof(ProcessHandle)));
    char* block = static_cast<char*>(std::calloc(1, static_cast<std::size_t>(size)));
    if (handle == nullptr || block == nullptr) {
        std::free(handle);
        std::free(block);
        gProcessHandleError = memFullErr;
        return nullptr;
    }
    *handle = {block, kProcessHandleTag, gProcessHandles};
    gProcessHandles = handle;
    return &handle->block;
}

void DisposeProcessHandle(Handle handle) {
    gProcessHandleError = handle == nullptr ? kNullHandle : noErr;
    for (ProcessHandle** link = &gProcessHandles; *link != nullptr; link = &(*link)->next) {
        ProcessHandle* const made = *link;
        if (&made->block != handle) continue;
        *link = made->next;
        std::free(made->block);
        std::free(made);
        return;
    }
}

}  // namespace

bool HandleProcsUsable(const HandleProcs* procs) {
    return procs != nullptr && procs->handleProcsVersion == kHandleProcsVersion &&
           procs->numHandleProcs >= kHandleProcsCount && procs->newProc != nullptr &&
           procs->disposeProc != nullptr && procs->getSizeProc != nullptr && procs->setSizeProc != nullptr;
}

Handle NewHandle(const HandleProcs* procs, std::int32_t size) {
    return HandleProcsUsable(procs) ? procs->newProc(size) : NewProcessHandle(size);
}

void DisposeHandle(const HandleProcs* procs, Handle handle) {
    if (HandleProcsUsable(procs)) {
        procs->disposeProc(handle);
    } else {
        DisposeProcessHandle(handle);
    }
}

char* LockHandle(const HandleProcs* procs, Handle handle) {
    constexpr Boolean kMoveHigh = 1;
    if (HandleProcsUsable(procs))
        return procs->lockProc == nullptr ? nullptr : procs->lockProc(handle, kMoveHigh);
    gProcessHandleError = noErr;
    return handle == nullptr ? nullptr : *handle;
}

void UnlockHandle(const HandleProcs* procs, Handle handle) {
    if (HandleProcsUsable(procs)) {
        if (procs->unlockProc != nullptr) procs->unlockProc(handle);
        return;
    }
    gProcessHandleError = noErr;  // blocks of the process are never locked
}

}  // namespace filter

// The host's handles. If the host's procs are missing or of an unknown version, handles are allocated in the
// memory of the process.
#pragma once

#include <cstdint>

#include "hostapi/hostapi.h"

namespace filter {

// True for procs of version 1 that include newProc, disposeProc, getSizeProc and setSizeProc.
bool HandleProcsUsable(const HandleProcs* procs);

// size in bytes. Null without memory. The host's blocks have undefined contents, the process's are zero.
Handle NewHandle(const HandleProcs* procs, std::int32_t size);

// Without usable procs, a handle that NewHandle did not create is not freed: it belongs to the host.
void DisposeHandle(const HandleProcs* procs, Handle handle);

// Address of the block, which does not move until UnlockHandle; null if the handle cannot be locked.
char* LockHandle(const HandleProcs* procs, Handle handle);

void UnlockHandle(const HandleProcs* procs, Handle handle);

// Code of the last operation on memory of the process: 0, memFullErr, or -109 for disposing of a null handle.
// Nothing in the module reads it.
extern OSErr gProcessHandleError;

}  // namespace filter

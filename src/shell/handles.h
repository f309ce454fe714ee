// The host's handles. Each operation goes to the host when its procs are usable, and to memory of the process
// when they are not, so that the module runs beside a host that offers no handles, or newer ones.
#pragma once

#include <cstdint>

#include "hostapi/hostapi.h"

namespace filter {

// Procs of version 1 with the four operations in place. A newer version counts as unknown.
bool HandleProcsUsable(const HandleProcs* procs);

// size in bytes. Null when there is no memory; the host's blocks hold anything, the process's are zero.
Handle NewHandle(const HandleProcs* procs, std::int32_t size);

// Where the host's procs are not usable, a handle that NewHandle did not make is left alone: a descriptor's
// handle is the host's, and not ours to free.
void DisposeHandle(const HandleProcs* procs, Handle handle);

// Address of the block, which stays where it is until UnlockHandle; null when it cannot be locked.
char* LockHandle(const HandleProcs* procs, Handle handle);

void UnlockHandle(const HandleProcs* procs, Handle handle);

// What the last operation on memory of the process left: 0, memFullErr, or -109 for the disposal of a null
// handle. Nothing in the module reads it.
extern OSErr gProcessHandleError;

}  // namespace filter

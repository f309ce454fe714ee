// What the module makes of a failing call of its host.
#pragma once

#include "host/host.h"

// The result code of a run in which a call of this kind failed; what is not listed goes on without.
inline OSErr CodeAfterFailureOf(HostCall call) {
    switch (call) {
        case HostCall::kNewHandle:
        case HostCall::kLockHandle:
        case HostCall::kNewBuffer:
        case HostCall::kAllocateBlock:
            return memFullErr;
        case HostCall::kAcquireSuite:
        case HostCall::kCanRead:
        case HostCall::kCanWrite:
        case HostCall::kReadPixels:
        case HostCall::kWritePixels:
            return errPlugInHostInsufficient;
        case HostCall::kCloseReadDescriptor:
            return -1;  // the host's own code, passed on
        default:
            return noErr;
    }
}

// The handle services. The block of an unlocked handle moves whenever the interface allows it. This detects
// pointers that were kept too long.
#include <cstring>

#include "host/host_state.h"

namespace host {

namespace {

const GuardedBlock& BlockOf(const Host& host, const HandleRecord& record) {
    return *FindGuarded(host.memory, BlockKind::kHandle, record.address);
}

// The record of a live or disposed handle, for messages.
const HandleRecord* FindRecord(const Host& host, Handle handle) {
    const auto found = host.handles.find(handle);
    return found == host.handles.end() ? nullptr : found->second.get();
}

HandleRecord* RequireHandle(Host& host, const char* call, Handle handle) {
    HandleRecord* record = FindHandle(host, handle);
    if (record == nullptr)
        ReportViolation(host, ViolationKind::kBadHandle, call, ": ", HandleText(host, handle));
    return record;
}

// Moves the block to another address. Does nothing without memory.
void Relocate(Host& host, HandleRecord& record) {
    const GuardedBlock& old = BlockOf(host, record);
    std::uint8_t* moved =
        AllocateGuarded(host.memory, BlockKind::kHandle, record.id, old.size, host.options.fillByte);
    if (moved == nullptr) return;
    std::memcpy(moved, BytesOf(old), old.size);
    ReleaseBlock(host, old);
    record.address = reinterpret_cast<char*>(moved);
}

Handle NewHandle(std::int32_t size) {
    Host* host = EnterService();
    if (host == nullptr) return nullptr;
    if (size < 0) {
        ReportViolation(*host, ViolationKind::kBadArgument, "NewHandle: a size of ", size);
        return nullptr;
    }
    const bool fails = ShouldFail(*host, HostCall::kNewHandle);
    Handle handle = fails ? nullptr : MakeHandle(*host, static_cast<std::size_t>(size));
    if (handle != nullptr) MoveUnlockedHandles(*host);
    Trace(*host, "NewHandle ", size, " -> ", HandleText(*host, handle));
    return handle;
}

void DisposeHandle(Handle handle) {
    Host* host = EnterService();
    if (host == nullptr) return;
    Trace(*host, "DisposeHandle ", HandleText(*host, handle));
    const HandleRecord* record = RequireHandle(*host, "DisposeHandle", handle);
    if (record == nullptr) return;
    if (record->locks > 0) {
        ReportViolation(*host, ViolationKind::kLocking, "DisposeHandle: handle ", record->id, " is locked");
    }
    for (const auto& [token, reader] : host->readTokens) {
        if (reader->source == handle) {
            ReportViolation(*host, ViolationKind::kBadToken, "DisposeHandle: handle ", record->id,
                            " is a descriptor being read by reader ", reader->id);
        }
    }
    FreeHandle(*host, handle);
}

char* LockHandle(Handle handle, Boolean moveHigh) {
    Host* host = EnterService();
    HandleRecord* record = host == nullptr ? nullptr : RequireHandle(*host, "LockHandle", handle);
    if (record == nullptr) return nullptr;
    char* address = nullptr;
    if (!ShouldFail(*host, HostCall::kLockHandle)) {
        MoveUnlockedHandles(*host);
        ++record->locks;
        address = record->address;
    }
    Trace(*host, "LockHandle handle ", record->id, ' ', int{moveHigh}, " -> ",
          address != nullptr ? "locked" : "null");
    return address;
}

void UnlockHandle(Handle handle) {
    Host* host = EnterService();
    HandleRecord* record = host == nullptr ? nullptr : RequireHandle(*host, "UnlockHandle", handle);
    if (record == nullptr) return;
    Trace(*host, "UnlockHandle handle ", record->id);
    if (record->locks == 0) {
        ReportViolation(*host, ViolationKind::kLocking, "UnlockHandle: handle ", record->id,
                        " is not locked");
        return;
    }
    --record->locks;
}

}  // namespace

void FillHandleProcs(const HostOptions& options, HandleProcs* procs) {
    procs->handleProcsVersion = options.handleProcsVersion;
    procs->numHandleProcs = options.numHandleProcs;
    procs->newProc = NewHandle;
    procs->disposeProc = DisposeHandle;
    procs->getSizeProc = NotOffered;
    procs->setSizeProc = NotOffered;
    procs->lockProc = LockHandle;
    procs->unlockProc = UnlockHandle;
    procs->recoverSpaceProc = NotOffered;
    procs->disposeRegularHandleProc = NotOffered;
}

Handle MakeHandle(Host& host, std::size_t size) {
    auto record = std::make_unique<HandleRecord>();
    record->id = host.handlesMade + 1;
    std::uint8_t* bytes =
        AllocateGuarded(host.memory, BlockKind::kHandle, record->id, size, host.options.fillByte);
    if (bytes == nullptr) return nullptr;
    ++host.handlesMade;
    record->address = reinterpret_cast<char*>(bytes);
    Handle handle = &record->address;
    host.handles.emplace(handle, std::move(record));
    return handle;
}

void FreeHandle(Host& host, Handle handle) {
    HandleRecord& record = *host.handles.at(handle);
    ReleaseBlock(host, BlockOf(host, record));
    record.address = nullptr;
    host.disposedHandles.push_back(handle);
    if (host.disposedHandles.size() <= kRememberedHandles) return;
    host.handles.erase(host.disposedHandles.front());
    host.disposedHandles.pop_front();
}

HandleRecord* FindHandle(const Host& host, Handle handle) {
    const auto found = host.handles.find(handle);
    if (found == host.handles.end()) return nullptr;
    HandleRecord* record = found->second.get();
    // The module can change the master pointer; the handle is then unknown.
    return FindGuarded(host.memory, BlockKind::kHandle, record->address) != nullptr ? record : nullptr;
}

void MoveUnlockedHandles(Host& host) {
    if (!host.options.moveHandles) return;
    for (const auto& [handle, record] : host.handles) {
        if (record->locks > 0 || FindHandle(host, handle) == nullptr) continue;
        Relocate(host, *record);
    }
}

std::string HandleText(const Host& host, Handle handle) {
    if (handle == nullptr) return "null";
    const HandleRecord* record = FindRecord(host, handle);
    if (record == nullptr) return "unknown handle";
    return Concat(record->address == nullptr ? "disposed handle " : "handle ", record->id);
}

}  // namespace host

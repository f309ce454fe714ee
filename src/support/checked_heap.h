// The module's allocations: blocks of the host, guarded by signatures.
//
// A signature of four bytes 0x41 precedes and follows each block. The caller gets the address after the first
// signature, which is aligned to 4 bytes only. The caller's bytes are filled with 0x41 too. Errors go to the
// debugger's output in every build; they are not repaired and stop nothing. The module's operators new and
// delete (allocation_operators.cpp) call CheckedNew and CheckedDelete.
#pragma once

#include <cstddef>
#include <cstdint>

#include "hostapi/hostapi.h"

namespace filter {

// Exception for a failed allocation: kNoBrokerHeapError or memFullErr.
struct HeapFailure {
    OSErr code;
};

constexpr OSErr kNoBrokerHeapError = -50;
constexpr int kCheckedBlocks = 500;

// The table of live blocks. The fields are contiguous: removal from a full table writes one entry past the
// end of each array, which is in the next field.
struct CheckedHeap {
    void* blocks[kCheckedBlocks];
    std::int32_t sizes[kCheckedBlocks];
    std::int32_t count;
};

extern CheckedHeap gCheckedHeap;

// size in bytes. The caller owns the block and frees it with CheckedDelete. Null if the host returns a null
// block. Throws HeapFailure.
void* CheckedNew(std::size_t size);

// Checks and frees a block of CheckedNew. Passes null on to the host.
void CheckedDelete(void* address) noexcept;

// Reports the blocks that are still live, when the module is unloaded.
void ReportLiveBlocks();

}  // namespace filter

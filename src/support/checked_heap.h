// The module's allocations, taken from the host and guarded by signatures.
//
// A block of n bytes lies between two signatures of four bytes 0x41; the caller gets the address behind the
// first, which is therefore aligned to 4 bytes only. The whole block, the caller's area included, is filled
// with 0x41. Findings go to the debugger's output, in every build; nothing is repaired and nothing stopped.
// The operators new and delete of the module (allocation_operators.cpp) are these two functions.
#pragma once

#include <cstddef>
#include <cstdint>

#include "hostapi/hostapi.h"

namespace filter {

// The host's suite broker: stored at every call into the module, null before the first.
extern SPBasicSuite* gSPBasicSuite;

// What a failed allocation raises: -50 without a broker, -108 without memory.
struct HeapFailure {
    OSErr code;
};

constexpr OSErr kNoSuiteBroker = -50;
constexpr int kCheckedBlocks = 500;

// The table of live blocks. The three fields lie end to end: the compaction of a full table writes one entry
// past each array, and lands in the next field.
struct CheckedHeap {
    void* blocks[kCheckedBlocks];
    std::int32_t sizes[kCheckedBlocks];
    std::int32_t count;
};

extern CheckedHeap gCheckedHeap;

// size: bytes wanted. Gives the caller's address, owned by the caller until CheckedDelete; null when the host
// gives a null block. Raises HeapFailure.
void* CheckedNew(std::size_t size);

// Checks and frees a block of CheckedNew; null is handed on to the host.
void CheckedDelete(void* address) noexcept;

// Reports what is still live; called once, when the module is unloaded.
void SweepCheckedHeap();

}  // namespace filter

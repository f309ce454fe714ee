// The host's memory for the module. Every block is between two guards and can be filled with a given byte.
// Freed blocks can stay in quarantine for a time, where later writes are detected.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace host {

enum class BlockKind { kHandle, kBuffer, kBlock };

struct GuardedBlock {
    BlockKind kind = BlockKind::kBlock;
    int id = 0;  // counted from 1 for each kind; a handle's block has the handle's number
    std::size_t size = 0;
    bool leakReported = false;
    std::unique_ptr<std::uint8_t[]> storage;  // guard, user bytes, guard
};

struct GuardedMemory {
    std::map<std::uintptr_t, GuardedBlock> live;  // by address of the user bytes
    std::deque<GuardedBlock> quarantine;          // oldest first
    std::size_t quarantinedBytes = 0;
};

// The first user byte, aligned for any type.
std::uint8_t* BytesOf(const GuardedBlock& block);

// Returns the first user byte of a new block; null without memory. Empty `fill`: the bytes are undefined.
std::uint8_t* AllocateGuarded(GuardedMemory& memory, BlockKind kind, int id, std::size_t size,
                              std::optional<std::uint8_t> fill);

// The live block of that kind that starts at the address, or null.
const GuardedBlock* FindGuarded(const GuardedMemory& memory, BlockKind kind, const void* address);

// The live block of any kind that contains the address or ends at it; null for other memory.
const GuardedBlock* FindContaining(const GuardedMemory& memory, const void* address);

// Whether the address is in a freed block that is still in quarantine.
bool IsQuarantined(const GuardedMemory& memory, const void* address);

bool GuardsIntact(const GuardedBlock& block);

// Moves the block that starts at the address to the quarantine, which keeps the newest `limit` bytes. Returns
// how many of the blocks that leave it were written to after they were freed.
int QuarantineBlock(GuardedMemory& memory, const void* address, std::size_t limit);

// Reduces the quarantine to `limit` bytes. Returns how many of the removed blocks were written to in it.
int DrainQuarantine(GuardedMemory& memory, std::size_t limit);

// "buffer 3", "block 1+16", "null" or "other memory".
std::string NameOfAddress(const GuardedMemory& memory, const void* address);
const char* NameOfKind(BlockKind kind);

}  // namespace host

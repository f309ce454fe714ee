// Memory that the host hands out: every block lies between two guards, is filled with a chosen byte, and
// stays behind for a while after it was given back, so that late writes show.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>

namespace host {

enum class BlockKind { kHandle, kBuffer, kBlock };

struct GuardedBlock {
    BlockKind kind = BlockKind::kBlock;
    int id = 0;  // counted from 1 in each kind; a handle's block bears the handle's number
    std::size_t size = 0;
    bool leakReported = false;
    std::unique_ptr<std::uint8_t[]> storage;  // guard, the user's bytes, guard
};

struct GuardedMemory {
    std::map<std::uintptr_t, GuardedBlock> live;  // by the user's address
    std::deque<GuardedBlock> quarantine;          // oldest first
    std::size_t quarantinedBytes = 0;
};

// The first of the user's bytes, aligned for any type.
std::uint8_t* BytesOf(const GuardedBlock& block);

// A new block of the size; null when the process has no memory.
std::uint8_t* MakeGuarded(GuardedMemory& memory, BlockKind kind, int id, std::size_t size, std::uint8_t fill);

// The live block that begins at the address; null when there is none of that kind.
const GuardedBlock* FindGuarded(const GuardedMemory& memory, BlockKind kind, const void* address);

// The live block that the address lies in or just behind, of any kind; null for other memory.
const GuardedBlock* GuardedAround(const GuardedMemory& memory, const void* address);

// Whether the address lies in memory that was given back and is still held back.
bool IsQuarantined(const GuardedMemory& memory, const void* address);

bool GuardsIntact(const GuardedBlock& block);

// Ends the block that begins at the address. It stays in quarantine while `limit` bytes of younger blocks do
// not push it out. Gives how many blocks were written to after their end, as far as it shows now.
int RetireGuarded(GuardedMemory& memory, const void* address, std::size_t limit);

// Empties the quarantine down to `limit` bytes; gives the number of blocks that were written to in it.
int DrainQuarantine(GuardedMemory& memory, std::size_t limit);

// "buffer 3", "block 1+16", "null" or "other memory".
std::string NameOfAddress(const GuardedMemory& memory, const void* address);
const char* NameOfKind(BlockKind kind);

}  // namespace host

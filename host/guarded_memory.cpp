#include "host/guarded_memory.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace host {

namespace {

constexpr std::size_t kGuardBytes = 64;
constexpr std::uint8_t kGuardByte = 0xE7;
constexpr std::uint8_t kFreedByte = 0xDB;

std::uintptr_t AddressOf(const void* pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer);
}

// Compares the bytes with each other by memcmp, since blocks are as large as a picture's plane.
bool AllBytesAre(const std::uint8_t* first, std::size_t count, std::uint8_t value) {
    return count == 0 || (*first == value && std::memcmp(first, first + 1, count - 1) == 0);
}

bool Covers(const GuardedBlock& block, std::uintptr_t address) {
    const std::uintptr_t first = AddressOf(BytesOf(block));
    return address >= first && address <= first + block.size;
}

void FillGuards(GuardedBlock& block) {
    std::memset(block.storage.get(), kGuardByte, kGuardBytes);
    std::memset(BytesOf(block) + block.size, kGuardByte, kGuardBytes);
}

}  // namespace

std::uint8_t* BytesOf(const GuardedBlock& block) {
    return block.storage.get() + kGuardBytes;
}

std::uint8_t* AllocateGuarded(GuardedMemory& memory, BlockKind kind, int id, std::size_t size,
                              std::optional<std::uint8_t> fill) {
    if (size > SIZE_MAX - 2 * kGuardBytes) return nullptr;
    GuardedBlock block;
    block.kind = kind;
    block.id = id;
    block.size = size;
    block.storage.reset(new (std::nothrow) std::uint8_t[size + 2 * kGuardBytes]);
    if (!block.storage) return nullptr;

    std::uint8_t* bytes = BytesOf(block);
    FillGuards(block);
    if (fill) std::memset(bytes, *fill, size);
    memory.live.emplace(AddressOf(bytes), std::move(block));
    return bytes;
}

const GuardedBlock* FindGuarded(const GuardedMemory& memory, BlockKind kind, const void* address) {
    const auto found = memory.live.find(AddressOf(address));
    return found != memory.live.end() && found->second.kind == kind ? &found->second : nullptr;
}

const GuardedBlock* FindContaining(const GuardedMemory& memory, const void* address) {
    auto next = memory.live.upper_bound(AddressOf(address));
    if (next == memory.live.begin()) return nullptr;
    const GuardedBlock& block = std::prev(next)->second;
    return Covers(block, AddressOf(address)) ? &block : nullptr;
}

bool IsQuarantined(const GuardedMemory& memory, const void* address) {
    return std::any_of(memory.quarantine.begin(), memory.quarantine.end(),
                       [address](const GuardedBlock& block) { return Covers(block, AddressOf(address)); });
}

bool GuardsIntact(const GuardedBlock& block) {
    return AllBytesAre(block.storage.get(), kGuardBytes, kGuardByte) &&
           AllBytesAre(BytesOf(block) + block.size, kGuardBytes, kGuardByte);
}

int QuarantineBlock(GuardedMemory& memory, const void* address, std::size_t limit) {
    const auto found = memory.live.find(AddressOf(address));
    GuardedBlock block = std::move(found->second);
    memory.live.erase(found);
    // A block larger than the quarantine is freed at once, as is every block without a quarantine.
    if (block.size > limit || limit == 0) return 0;
    // The caller has checked the guards; from here on, changes are writes to freed memory.
    FillGuards(block);
    std::memset(BytesOf(block), kFreedByte, block.size);
    memory.quarantinedBytes += block.size;
    memory.quarantine.push_back(std::move(block));
    return DrainQuarantine(memory, limit);
}

int DrainQuarantine(GuardedMemory& memory, std::size_t limit) {
    int damaged = 0;
    const auto drop = [&] {
        const GuardedBlock& oldest = memory.quarantine.front();
        if (!AllBytesAre(BytesOf(oldest), oldest.size, kFreedByte) || !GuardsIntact(oldest)) ++damaged;
        memory.quarantinedBytes -= oldest.size;
        memory.quarantine.pop_front();
    };
    while (memory.quarantinedBytes > limit) drop();
    if (limit == 0) {
        while (!memory.quarantine.empty()) drop();  // empty blocks
    }
    return damaged;
}

const char* NameOfKind(BlockKind kind) {
    switch (kind) {
        case BlockKind::kHandle:
            return "handle";
        case BlockKind::kBuffer:
            return "buffer";
        case BlockKind::kBlock:
            break;
    }
    return "block";
}

std::string NameOfAddress(const GuardedMemory& memory, const void* address) {
    if (address == nullptr) return "null";
    const GuardedBlock* block = FindContaining(memory, address);
    if (block == nullptr) return IsQuarantined(memory, address) ? "freed memory" : "other memory";
    std::string name = std::string(NameOfKind(block->kind)) + ' ' + std::to_string(block->id);
    const std::uintptr_t offset = AddressOf(address) - AddressOf(BytesOf(*block));
    return offset == 0 ? name : name + '+' + std::to_string(offset);
}

}  // namespace host

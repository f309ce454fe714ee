// All forms of the module's operators new and delete, on the checked heap.
//
// Linked into the module only: a program that links the module's logic keeps its own heap.
#include <cstdint>
#include <cstring>
#include <new>

#include "support/checked_heap.h"

using filter::CheckedDelete;
using filter::CheckedNew;
using filter::HeapFailure;

namespace {

void* NewOrNull(std::size_t size) noexcept {
    try {
        return CheckedNew(size);
    } catch (const HeapFailure&) {
        return nullptr;
    }
}

// Checked blocks are aligned to 4 bytes only. A larger alignment gets a larger block, with the address of the
// block stored just before the aligned address. The compiler only requests powers of two that are no smaller
// than a pointer.
constexpr std::size_t AlignmentOverhead(std::align_val_t alignment) {
    return static_cast<std::size_t>(alignment) + sizeof(void*);
}

void* AlignWithin(void* block, std::align_val_t alignment) noexcept {
    if (!block) return nullptr;
    const auto step = static_cast<std::uintptr_t>(alignment);
    const auto first = reinterpret_cast<std::uintptr_t>(block) + sizeof(void*);
    char* const aligned = static_cast<char*>(block) + sizeof(void*) + ((step - first % step) % step);
    std::memcpy(aligned - sizeof(void*), &block, sizeof(void*));
    return aligned;
}

void DeleteAligned(void* address) noexcept {
    void* block = nullptr;
    if (address) std::memcpy(&block, static_cast<char*>(address) - sizeof(void*), sizeof(void*));
    CheckedDelete(block);
}

}  // namespace

void* operator new(std::size_t size) {
    return CheckedNew(size);
}
void* operator new[](std::size_t size) {
    return CheckedNew(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return NewOrNull(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return NewOrNull(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return AlignWithin(CheckedNew(size + AlignmentOverhead(alignment)), alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return AlignWithin(CheckedNew(size + AlignmentOverhead(alignment)), alignment);
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return AlignWithin(NewOrNull(size + AlignmentOverhead(alignment)), alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return AlignWithin(NewOrNull(size + AlignmentOverhead(alignment)), alignment);
}

void operator delete(void* address) noexcept {
    CheckedDelete(address);
}
void operator delete[](void* address) noexcept {
    CheckedDelete(address);
}
void operator delete(void* address, std::size_t) noexcept {
    CheckedDelete(address);
}
void operator delete[](void* address, std::size_t) noexcept {
    CheckedDelete(address);
}
void operator delete(void* address, const std::nothrow_t&) noexcept {
    CheckedDelete(address);
}
void operator delete[](void* address, const std::nothrow_t&) noexcept {
    CheckedDelete(address);
}
void operator delete(void* address, std::align_val_t) noexcept {
    DeleteAligned(address);
}
void operator delete[](void* address, std::align_val_t) noexcept {
    DeleteAligned(address);
}
void operator delete(void* address, std::size_t, std::align_val_t) noexcept {
    DeleteAligned(address);
}
void operator delete[](void* address, std::size_t, std::align_val_t) noexcept {
    DeleteAligned(address);
}
void operator delete(void* address, std::align_val_t, const std::nothrow_t&) noexcept {
    DeleteAligned(address);
}
void operator delete[](void* address, std::align_val_t, const std::nothrow_t&) noexcept {
    DeleteAligned(address);
}

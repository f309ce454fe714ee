// Large blocks, mostly planes, in huge pages. With pages of 4 KB the kernel needs up to a third of a
// photograph's time to supply them. A system without huge pages ignores the request.
//
// These operators replace those of the whole program and of its C++ libraries. All blocks come from malloc.
#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t kHugePage = std::size_t{1} << 21;  // bytes, on x86-64

// Blocks are not aligned to huge pages: a batch would leave gaps between them in the memory that it keeps.
void AskForHugePages(void* block, std::size_t size) {
    const auto from = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t first = (from + kHugePage - 1) / kHugePage * kHugePage;
    const std::uintptr_t end = (from + size) / kHugePage * kHugePage;
    if (first < end) madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
}

}  // namespace

void* operator new(std::size_t size) {
    void* const block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) throw std::bad_alloc();
    if (size >= kHugePage) AskForHugePages(block, size);
    return block;
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

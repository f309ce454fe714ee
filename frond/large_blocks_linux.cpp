// Large blocks, mostly planes, in huge pages. With pages of 4 KB the kernel needs up to a third of a
// photograph's time to supply them. A system without huge pages ignores the request.
//
// These operators replace those of the whole program and of its C++ libraries. All blocks come from malloc.
#include <sys/mman.h>

#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t kHugePage = std::size_t{1} << 21;  // bytes, on x86-64

void* AllocateLarge(std::size_t size) {
    void* block = nullptr;
    if (posix_memalign(&block, kHugePage, size) != 0) return nullptr;
    // What is left after the last whole huge page stays in small pages, so the block needs no more memory.
    madvise(block, size / kHugePage * kHugePage, MADV_HUGEPAGE);
    return block;
}

}  // namespace

void* operator new(std::size_t size) {
    void* const block = size < kHugePage ? std::malloc(size == 0 ? 1 : size) : AllocateLarge(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

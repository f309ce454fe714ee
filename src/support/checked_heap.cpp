#include "support/checked_heap.h"

#include <cstring>
#include <limits>
#include <type_traits>

#include "support/debug_output.h"
#include "support/module_state.h"

namespace filter {

CheckedHeap gCheckedHeap = {};

namespace {

constexpr int kSignatureByte = 0x41;
constexpr std::size_t kSignatureSize = 4;
constexpr std::size_t kOverhead = 2 * kSignatureSize;

// Removal from a full table accesses entry kCheckedBlocks of both arrays, which is the start of the next
// field. The count is -1 afterwards, and entries before the arrays are accessed. So entries are read and
// written at their byte offset in the record. Entries outside the record read as 0 and are not written.
constexpr std::ptrdiff_t kBlocks = offsetof(CheckedHeap, blocks);
constexpr std::ptrdiff_t kSizes = offsetof(CheckedHeap, sizes);

static_assert(std::is_standard_layout_v<CheckedHeap>);
static_assert(kSizes == kCheckedBlocks * sizeof(void*), "the arrays are contiguous");
static_assert(offsetof(CheckedHeap, count) == kSizes + kCheckedBlocks * sizeof(std::int32_t),
              "the count follows");

template <typename Entry>
bool InsideTable(std::ptrdiff_t offset) {
    return offset >= 0 && offset + sizeof(Entry) <= sizeof(CheckedHeap);
}

template <typename Entry>
Entry Load(std::ptrdiff_t array, std::ptrdiff_t index) {
    const std::ptrdiff_t offset = array + index * static_cast<std::ptrdiff_t>(sizeof(Entry));
    Entry entry = {};
    if (InsideTable<Entry>(offset)) {
        std::memcpy(&entry, reinterpret_cast<const unsigned char*>(&gCheckedHeap) + offset, sizeof entry);
    }
    return entry;
}

template <typename Entry>
void Store(std::ptrdiff_t array, std::ptrdiff_t index, Entry entry) {
    const std::ptrdiff_t offset = array + index * static_cast<std::ptrdiff_t>(sizeof(Entry));
    if (InsideTable<Entry>(offset)) {
        std::memcpy(reinterpret_cast<unsigned char*>(&gCheckedHeap) + offset, &entry, sizeof entry);
    }
}

// Index of an address among the first `slots` entries, or -1.
int FindSlot(const void* address, int slots) {
    for (int slot = 0; slot < slots; ++slot) {
        if (gCheckedHeap.blocks[slot] == address) return slot;
    }
    return -1;
}

bool SignatureIntact(const unsigned char* bytes) {
    for (std::size_t i = 0; i < kSignatureSize; ++i) {
        if (bytes[i] != kSignatureByte) return false;
    }
    return true;
}

void RemoveSlot(int slot) {
    Store<void*>(kBlocks, slot, nullptr);
    for (int j = slot; j < gCheckedHeap.count; ++j) {
        Store(kBlocks, j, Load<void*>(kBlocks, j + 1));
        Store(kSizes, j, Load<std::int32_t>(kSizes, j + 1));
    }
    // In a full table these two write sizes[0] and the count, which becomes -1.
    const std::int32_t end = gCheckedHeap.count;
    Store<void*>(kBlocks, end, nullptr);
    Store<std::int32_t>(kSizes, end, 0);
    --gCheckedHeap.count;
}

// Reports the errors of a block that is about to be freed and removes it from the table.
void CheckAndRemove(void* address) {
    const unsigned char* bytes = static_cast<const unsigned char*>(address);
    const int known = FindSlot(address, gCheckedHeap.count);
    const std::int32_t size = known < 0 ? 0 : gCheckedHeap.sizes[known];

    if (!SignatureIntact(bytes - kSignatureSize)) DebugOutput("MW:BAD SIGNATURE AT BEGINNING!\n");
    if (size == 0) DebugOutput("MW:NO SIZE!\n");
    // Without a size this checks the four bytes before the block, on purpose.
    if (!SignatureIntact(bytes + size - kOverhead)) DebugOutput("MW:BAD SIGNATURE AT END!\n");

    if (gCheckedHeap.count == 0) {
        DebugOutput("MW:EMPTY!\n");
        return;
    }
    const int slot = FindSlot(address, kCheckedBlocks);
    if (slot < 0) {
        DebugOutput("MW:NOT FOUND!\n");
    } else {
        RemoveSlot(slot);
    }
}

}  // namespace

void* CheckedNew(std::size_t size) {
    if (gSPBasicSuite == nullptr) throw HeapFailure{kNoBrokerHeapError};
    // The sizes in the table are signed 32-bit numbers.
    if (size > std::numeric_limits<std::int32_t>::max() - kOverhead) throw HeapFailure{memFullErr};

    const std::size_t total = size + kOverhead;
    void* block = nullptr;
    if (gSPBasicSuite->AllocateBlock(total, &block) != 0) throw HeapFailure{memFullErr};
    if (block == nullptr) return nullptr;
    std::memset(block, kSignatureByte, total);

    void* address = static_cast<unsigned char*>(block) + kSignatureSize;
    if (gCheckedHeap.count == kCheckedBlocks) {
        DebugOutput("MW:MEMCHECK FULL!\n");
    } else if (FindSlot(address, kCheckedBlocks) >= 0) {
        DebugOutput("MW:MEMCHECK AGAIN!\n");
    } else {
        Store(kBlocks, gCheckedHeap.count, address);
        Store(kSizes, gCheckedHeap.count, static_cast<std::int32_t>(total));
        ++gCheckedHeap.count;
    }
    return address;
}

void CheckedDelete(void* address) noexcept {
    if (address != nullptr) CheckAndRemove(address);
    if (gSPBasicSuite == nullptr) return;
    gSPBasicSuite->FreeBlock(address == nullptr ? nullptr
                                                : static_cast<unsigned char*>(address) - kSignatureSize);
}

void ReportLiveBlocks() {
    if (gCheckedHeap.count != 0) DebugOutput("MW:INDEX NOT ZERO!\n");
    for (const void* block : gCheckedHeap.blocks) {
        if (block != nullptr) DebugOutput("MW:MEMORY NOT ZERO!\n");
    }
}

}  // namespace filter

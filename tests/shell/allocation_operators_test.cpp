// The module's operators new and delete, and its unloading. The operators replace those of the whole program,
// so this test is a program without a test framework.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <new>

#include "plugin/module.h"
#include "support/checked_heap.h"
#include "support/debug_output.h"
#include "support/lazy_suite.h"
#include "support/module_state.h"

using namespace filter;

namespace {

bool gMemoryLeft = true;
// Blocks of the host. Volatile, as in CheckedBlocks: Clang takes for granted that an operator new changes
// nothing that the program sees.
volatile int gLive = 0;
int gFailures = 0;
int gReleased = 0, gFindings = 0;  // suites released, lines of the heap's report

void Expect(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "allocation operators: %s\n", what);
    ++gFailures;
}

SPErr AllocateBlock(std::size_t size, void** block) {
    if (!gMemoryLeft) return memFullErr;
    *block = std::malloc(size);
    gLive = gLive + 1;
    return 0;
}

// The C library aborts on an address that it did not allocate.
SPErr FreeBlock(void* block) {
    gLive = gLive - (block != nullptr);
    std::free(block);
    return 0;
}

struct alignas(4096) Page {
    char bytes[4096];
};

int CheckedBlocks() {
    return *static_cast<const volatile decltype(gCheckedHeap.count)*>(&gCheckedHeap.count);
}

template <class T>
void ExpectAllOperators(const char* name) {
    T *const one = new T, *const many = new T[3];
    T *const quiet = new (std::nothrow) T, *const quietMany = new (std::nothrow) T[3];
    Expect(gLive == 4 && CheckedBlocks() == 4, name);
    // Two signatures of four bytes and the object. A larger alignment needs space to move the object, and for
    // the address of the block.
    const std::size_t moved = alignof(T) > 4 ? alignof(T) + sizeof(void*) : 0;
    Expect(static_cast<std::size_t>(gCheckedHeap.sizes[0]) == 4 + sizeof(T) + moved + 4, "a wrong size");
    for (T* address : {one, many, quiet, quietMany}) {
        if (alignof(T) > 4) Expect(reinterpret_cast<std::uintptr_t>(address) % alignof(T) == 0, "misaligned");
        Expect(*reinterpret_cast<unsigned char*>(address) == 0x41, "not filled by the checked heap");
    }
    delete one;
    delete[] many;
    delete quiet;
    delete[] quietMany;
    Expect(gLive == 0 && CheckedBlocks() == 0, "a block was not freed, or is still in the table");
}

template <class T>
void ExpectFailure(OSErr code) {
    OSErr raised = 0;
    try {
        T* volatile unused = new T;
        delete unused;
    } catch (const HeapFailure& failure) {
        raised = failure.code;
    }
    Expect(raised == code, "the failure has another code");
    T* volatile quiet = new (std::nothrow) T;
    Expect(quiet == nullptr, "a nothrow operator returned an address without memory");
}

// At the process's end the module calls nothing; otherwise it releases its suite. It reports in both cases.
void ExpectUnloading() {
    const int block = 0;
    gGetFileListSuite.suite = &block;
    gDebugOutput = [](const char*) { ++gFindings; };
    int* volatile left = new int;
    UnloadModule(true);
    Expect(gReleased == 0 && gFindings == 2, "the end of the process released a suite or reported nothing");
    UnloadModule(false);
    Expect(gReleased == 1 && gFindings == 4, "the suite was not released, or the heap not reported");
    UnloadModule(false);
    Expect(gReleased == 1, "the suite was released twice");
    delete left;
    gDebugOutput = nullptr;
}

}  // namespace

int main() {
    ExpectFailure<int>(kNoBrokerHeapError);

    SPBasicSuite broker = {};
    broker.AllocateBlock = AllocateBlock;
    broker.FreeBlock = FreeBlock;
    gSPBasicSuite = &broker;
    ExpectAllOperators<std::int32_t>("an operator without alignment did not use the checked heap");
    ExpectAllOperators<Page>("an aligned operator did not use the checked heap");
    delete static_cast<int*>(nullptr);
    broker.ReleaseSuite = [](const char*, std::int32_t) -> SPErr { return ++gReleased, 0; };
    ExpectUnloading();

    gMemoryLeft = false;
    ExpectFailure<int>(memFullErr);
    ExpectFailure<Page>(memFullErr);
    return gFailures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

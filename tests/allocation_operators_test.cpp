// The module's operators new and delete and its unloading, in a process of their own: the operators replace
// those of the whole program, so that no test framework can live beside them.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <new>

#include "shell/module.h"
#include "support/checked_heap.h"
#include "support/debug_output.h"

namespace {

void* gLive[8];
bool gMemoryLeft = true;
int gFailures = 0;
int gReleased = 0, gFindings = 0;  // suites given back, lines of the heap's sweep

void Expect(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "allocation operators: %s\n", what);
    ++gFailures;
}

SPErr AllocateBlock(std::size_t size, void** block) {
    void** const slot = std::find(std::begin(gLive), std::end(gLive), nullptr);
    if (!gMemoryLeft || slot == std::end(gLive)) return memFullErr;
    *slot = *block = std::malloc(size);
    return 0;
}

SPErr FreeBlock(void* block) {
    if (block == nullptr) return 0;
    void** const slot = std::find(std::begin(gLive), std::end(gLive), block);
    Expect(slot != std::end(gLive), "a block was freed at another address than it was given at");
    if (slot == std::end(gLive)) return 0;
    *slot = nullptr;
    std::free(block);
    return 0;
}

std::ptrdiff_t LiveBlocks() {
    return std::end(gLive) - std::begin(gLive) - std::count(std::begin(gLive), std::end(gLive), nullptr);
}

struct alignas(4096) Page {
    char bytes[4096];
};

template <class T>
void ExpectAllForms(const char* name) {
    T *const one = new T, *const many = new T[3];
    T *const quiet = new (std::nothrow) T, *const quietMany = new (std::nothrow) T[3];
    Expect(LiveBlocks() == 4, name);
    Expect(gCheckedHeap.count == 4, "the blocks are not all in the table");
    for (T* address : {one, many, quiet, quietMany}) {
        if (alignof(T) > 4) Expect(reinterpret_cast<std::uintptr_t>(address) % alignof(T) == 0, "misaligned");
        Expect(*reinterpret_cast<unsigned char*>(address) == 0x41, "not filled by the checked heap");
    }
    delete one;
    delete[] many;
    delete quiet;
    delete[] quietMany;
    Expect(LiveBlocks() == 0, "a block was not freed");
    Expect(gCheckedHeap.count == 0, "a block is still in the table");
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
    Expect(quiet == nullptr, "a nothrow form gave an address without memory");
}

// At the process's end the module calls nobody; otherwise it gives its suite back. It reports in either case.
void ExpectUnloading() {
    const int block = 0;
    gGetFileListSuite.suite = &block;
    gDebugOutput = [](const char*) { ++gFindings; };
    int* volatile left = new int;
    UnloadModule(true);
    Expect(gReleased == 0 && gFindings == 2, "the process's end is not only reported");
    UnloadModule(false);
    Expect(gReleased == 1 && gFindings == 4, "the suite or the heap's sweep was forgotten");
    UnloadModule(false);
    Expect(gReleased == 1, "the suite was given back twice");
    delete left;
    gDebugOutput = nullptr;
}

}  // namespace

int main() {
    ExpectFailure<int>(kNoSuiteBroker);

    SPBasicSuite broker = {};
    broker.AllocateBlock = AllocateBlock;
    broker.FreeBlock = FreeBlock;
    gSPBasicSuite = &broker;
    ExpectAllForms<std::int32_t>("not every plain form takes its memory from the host");
    ExpectAllForms<Page>("not every aligned form takes its memory from the host");
    delete static_cast<int*>(nullptr);
    broker.ReleaseSuite = [](const char*, std::int32_t) -> SPErr { return ++gReleased, 0; };
    ExpectUnloading();

    gMemoryLeft = false;
    ExpectFailure<int>(memFullErr);
    ExpectFailure<Page>(memFullErr);
    return gFailures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

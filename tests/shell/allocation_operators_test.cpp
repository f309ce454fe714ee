// The module's operators new and delete and its unloading, in a process of their own: the operators replace
// those of the whole program, so that no test framework can live beside them.
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
int gLive = 0;  // blocks of the host
int gFailures = 0;
int gReleased = 0, gFindings = 0;  // suites given back, lines of the heap's sweep

void Expect(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "allocation operators: %s\n", what);
    ++gFailures;
}

SPErr AllocateBlock(std::size_t size, void** block) {
    if (!gMemoryLeft) return memFullErr;
    *block = std::malloc(size);
    ++gLive;
    return 0;
}

// The C library ends a process that frees another address than it was given.
SPErr FreeBlock(void* block) {
    gLive -= block != nullptr;
    std::free(block);
    return 0;
}

struct alignas(4096) Page {
    char bytes[4096];
};

template <class T>
void ExpectAllForms(const char* name) {
    T *const one = new T, *const many = new T[3];
    T *const quiet = new (std::nothrow) T, *const quietMany = new (std::nothrow) T[3];
    Expect(gLive == 4 && gCheckedHeap.count == 4, name);
    for (T* address : {one, many, quiet, quietMany}) {
        if (alignof(T) > 4) Expect(reinterpret_cast<std::uintptr_t>(address) % alignof(T) == 0, "misaligned");
        Expect(*reinterpret_cast<unsigned char*>(address) == 0x41, "not filled by the checked heap");
    }
    delete one;
    delete[] many;
    delete quiet;
    delete[] quietMany;
    Expect(gLive == 0 && gCheckedHeap.count == 0, "a block was not freed, or is still in the table");
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
    ExpectFailure<int>(kNoBrokerHeapError);

    SPBasicSuite broker = {};
    broker.AllocateBlock = AllocateBlock;
    broker.FreeBlock = FreeBlock;
    gSPBasicSuite = &broker;
    ExpectAllForms<std::int32_t>("not every plain form has its memory from the host and in the table");
    ExpectAllForms<Page>("not every aligned form has its memory from the host and in the table");
    delete static_cast<int*>(nullptr);
    broker.ReleaseSuite = [](const char*, std::int32_t) -> SPErr { return ++gReleased, 0; };
    ExpectUnloading();

    gMemoryLeft = false;
    ExpectFailure<int>(memFullErr);
    ExpectFailure<Page>(memFullErr);
    return gFailures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

// Loading and unloading of the module.
#include "shell/module.h"

#include "support/checked_heap.h"

#ifdef _WIN32

#include <windows.h>

// lastWords is set when the whole process ends. The host may then be half gone, and is not called any more.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID lastWords) {
    if (reason == DLL_PROCESS_ATTACH) gModuleInstance = instance;
    if (reason == DLL_PROCESS_DETACH) {
        if (!lastWords) ReleaseLazySuite(&gGetFileListSuite);
        SweepCheckedHeap();
    }
    return TRUE;
}

#else

namespace {

[[gnu::destructor]] void UnloadModule() {
    ReleaseLazySuite(&gGetFileListSuite);
    SweepCheckedHeap();
}

}  // namespace

#endif

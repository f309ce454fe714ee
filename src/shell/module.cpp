// Loading and unloading of the module.
#include "shell/module.h"

#include "support/checked_heap.h"

// The compiler's runtime keeps memory in reserve for exceptions, and each loading of the module makes a
// reserve of its own. This gives it back; the runtime has it for leak checkers and declares it in no header.
namespace __gnu_cxx {
void __freeres();
}

#ifdef _WIN32

#include <windows.h>

// lastWords is set when the whole process ends. The host may then be half gone, and is not called any more.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID lastWords) {
    if (reason == DLL_PROCESS_ATTACH) gModuleInstance = instance;
    if (reason == DLL_PROCESS_DETACH) {
        if (!lastWords) ReleaseLazySuite(&gGetFileListSuite);
        SweepCheckedHeap();
        __gnu_cxx::__freeres();
    }
    return TRUE;
}

#else

namespace {

[[gnu::destructor]] void UnloadModule() {
    ReleaseLazySuite(&gGetFileListSuite);
    SweepCheckedHeap();
    __gnu_cxx::__freeres();
}

}  // namespace

#endif

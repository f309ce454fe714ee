#include "plugin/module.h"

#include "support/checked_heap.h"
#include "support/module_state.h"

// The compiler's runtime keeps memory in reserve for exceptions, and each loading of the module makes a
// reserve of its own. This gives it back; the runtime has it for leak checkers and declares it in no header.
namespace __gnu_cxx {
void __freeres();
}

namespace filter {

void UnloadModule(bool processEnds) {
    if (!processEnds) ReleaseLazySuite(&gGetFileListSuite);
    SweepCheckedHeap();
    if (!processEnds) __gnu_cxx::__freeres();
}

}  // namespace filter

#ifdef _WIN32

#include <windows.h>

// lastWords is set when the whole process ends.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID lastWords) {
    if (reason == DLL_PROCESS_ATTACH) filter::gModuleInstance = instance;
    if (reason == DLL_PROCESS_DETACH) filter::UnloadModule(lastWords != nullptr);
    return TRUE;
}

#else

namespace {

[[gnu::destructor]] void AtUnload() {
    filter::UnloadModule(false);
}

}  // namespace

#endif

#include "plugin/module.h"

#include "support/checked_heap.h"
#include "support/lazy_suite.h"
#include "support/module_state.h"

// Frees the memory that the C++ runtime reserves for exceptions. Without it each load of the module would
// leak its own reserve. The runtime has this function for leak checkers and declares it in no header.
namespace __gnu_cxx {
void __freeres();
}

namespace filter {

void UnloadModule(bool processEnds) {
    if (!processEnds) ReleaseLazySuite(&gGetFileListSuite);
    ReportLiveBlocks();
    if (!processEnds) __gnu_cxx::__freeres();
}

}  // namespace filter

#ifdef _WIN32

#include <windows.h>

// processEnds is not null when the process ends.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID processEnds) {
    if (reason == DLL_PROCESS_ATTACH) filter::gModuleInstance = instance;
    if (reason == DLL_PROCESS_DETACH) filter::UnloadModule(processEnds != nullptr);
    return TRUE;
}

#else

namespace {

[[gnu::destructor]] void AtUnload() {
    filter::UnloadModule(false);
}

}  // namespace

#endif

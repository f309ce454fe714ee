// What the module holds from its loading to its unloading, apart from the checked heap.
#pragma once

#include "support/lazy_suite.h"

// The instance handle that Windows loaded the module under, an HINSTANCE: where dialog templates and the
// manifest are looked up. Null on other systems, and in a program that carries the logic without the module.
inline void* gModuleInstance = nullptr;

// Opens web pages for the About box.
inline LazySuite gGetFileListSuite = {nullptr, 4, "Photoshop GetFileList Suite for Plug-ins", 0};

// The module's last step: gives the suite back and reports what is left in the checked heap. With processEnds
// it only reports, as Windows asks of a library then: the host may be half gone and is not called any more,
// and no memory is freed.
void UnloadModule(bool processEnds);

// What the module holds from its loading to its unloading, apart from the checked heap.
#pragma once

#include "support/lazy_suite.h"

namespace filter {

// The instance handle that Windows loaded the module under, an HINSTANCE: where dialog templates and the
// manifest are looked up. Null on other systems, and in a program that carries the logic without the module.
inline void* gModuleInstance = nullptr;

// Opens web pages for the About box.
inline LazySuite gGetFileListSuite = {nullptr, 4, "Photoshop GetFileList Suite for Plug-ins", 0};

}  // namespace filter

// What the module keeps from loading to unloading, apart from the checked heap.
#pragma once

#include "hostapi/hostapi.h"

namespace filter {

// The host's suite broker, stored at every call into the module; null before the first.
inline SPBasicSuite* gSPBasicSuite = nullptr;

// The module's HINSTANCE on Windows, for its dialog templates and its manifest. Null elsewhere, and in a
// program that links the logic without the module.
inline void* gModuleInstance = nullptr;

}  // namespace filter

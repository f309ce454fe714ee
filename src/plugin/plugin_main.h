// The entry point of the module.
#pragma once

#include <cstdint>

#include "hostapi/hostapi.h"

// selector    the step of the run, filterSelectorAbout to filterSelectorFinish; other values do nothing
// paramBlock  an AboutRecord for filterSelectorAbout, otherwise a FilterRecord
// data        a word that the host keeps between calls: first 0, then the handle of Globals
// result      receives 0 or the code of a failure; filterSelectorAbout does not write it
extern "C" void PluginMain(std::int16_t selector, void* paramBlock, std::intptr_t* data,
                           std::int16_t* result);

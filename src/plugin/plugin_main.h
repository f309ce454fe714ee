// The module's entry point, and its only contact with the host's order of calls.
#pragma once

#include <cstdint>

#include "hostapi/hostapi.h"

// selector    the step of the run, filterSelectorAbout to filterSelectorFinish; others do nothing
// paramBlock  an AboutRecord for filterSelectorAbout, else a FilterRecord
// data        a word the host keeps for the module between calls; 0 at first, then the handle of Globals
// result      0 or the code of a failure; not written by filterSelectorAbout
extern "C" void PluginMain(std::int16_t selector, void* paramBlock, std::intptr_t* data,
                           std::int16_t* result);

// The parameters in the host's descriptor, the only place that keeps them between runs.
#pragma once

#include "hostapi/hostapi.h"

namespace filter {

struct Globals;

// True if the record and both sets of procs have version 0 and no proc is missing.
bool DescriptorParametersUsable(const PIDescriptorParameters* parameters);

// Sets the defaults, then the values of the host's descriptor, which it disposes of. Values are not limited
// to a range. If the host supports descriptors, playInfo alone decides showDialog.
void ReadScriptParameters(Globals* globals);

// Gives the host a new descriptor with all parameters.
void WriteScriptParameters(Globals* globals);

}  // namespace filter

// The run's parameters in the host's descriptor: the one thing that carries them from run to run.
#pragma once

#include "hostapi/hostapi.h"

namespace filter {

struct Globals;

// The parameters and the reserved slider at their defaults.
void SetDefaultParameters(Globals* globals);

// Version 0 throughout, and every proc in place.
bool DescriptorParametersUsable(const PIDescriptorParameters* parameters);

// The defaults, overlaid with what the host's descriptor holds; the descriptor is consumed. Values are taken
// as they come, without a range. Decides showDialog: a host with descriptors does so by playInfo alone.
void ReadScriptParameters(Globals* globals);

// Leaves a descriptor of all parameters with the host.
void WriteScriptParameters(Globals* globals);

}  // namespace filter

// The numbers that the vector variants compute once a run.
#pragma once

#include "engine/key_run.h"

namespace keying {

// From all other fields of the run.
DerivedLimits MakeDerivedLimits(const KeyRun& run);

}  // namespace keying

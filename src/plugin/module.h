// Loading and unloading of the module.
#pragma once

namespace filter {

// Releases the suite and reports the live blocks of the checked heap. If the process ends, it only reports:
// the host may be gone already and must not be called.
void UnloadModule(bool processEnds);

}  // namespace filter

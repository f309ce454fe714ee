// Loading and unloading of the module.
#pragma once

namespace filter {

// The module's last step: gives the suite back and reports what is left in the checked heap. With processEnds
// it only reports, as Windows asks of a library then: the host may be half gone and is not called any more,
// and no memory is freed.
void UnloadModule(bool processEnds);

}  // namespace filter

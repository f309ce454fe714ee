// There is no dialog without Win32: the parameters only come from the host's descriptor.
#include "ui/parameter_dialog.h"

namespace filter {

bool ShowParameterDialog(Globals*) {
    return false;
}

}  // namespace filter

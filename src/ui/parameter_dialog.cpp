// The dialog is a Win32 window; elsewhere a run takes its parameters from the host's descriptor alone.
#include "ui/parameter_dialog.h"

namespace filter {

bool ShowParameterDialog(Globals*) {
    return false;
}

}  // namespace filter

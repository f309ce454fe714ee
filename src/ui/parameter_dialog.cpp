// The dialog is a Win32 window; elsewhere a run takes its parameters from the host's descriptor alone.
#include "ui/parameter_dialog.h"

bool ShowParameterDialog(Globals*) {
    return false;
}

#ifdef _WIN32
#include <windows.h>

// Exported; a host's resource scan expects it under this name. It handles no message as yet.
extern "C" INT_PTR CALLBACK MarbleFrondKeeperPluginProc(HWND, UINT, WPARAM, LPARAM) {
    return FALSE;
}
#endif

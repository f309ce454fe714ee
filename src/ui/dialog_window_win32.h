// Functions of both dialogs.
#pragma once

#include <windows.h>

#include "hostapi/hostapi.h"

namespace filter {

// Runs a modal dialog of the module's resources over the host's main window, which may be null. The dialog
// uses the common controls of the module's manifest, not of the host's. Returns the value passed to
// EndDialog, or -1 if the dialog cannot be opened.
INT_PTR RunDialog(LPCSTR templateName, const PlatformData* platformData, DLGPROC procedure, LPARAM parameter);

// Moves a dialog to its DialogPosition over its parent.
void CentreDialog(HWND window);

// The rectangle of a control in screen coordinates.
VRect ScreenRectOf(HWND control);

}  // namespace filter

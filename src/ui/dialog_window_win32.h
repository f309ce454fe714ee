// What both dialogs share.
#pragma once

#include <windows.h>

#include "hostapi/hostapi.h"

namespace filter {

// Runs a modal dialog of the module's resources over the host's main window, which may be null, with the
// common controls that the module's own manifest asks for, whatever the host's manifest says. Gives what
// EndDialog was given, or -1 when the dialog could not be opened.
INT_PTR RunDialog(LPCSTR templateName, const PlatformData* platformData, DLGPROC procedure, LPARAM parameter);

// Moves a dialog over its parent: in the middle, a third of the way down (preview_geometry.h).
void CentreDialog(HWND window);

// A control's rectangle on the screen.
VRect ScreenRectOf(HWND control);

}  // namespace filter

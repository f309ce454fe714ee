// Painting the preview in the dialog.
#pragma once

#include <windows.h>

#include "hostapi/hostapi.h"

namespace filter {

struct Globals;

// Gets the placeholder's rectangle in the dialog's client coordinates, truncated to 16 bits.
void ReadPreviewRect(HWND window, Rect* proxyRect);

// Paints the preview with a frame, centred in the placeholder, with the host's displayPixels. Calls
// BeginPaint and EndPaint.
void PaintPreview(Globals* globals, HWND window);

// Invalidates the placeholder's area without erasing it.
void InvalidatePreview(HWND window);

}  // namespace filter

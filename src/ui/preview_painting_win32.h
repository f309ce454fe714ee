// The preview in the dialog's window.
#pragma once

#include <windows.h>

#include "hostapi/hostapi.h"

namespace filter {

struct Globals;

// The placeholder's rectangle in the dialog's client coordinates, cut to 16 bits.
void ReadPreviewRect(HWND window, Rect* proxyRect);

// Draws the preview, framed and centred in the placeholder, through the host's displayPixels. Between
// BeginPaint and EndPaint of its own.
void PaintPreview(Globals* globals, HWND window);

// Has the placeholder's area painted anew, without erasing it first.
void InvalidatePreview(HWND window);

}  // namespace filter

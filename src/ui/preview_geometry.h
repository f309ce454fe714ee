// Positions and sizes of the preview and the dialogs, in pixels. Makes no calls to the system.
#pragma once

#include <cstdint>

#include "hostapi/hostapi.h"

namespace filter {

struct Globals;

// Width of the margin for the frame on each side of the preview.
constexpr int kPreviewFrame = 2;

// Fits a document into an area of the dialog, which sets the size of all planes of the preview.
// bounds       bounds of the document
// proxyRect    in: the area, in the dialog's client coordinates
//              out: the preview. Top and left are those of the area plus the margin. Bottom and right are
//              measured from 0, not from that corner: the preview is smaller than the fitted document by the
//              area's offset in the dialog. This is intended.
// scaleFactor  out: size of the preview / size of the document
// Also sets previewWidth, previewHeight and mustReload.
//
// Sizes wrap to 16 bits. With a document side over 32767 the preview may be larger than its area or have no
// pixels (a side of 0 or less).
void FitPreview(Globals* globals, const VRect& bounds, Rect* proxyRect, float* scaleFactor);

// The rectangle of the preview in the dialog's client coordinates, centred in the placeholder.
// placeholder  in screen coordinates
// origin       top left corner of the client area, in screen coordinates
// proxyRect    only its size is used
Rect PreviewDestination(const VRect& placeholder, const VPoint& origin, const Rect& proxyRect);

struct DialogSize {
    std::int32_t width, height;
};

// How far to the left of the centre a dialog opens: the width of a caption button with a system menu,
// otherwise two thirds of it.
std::int32_t DialogLeftShift(std::int32_t captionButtonWidth, bool hasSystemMenu);

// The top left corner of a dialog: horizontally centred over its parent's client area, minus leftShift, with
// a third of the spare height above it. parent and the result are in screen coordinates. The dialog is moved
// back from the right and bottom edges of the screen only; leftShift can move it over the left edge.
VPoint DialogPosition(const VRect& parent, const DialogSize& dialog, const DialogSize& screen,
                      std::int32_t leftShift);

}  // namespace filter

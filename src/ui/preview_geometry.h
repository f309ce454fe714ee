// The arithmetic of the preview and of the dialogs' places. Nothing here knows a window: rectangles come in
// and go out in pixels, of the screen or of the dialog's client area as each function says.
#pragma once

#include <cstdint>

#include "hostapi/hostapi.h"

namespace filter {

struct Globals;

// Left free between the area and the picture, for the frame, on each side.
constexpr int kPreviewFrame = 2;

// Fits a document into the area that proxyRect holds, in the dialog's client coordinates, and so decides the
// size of every preview plane. Out: proxyRect with the area's top left corner, moved in by the frame, and
// with a bottom and right that are measured from 0, not from that corner, so that the preview comes out
// smaller than the fitted document by the area's offset in the dialog; this is meant. Its differences are the
// preview's size, which also goes to previewWidth and previewHeight. Sets mustReload.
//
// All sizes are cut to 16 bits, so that a document side beyond 32767 wraps: the preview may then be larger
// than its area, or have no pixels (a side of 0 or less).
void FitPreview(Globals* globals, const VRect& bounds, Rect* proxyRect, float* scaleFactor);

// The preview's place in the dialog's client area, centred in the placeholder. placeholder: in screen
// coordinates; origin: the client area's corner on the screen; proxyRect: only its size counts.
Rect PreviewDestination(const VRect& placeholder, const VPoint& origin, const Rect& proxyRect);

struct DialogSize {
    std::int32_t width, height;
};

// How far left of the middle a dialog is moved: the width of a caption button, two thirds of it without a
// system menu.
std::int32_t DialogInset(std::int32_t captionButtonWidth, bool hasSystemMenu);

// Where a dialog goes: across in the middle of its parent's client area less the inset, and down a third of
// the spare height. parent and the result are in screen coordinates. Only the screen's right and bottom edges
// hold the dialog in; it can stand left of the screen through the inset.
VPoint DialogCorner(const VRect& parent, const DialogSize& dialog, const DialogSize& screen,
                    std::int32_t inset);

}  // namespace filter

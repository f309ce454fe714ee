#include "ui/preview_geometry.h"

#include <algorithm>

#include "shell/globals.h"

namespace filter {
namespace {

std::int16_t Cut16(std::int32_t value) {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(value));
}

// Toward zero; 0 for what 32 bits cannot hold, as for the infinite scale of a document without pixels.
std::int16_t CutScaled16(std::int32_t length, float scale) {
    const float scaled = static_cast<float>(length) * scale;
    const bool fits = scaled >= -2147483648.0f && scaled < 2147483648.0f;
    return fits ? Cut16(static_cast<std::int32_t>(scaled)) : std::int16_t{0};
}

}  // namespace

void FitPreview(Globals* globals, const VRect& bounds, Rect* proxyRect, float* scaleFactor) {
    globals->mustReload = 1;

    proxyRect->left = Cut16(proxyRect->left + kPreviewFrame);
    proxyRect->top = Cut16(proxyRect->top + kPreviewFrame);
    proxyRect->right = Cut16(proxyRect->right - kPreviewFrame);
    proxyRect->bottom = Cut16(proxyRect->bottom - kPreviewFrame);

    const float docH = Cut16(bounds.bottom - bounds.top);
    const float docW = Cut16(bounds.right - bounds.left);
    const float boxH = Cut16(proxyRect->bottom - proxyRect->top);
    const float boxW = Cut16(proxyRect->right - proxyRect->left);
    *scaleFactor = boxH / docH;
    if (boxW / docW < *scaleFactor) *scaleFactor = boxW / docW;

    proxyRect->bottom = CutScaled16(bounds.bottom, *scaleFactor);
    proxyRect->right = CutScaled16(bounds.right, *scaleFactor);
    globals->previewWidth = proxyRect->right - proxyRect->left;
    globals->previewHeight = proxyRect->bottom - proxyRect->top;
}

Rect PreviewDestination(const VRect& placeholder, const VPoint& origin, const Rect& proxyRect) {
    const std::int32_t width = proxyRect.right - proxyRect.left;
    const std::int32_t height = proxyRect.bottom - proxyRect.top;
    Rect destination;
    destination.left = Cut16((placeholder.left + placeholder.right - width) / 2 - origin.h);
    destination.top = Cut16((placeholder.top + placeholder.bottom - height) / 2 - origin.v);
    destination.right = Cut16(destination.left + width);
    destination.bottom = Cut16(destination.top + height);
    return destination;
}

std::int32_t DialogInset(std::int32_t captionButtonWidth, bool hasSystemMenu) {
    return hasSystemMenu ? captionButtonWidth : captionButtonWidth - captionButtonWidth / 3;
}

VPoint DialogCorner(const VRect& parent, const DialogSize& dialog, const DialogSize& screen,
                    std::int32_t inset) {
    const std::int32_t spareWidth = std::max(0, parent.right - parent.left - dialog.width);
    const std::int32_t spareHeight = std::max(0, parent.bottom - parent.top - dialog.height);
    VPoint corner;
    corner.h = spareWidth / 2 + parent.left - inset;
    corner.v = spareHeight / 3 + parent.top;
    if (corner.h + dialog.width > screen.width) corner.h = std::max(0, screen.width - dialog.width);
    if (corner.v + dialog.height > screen.height) corner.v = std::max(0, screen.height - dialog.height);
    return corner;
}

}  // namespace filter

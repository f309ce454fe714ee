#include "ui/preview_geometry.h"

#include <algorithm>

#include "shell/globals.h"

namespace filter {
namespace {

std::int16_t WrapToInt16(std::int32_t value) {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(value));
}

// Truncates toward zero. 0 if the product exceeds 32 bits, as with the infinite scale of an empty document.
std::int16_t ScaleToInt16(std::int32_t length, float scale) {
    const float scaled = static_cast<float>(length) * scale;
    const bool fits = scaled >= -2147483648.0f && scaled < 2147483648.0f;
    return fits ? WrapToInt16(static_cast<std::int32_t>(scaled)) : std::int16_t{0};
}

}  // namespace

void FitPreview(Globals* globals, const VRect& bounds, Rect* proxyRect, float* scaleFactor) {
    globals->mustReload = 1;

    proxyRect->left = WrapToInt16(proxyRect->left + kPreviewFrame);
    proxyRect->top = WrapToInt16(proxyRect->top + kPreviewFrame);
    proxyRect->right = WrapToInt16(proxyRect->right - kPreviewFrame);
    proxyRect->bottom = WrapToInt16(proxyRect->bottom - kPreviewFrame);

    const float docH = WrapToInt16(bounds.bottom - bounds.top);
    const float docW = WrapToInt16(bounds.right - bounds.left);
    const float boxH = WrapToInt16(proxyRect->bottom - proxyRect->top);
    const float boxW = WrapToInt16(proxyRect->right - proxyRect->left);
    *scaleFactor = boxH / docH;
    if (boxW / docW < *scaleFactor) *scaleFactor = boxW / docW;

    proxyRect->bottom = ScaleToInt16(bounds.bottom, *scaleFactor);
    proxyRect->right = ScaleToInt16(bounds.right, *scaleFactor);
    globals->previewWidth = proxyRect->right - proxyRect->left;
    globals->previewHeight = proxyRect->bottom - proxyRect->top;
}

Rect PreviewDestination(const VRect& placeholder, const VPoint& origin, const Rect& proxyRect) {
    const std::int32_t width = proxyRect.right - proxyRect.left;
    const std::int32_t height = proxyRect.bottom - proxyRect.top;
    Rect destination;
    destination.left = WrapToInt16((placeholder.left + placeholder.right - width) / 2 - origin.h);
    destination.top = WrapToInt16((placeholder.top + placeholder.bottom - height) / 2 - origin.v);
    destination.right = WrapToInt16(destination.left + width);
    destination.bottom = WrapToInt16(destination.top + height);
    return destination;
}

std::int32_t DialogLeftShift(std::int32_t captionButtonWidth, bool hasSystemMenu) {
    return hasSystemMenu ? captionButtonWidth : captionButtonWidth - captionButtonWidth / 3;
}

VPoint DialogPosition(const VRect& parent, const DialogSize& dialog, const DialogSize& screen,
                      std::int32_t leftShift) {
    const std::int32_t spareWidth = std::max(0, parent.right - parent.left - dialog.width);
    const std::int32_t spareHeight = std::max(0, parent.bottom - parent.top - dialog.height);
    VPoint position;
    position.h = spareWidth / 2 + parent.left - leftShift;
    position.v = spareHeight / 3 + parent.top;
    if (position.h + dialog.width > screen.width) position.h = std::max(0, screen.width - dialog.width);
    if (position.v + dialog.height > screen.height) position.v = std::max(0, screen.height - dialog.height);
    return position;
}

}  // namespace filter

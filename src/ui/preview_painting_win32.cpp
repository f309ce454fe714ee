#include "ui/preview_painting_win32.h"

#include "shell/globals.h"
#include "ui/dialog_ids.h"
#include "ui/dialog_window_win32.h"
#include "ui/preview.h"
#include "ui/preview_geometry.h"

namespace filter {
namespace {

// The placeholder's rectangle in the dialog's client coordinates.
RECT PlaceholderRect(HWND window) {
    const VRect screen = ScreenRectOf(GetDlgItem(window, kIdPreview));
    POINT corners[] = {{screen.left, screen.top}, {screen.right, screen.bottom}};
    for (POINT& corner : corners) ScreenToClient(window, &corner);
    return {corners[0].x, corners[0].y, corners[1].x, corners[1].y};
}

// The cleared area has the size of the placeholder but starts at the corner of the dialog. So strips at the
// right and bottom of the placeholder are not cleared; this is intended.
void ClearArea(HWND window, HDC context) {
    SetBkColor(context, GetSysColor(COLOR_BTNFACE));
    RECT area{};
    GetClientRect(GetDlgItem(window, kIdPreview), &area);
    ExtTextOutA(context, 0, 0, ETO_OPAQUE, &area, "", 0, nullptr);
}

void DrawFrame(HDC context, const Rect& preview) {
    RECT frame = {preview.left, preview.top, preview.right, preview.bottom};
    InflateRect(&frame, kPreviewFrame, kPreviewFrame);
    FrameRect(context, &frame, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
}

}  // namespace

void ReadPreviewRect(HWND window, Rect* proxyRect) {
    const RECT rect = PlaceholderRect(window);
    proxyRect->top = static_cast<std::int16_t>(rect.top);
    proxyRect->left = static_cast<std::int16_t>(rect.left);
    proxyRect->bottom = static_cast<std::int16_t>(rect.bottom);
    proxyRect->right = static_cast<std::int16_t>(rect.right);
}

void PaintPreview(Globals* globals, HWND window) {
    const VRect placeholder = ScreenRectOf(GetDlgItem(window, kIdPreview));
    POINT origin{};
    ClientToScreen(window, &origin);
    const Rect destination = PreviewDestination(placeholder, {origin.y, origin.x}, globals->proxyRect);

    PAINTSTRUCT paint;
    const HDC context = BeginPaint(window, &paint);
    if (context == nullptr) return;
    ClearArea(window, context);
    DrawFrame(context, destination);
    PSPixelMap map;
    PSPixelMask mask;
    DescribePreview(globals, &map, &mask);
    const DisplayPixelsProc displayPixels = globals->filterParamBlock->displayPixels;
    const bool hasPixels = map.bounds.right > map.bounds.left && map.bounds.bottom > map.bounds.top;
    if (displayPixels != nullptr && hasPixels) {
        displayPixels(&map, &map.bounds, destination.top, destination.left, context);
    }
    if (IsWindow(window)) EndPaint(window, &paint);  // the host may have destroyed the window
}

void InvalidatePreview(HWND window) {
    const RECT rect = PlaceholderRect(window);
    InvalidateRect(window, &rect, FALSE);
}

}  // namespace filter

#include "ui/dialog_window_win32.h"

#include <commctrl.h>

#include "support/module_state.h"
#include "ui/preview_geometry.h"

namespace filter {
namespace {

HINSTANCE ModuleInstance() {
    return static_cast<HINSTANCE>(gModuleInstance);
}

// Activates the module's manifest on this thread for the lifetime of the object. Windows uses the manifest
// for the module's imports by itself, but it looks up the classes of a dialog's controls in the active
// context. Without the context the dialog gets the host's controls.
class ActivationContext {
  public:
    ActivationContext() {
        ACTCTXW request{};
        request.cbSize = sizeof request;
        request.dwFlags = ACTCTX_FLAG_RESOURCE_NAME_VALID | ACTCTX_FLAG_HMODULE_VALID;
        request.lpResourceName = MAKEINTRESOURCEW(2);  // the manifest of a library has id 2
        request.hModule = ModuleInstance();
        context_ = CreateActCtxW(&request);
        active_ = context_ != INVALID_HANDLE_VALUE && ActivateActCtx(context_, &cookie_);
    }

    ~ActivationContext() {
        if (active_) DeactivateActCtx(0, cookie_);
        if (context_ != INVALID_HANDLE_VALUE) ReleaseActCtx(context_);
    }

    ActivationContext(const ActivationContext&) = delete;
    ActivationContext& operator=(const ActivationContext&) = delete;

  private:
    HANDLE context_ = INVALID_HANDLE_VALUE;
    ULONG_PTR cookie_ = 0;
    bool active_ = false;
};

}  // namespace

INT_PTR RunDialog(LPCSTR templateName, const PlatformData* platformData, DLGPROC procedure,
                  LPARAM parameter) {
    const ActivationContext context;
    const INITCOMMONCONTROLSEX trackbars = {sizeof trackbars, ICC_BAR_CLASSES};
    InitCommonControlsEx(&trackbars);
    const auto owner = platformData == nullptr ? nullptr : static_cast<HWND>(platformData->hwnd);
    return DialogBoxParamA(ModuleInstance(), templateName, owner, procedure, parameter);
}

VRect ScreenRectOf(HWND control) {
    RECT rect{};
    GetWindowRect(control, &rect);
    return {rect.top, rect.left, rect.bottom, rect.right};
}

void CentreDialog(HWND window) {
    HWND parent = GetParent(window);
    if (parent == nullptr) parent = GetDesktopWindow();
    RECT area{};
    GetClientRect(parent, &area);
    POINT corners[] = {{area.left, area.top}, {area.right, area.bottom}};
    for (POINT& corner : corners) ClientToScreen(parent, &corner);

    const bool hasSystemMenu = (GetWindowLongA(window, GWL_STYLE) & WS_SYSMENU) != 0;
    const VRect rect = ScreenRectOf(window);
    const DialogSize size = {rect.right - rect.left, rect.bottom - rect.top};
    const DialogSize screen = {GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)};
    const VPoint at = DialogPosition({corners[0].y, corners[0].x, corners[1].y, corners[1].x}, size, screen,
                                     DialogLeftShift(GetSystemMetrics(SM_CXSIZE), hasSystemMenu));
    SetWindowPos(window, nullptr, at.h, at.v, size.width, size.height, SWP_NOZORDER);
}

}  // namespace filter

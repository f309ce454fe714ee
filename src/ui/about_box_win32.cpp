#include <windows.h>

#include "support/lazy_suite.h"
#include "support/module_state.h"
#include "ui/about_box.h"
#include "ui/dialog_ids.h"
#include "ui/dialog_window_win32.h"

namespace filter {
namespace {

// "Version" is the filter's, and part of its design; the module's own goes into the rights notice.
constexpr char kAboutText[] =
    "Marble Frond Keeper\n"
    " Twin Plate Rig\n"
    "\n"
    "Version 3.0\n"
    "Copyright its developers.\n"
    "Release " FROND_VERSION
    ", MIT License.\n"
    "\n"
    "\n"
    "A Marble Frond Removal System";
constexpr char kPageLabel[] = "MarbleFrondKeeper";
constexpr char kPage[] = "https://www.frond.example/";

// Asks the host to open the product's page. A host that cannot does nothing.
void OpenPage() {
    try {
        const auto* suite = static_cast<const PSGetFileListSuite*>(AcquireLazySuite(&gGetFileListSuite));
        if (suite != nullptr) suite->BrowseUrl(kPage);
    } catch (const SuiteFailure&) {
        // There is nobody to tell: this path has no result cell, and the box stays open.
    }
}

INT_PTR CALLBACK AboutProc(HWND window, UINT message, WPARAM wParam, LPARAM) {
    switch (message) {
        case WM_INITDIALOG:
            CentreDialog(window);
            SetDlgItemTextA(window, kIdAboutText, kAboutText);
            SetDlgItemTextA(window, kIdAboutSecondPage, kPageLabel);
            return TRUE;
        case WM_CHAR:
            if (wParam == VK_ESCAPE || wParam == VK_RETURN) EndDialog(window, 0);
            return TRUE;
        case WM_LBUTTONDOWN:  // the texts let clicks through, so that one anywhere closes the box
            EndDialog(window, 0);
            return TRUE;
        case WM_COMMAND:
            break;
        default:
            return FALSE;
    }
    switch (LOWORD(wParam)) {
        case kIdOk:
        case kIdCancel:
            EndDialog(window, 0);
            return TRUE;
        case kIdAboutFirstPage:
        case kIdAboutSecondPage:
            OpenPage();
            return TRUE;
        default:
            return FALSE;
    }
}

}  // namespace

void ShowAboutBox(AboutRecord* record) {
    RunDialog(MAKEINTRESOURCEA(kAboutTemplate), record->platformData, AboutProc, 0);
}

}  // namespace filter

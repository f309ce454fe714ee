#include <windows.h>

#include "support/lazy_suite.h"
#include "ui/about_box.h"
#include "ui/dialog_ids.h"
#include "ui/dialog_window_win32.h"

namespace filter {
namespace {

// "Version" is that of the filter's design; the release of this module has a line of its own.
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

// Asks the host to open the product's page. Does nothing if the host lacks the suite.
void OpenPage() {
    try {
        const auto* suite = static_cast<const PSGetFileListSuite*>(AcquireLazySuite(&gGetFileListSuite));
        if (suite != nullptr) suite->BrowseUrl(kPage);
    } catch (const SuiteFailure&) {
        // There is no result cell to report this to. The box stays open.
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
        case WM_LBUTTONDOWN:  // static controls pass clicks on: a click anywhere closes the box
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

// The dialog holds no parameters: each control writes its field of Globals the moment it moves, and every
// move keys the preview again before the handler returns.
#include <windows.h>

#include <commctrl.h>
#include <shellapi.h>

#include <iterator>

#include "shell/globals.h"
#include "shell/parameter_table.h"
#include "support/checked_heap.h"
#include "ui/dialog_ids.h"
#include "ui/dialog_window_win32.h"
#include "ui/parameter_dialog.h"
#include "ui/preview.h"
#include "ui/preview_geometry.h"
#include "ui/preview_painting_win32.h"

namespace {

// The record of the open dialog; null while there is none.
Globals* gDialogGlobals = nullptr;

constexpr int kSliderMaximum = 200;
constexpr int kPercentMaximum = 100;  // of zoom and scroll

// In the order in which they are set up.
struct SliderControl {
    int id;
    std::int32_t Globals::*field;
};
constexpr SliderControl kSliders[] = {
    {kIdRemoveGreen, &Globals::SliderRemoveGreen}, {kIdRestoreBlack, &Globals::SliderRestoreBlack},
    {kIdAlterGreen, &Globals::SliderAlterGreen},   {kIdSelectTransp, &Globals::SliderSelectTransp},
    {kIdScaleTransp, &Globals::SliderScaleTransp}, {kIdAdjBGLevel, &Globals::SliderAdjBGLevel},
};
constexpr SliderControl kScrollBars[] = {
    {kIdScrollX, &Globals::previewScrollX},
    {kIdScrollY, &Globals::previewScrollY},
};

struct CheckBoxControl {
    int id;
    std::uint8_t Globals::*field;
};
constexpr CheckBoxControl kCheckBoxes[] = {
    {kIdRealityInteg, &Globals::FlagRealityInteg}, {kIdShowSelect, &Globals::FlagShowSelect},
    {kIdOutputAlpha, &Globals::FlagOutputAlpha},   {kIdBlueLogic, &Globals::FlagBlueLogic},
    {kIdOrgPhoto, &Globals::FlagOrgPhoto},
};
static_assert(std::size(kSliders) + std::size(kCheckBoxes) == kParameterCount,
              "every parameter has its control");

// No exception may leave a window procedure: want of memory becomes a code, and the dialog stays open.
void Compose(Globals* globals) {
    try {
        ComposePreview(globals);
    } catch (const HeapFailure& failure) {
        Fail(globals, failure.code);
    } catch (...) {
        Fail(globals, memFullErr);
    }
}

void UpdatePreview(Globals* globals, HWND window) {
    Compose(globals);
    InvalidatePreview(window);
}

// Fits the preview into its area afresh, which also has the next composition load the planes.
void RefitPreview(Globals* globals, HWND window) {
    const VRect bounds = globals->docInfo == nullptr ? VRect{} : globals->docInfo->bounds;
    const std::int32_t width = globals->previewWidth;
    const std::int32_t height = globals->previewHeight;
    ReadPreviewRect(window, &globals->proxyRect);
    FitPreview(globals, bounds, &globals->proxyRect, &globals->scaleFactor);
    // Windows may have scaled the dialog for another screen.
    if (globals->previewWidth != width || globals->previewHeight != height) ReleasePreviewBuffers(globals);
}

void SetUpControls(const Globals* globals, HWND window) {
    for (const SliderControl& slider : kSliders) {
        SendDlgItemMessageA(window, slider.id, TBM_SETRANGEMAX, TRUE, kSliderMaximum);
        SendDlgItemMessageA(window, slider.id, TBM_SETPOS, TRUE, globals->*slider.field);
    }
    // The zoom slider gets no position, at any time: after Reset its thumb stays where the user left it.
    SendDlgItemMessageA(window, kIdZoom, TBM_SETRANGEMAX, TRUE, kPercentMaximum);
    for (const SliderControl& bar : kScrollBars) {
        SendDlgItemMessageA(window, bar.id, SBM_SETRANGE, 0, kPercentMaximum);
        SendDlgItemMessageA(window, bar.id, SBM_SETPOS, globals->*bar.field, TRUE);
    }
    for (const CheckBoxControl& box : kCheckBoxes) CheckDlgButton(window, box.id, globals->*box.field);
}

INT_PTR Initialise(HWND window, LPARAM parameter) {
    gDialogGlobals = reinterpret_cast<Globals*>(parameter);
    CentreDialog(window);
    RefitPreview(gDialogGlobals, window);
    SetUpControls(gDialogGlobals, window);
    Compose(gDialogGlobals);
    PaintPreview(gDialogGlobals, window);
    return FALSE;  // the focus stays where it is
}

// A thumb that is dragged or dropped. The arrows and troughs are dead on purpose.
void ScrollTo(Globals* globals, HWND window, const SliderControl& bar, WPARAM report) {
    const int code = LOWORD(report);
    if (code != SB_THUMBPOSITION && code != SB_THUMBTRACK) return;
    globals->*bar.field = static_cast<std::int16_t>(HIWORD(report));
    SendDlgItemMessageA(window, bar.id, SBM_SETPOS, globals->*bar.field, TRUE);
    RefitPreview(globals, window);
}

// Whatever the sender and the notification, the preview is keyed again.
INT_PTR OnScroll(Globals* globals, HWND window, WPARAM report, HWND sender) {
    const auto sentBy = [&](int id) { return sender != nullptr && sender == GetDlgItem(window, id); };
    const auto position = [&] { return static_cast<std::int32_t>(SendMessageA(sender, TBM_GETPOS, 0, 0)); };
    for (const SliderControl& slider : kSliders) {
        if (sentBy(slider.id)) globals->*slider.field = position();
    }
    if (sentBy(kIdZoom)) {
        globals->previewZoom = position();
        RefitPreview(globals, window);
    }
    for (const SliderControl& bar : kScrollBars) {
        if (sentBy(bar.id)) ScrollTo(globals, window, bar, report);
    }
    UpdatePreview(globals, window);
    return TRUE;
}

INT_PTR Toggle(Globals* globals, HWND window, const CheckBoxControl& box) {
    globals->*box.field = globals->*box.field == 0;
    CheckDlgButton(window, box.id, globals->*box.field);
    if (box.id == kIdBlueLogic) globals->mustAnalyse = 1;
    UpdatePreview(globals, window);
    return FALSE;
}

// Opens the dialog a second time in its place. The planes and preview buffers of the first opening are given
// up, not freed, and the window moves back over its parent; both are meant.
INT_PTR Reset(Globals* globals, HWND window) {
    ResetGlobals(globals);
    Initialise(window, reinterpret_cast<LPARAM>(globals));
    UpdatePreview(globals, window);
    return FALSE;
}

// Puts the block that the host keeps back to what it was created as, but for showDialog.
INT_PTR Cancel(Globals* globals, HWND window) {
    if (PluginParameters* parameters = ParametersOf(globals); parameters != nullptr) {
        parameters->firstVersion = 0;
        parameters->secondVersion = 0;
        parameters->thirdWord = 4;
        parameters->firstFlag = 0;
    }
    globals->reservedFlag = 0;
    globals->reservedWord = 0;
    Fail(globals, userCanceledErr);
    EndDialog(window, kIdCancel);
    return TRUE;
}

INT_PTR OnCommand(Globals* globals, HWND window, WPARAM report) {
    if (HIWORD(report) != BN_CLICKED) return TRUE;
    const int id = LOWORD(report);
    for (const CheckBoxControl& box : kCheckBoxes) {
        if (id == box.id) return Toggle(globals, window, box);
    }
    switch (id) {
        case kIdReset:
            return Reset(globals, window);
        case kIdHelp:
            ShellExecuteA(nullptr, "open", "MarbleFrondKeeperPluginHelp\\index.htm", nullptr, nullptr,
                          SW_SHOWNORMAL);
            return TRUE;
        case kIdOk:
            EndDialog(window, kIdOk);
            return TRUE;
        case kIdCancel:
            return Cancel(globals, window);
        default:
            return TRUE;
    }
}

}  // namespace

extern "C" INT_PTR CALLBACK MarbleFrondKeeperPluginProc(HWND window, UINT message, WPARAM wParam,
                                                        LPARAM lParam) {
    if (message == WM_INITDIALOG) return Initialise(window, lParam);
    Globals* globals = gDialogGlobals;
    if (globals == nullptr) return FALSE;
    switch (message) {
        case WM_PAINT:
            PaintPreview(globals, window);
            return FALSE;
        case WM_HSCROLL:
        case WM_VSCROLL:
            return OnScroll(globals, window, wParam, reinterpret_cast<HWND>(lParam));
        case WM_COMMAND:
            return OnCommand(globals, window, wParam);
        default:
            return FALSE;
    }
}

bool ShowParameterDialog(Globals* globals) {
    const INT_PTR ending = RunDialog(kParameterDialogTemplate, globals->filterParamBlock->platformData,
                                     MarbleFrondKeeperPluginProc, reinterpret_cast<LPARAM>(globals));
    gDialogGlobals = nullptr;
    return ending == kIdOk;
}

// The dialog holds no parameters: each control writes its field of Globals the moment it moves, and every
// move keys the preview again before the handler returns.
//
// A composition or a painting can let further messages in: through a message box, or through a host that
// handles messages in its services. The handlers of those messages write their fields and note what is to be
// done again; only the outermost call, in DoPending, does it. So nothing frees or replaces a plane that
// somebody reads.
#include <windows.h>

#include <commctrl.h>
#include <shellapi.h>

#include <iterator>
#include <utility>

#include "shell/globals.h"
#include "shell/parameter_table.h"
#include "support/checked_heap.h"
#include "ui/dialog_ids.h"
#include "ui/dialog_window_win32.h"
#include "ui/parameter_dialog.h"
#include "ui/preview.h"
#include "ui/preview_geometry.h"
#include "ui/preview_painting_win32.h"

namespace filter {
namespace {

// The record of the open dialog; null while there is none.
Globals* gDialogGlobals = nullptr;

enum class Activity { kNone, kComposing, kPainting };

// Work that messages have asked for. Whatever is set, the preview is painted again at the end.
struct Work {
    bool reset = false;
    bool refit = false;    // and load the planes again
    bool analyse = false;  // before keying
    bool compose = false;
    bool repaint = false;

    bool Any() const { return reset || refit || analyse || compose || repaint; }
};

struct DialogState {
    HWND window = nullptr;  // null once it is destroyed
    Activity activity = Activity::kNone;
    Work pending;
    int ending = 0;  // kIdOk or kIdCancel, whichever came first; 0 while the dialog is open
};
DialogState gDialog;

// Posted to itself after a painting that left work.
constexpr UINT kDoPendingMessage = WM_APP;

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
    if (gDialog.ending != 0) return;
    const bool analyses = globals->mustAnalyse != 0;
    try {
        ComposePreview(globals);
    } catch (const HeapFailure& failure) {
        Fail(globals, failure.code);
    } catch (...) {
        Fail(globals, memFullErr);
    }
    // The view moved between the reads of two planes, so that what was analysed is no picture.
    if (analyses && gDialog.pending.refit) gDialog.pending.analyse = true;
}

void Paint(Globals* globals) {
    if (gDialog.ending != 0) return;
    const Activity outer = std::exchange(gDialog.activity, Activity::kPainting);
    PaintPreview(globals, gDialog.window);
    gDialog.activity = outer;
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

void Open(Globals* globals, HWND window) {
    CentreDialog(window);
    RefitPreview(globals, window);
    SetUpControls(globals, window);
    Compose(globals);
    Paint(globals);
}

// Reset opens the dialog a second time in its place. The planes and preview buffers of the first opening are
// given up, not freed, and the window moves back over its parent; both are meant.
void Do(const Work& work, Globals* globals, HWND window) {
    if (work.reset) {
        ResetGlobals(globals);
        Open(globals, window);
        if (gDialog.ending != 0) return;
    }
    if (work.refit) RefitPreview(globals, window);
    if (work.analyse) globals->mustAnalyse = 1;
    if (work.compose) Compose(globals);
    if (gDialog.ending == 0) InvalidatePreview(window);
}

// Does what the messages have asked for until nothing is left, then ends the dialog if one of them asked for
// that. While a composition or a painting runs, all of this waits for its end.
void DoPending(Globals* globals) {
    if (gDialog.activity != Activity::kNone) return;
    gDialog.activity = Activity::kComposing;
    while (gDialog.ending == 0 && gDialog.pending.Any()) {
        Do(std::exchange(gDialog.pending, {}), globals, gDialog.window);
    }
    gDialog.activity = Activity::kNone;
    if (gDialog.ending == 0) return;
    if (gDialog.window != nullptr) {
        EndDialog(gDialog.window, gDialog.ending);
    } else {
        // The dialog's loop looks for its window after each message from the queue; this makes sure of one.
        PostThreadMessageA(GetCurrentThreadId(), WM_NULL, 0, 0);
    }
}

void ComposeAgain(Globals* globals) {
    gDialog.pending.compose = true;
    DoPending(globals);
}

INT_PTR Initialise(HWND window, LPARAM parameter) {
    gDialogGlobals = reinterpret_cast<Globals*>(parameter);
    gDialog = {};
    gDialog.window = window;
    gDialog.activity = Activity::kComposing;
    Open(gDialogGlobals, window);
    gDialog.activity = Activity::kNone;
    DoPending(gDialogGlobals);
    return FALSE;  // the focus stays where it is
}

// The system takes the window as painted once this returns, and would lose an invalidation made here: what
// came during the painting is done in a message of its own.
INT_PTR OnPaint(Globals* globals, HWND window) {
    if (gDialog.activity == Activity::kPainting) {
        gDialog.pending.repaint = true;
        return FALSE;
    }
    Paint(globals);
    if (gDialog.ending != 0) {
        DoPending(globals);
    } else if (gDialog.pending.Any()) {
        PostMessageA(window, kDoPendingMessage, 0, 0);
    }
    return FALSE;
}

// A thumb that is dragged or dropped. The arrows and troughs are dead on purpose.
void ScrollTo(Globals* globals, HWND window, const SliderControl& bar, WPARAM report) {
    const int code = LOWORD(report);
    if (code != SB_THUMBPOSITION && code != SB_THUMBTRACK) return;
    globals->*bar.field = static_cast<std::int16_t>(HIWORD(report));
    SendDlgItemMessageA(window, bar.id, SBM_SETPOS, globals->*bar.field, TRUE);
    gDialog.pending.refit = true;
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
        gDialog.pending.refit = true;
    }
    for (const SliderControl& bar : kScrollBars) {
        if (sentBy(bar.id)) ScrollTo(globals, window, bar, report);
    }
    ComposeAgain(globals);
    return TRUE;
}

INT_PTR Toggle(Globals* globals, HWND window, const CheckBoxControl& box) {
    globals->*box.field = globals->*box.field == 0;
    CheckDlgButton(window, box.id, globals->*box.field);
    if (box.id == kIdBlueLogic) gDialog.pending.analyse = true;
    ComposeAgain(globals);
    return FALSE;
}

// What was pending is reset with everything else.
INT_PTR Reset(Globals* globals) {
    gDialog.pending = {};
    gDialog.pending.reset = true;
    ComposeAgain(globals);
    return FALSE;
}

INT_PTR End(Globals* globals, int button) {
    gDialog.ending = button;
    DoPending(globals);
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
            return Reset(globals);
        case kIdHelp:
            ShellExecuteA(nullptr, "open", "MarbleFrondKeeperPluginHelp\\index.htm", nullptr, nullptr,
                          SW_SHOWNORMAL);
            return TRUE;
        case kIdOk:
        case kIdCancel:
            return End(globals, id);
        default:
            return TRUE;
    }
}

// The window goes, at the dialog's end or with an owner that the host destroys.
INT_PTR OnDestroy(Globals* globals) {
    gDialog.window = nullptr;
    return gDialog.ending == 0 ? End(globals, kIdCancel) : FALSE;
}

// Puts the block that the host keeps back to what it was created as, but for showDialog. The code replaces
// whatever the preview left.
void CancelRun(Globals* globals) {
    if (PluginParameters* parameters = ParametersOf(globals); parameters != nullptr) {
        parameters->firstVersion = 0;
        parameters->secondVersion = 0;
        parameters->thirdWord = 4;
        parameters->firstFlag = 0;
    }
    globals->reservedFlag = 0;
    globals->reservedWord = 0;
    Fail(globals, userCanceledErr);
}

INT_PTR HandleMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG) return Initialise(window, lParam);
    Globals* globals = gDialogGlobals;
    if (globals == nullptr) return FALSE;
    if (message == WM_DESTROY) return OnDestroy(globals);
    if (gDialog.ending != 0) return FALSE;
    switch (message) {
        case WM_PAINT:
            return OnPaint(globals, window);
        case WM_HSCROLL:
        case WM_VSCROLL:
            return OnScroll(globals, window, wParam, reinterpret_cast<HWND>(lParam));
        case WM_COMMAND:
            return OnCommand(globals, window, wParam);
        case kDoPendingMessage:
            DoPending(globals);
            return FALSE;
        default:
            return FALSE;
    }
}

}  // namespace
}  // namespace filter

extern "C" INT_PTR CALLBACK MarbleFrondKeeperPluginProc(HWND window, UINT message, WPARAM wParam,
                                                        LPARAM lParam) {
    return filter::HandleMessage(window, message, wParam, lParam);
}

bool filter::ShowParameterDialog(Globals* globals) {
    const INT_PTR ending = RunDialog(kParameterDialogTemplate, globals->filterParamBlock->platformData,
                                     MarbleFrondKeeperPluginProc, reinterpret_cast<LPARAM>(globals));
    const bool opened = std::exchange(gDialogGlobals, nullptr) != nullptr;
    // A window that was destroyed before OK had ended the dialog must not start the render either.
    if (opened && ending != kIdOk) CancelRun(globals);
    return ending == kIdOk;
}

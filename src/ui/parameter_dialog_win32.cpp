// The dialog stores no parameters: each control writes its field of Globals on every move, and the handler
// keys the preview again before it returns.
//
// Composing and painting can dispatch further messages: a message box does, and so does a host that handles
// messages in its services. Handlers of such nested messages write their fields and add to the pending work,
// which only the outermost PerformPending performs. So no plane is freed or replaced while it is read.
#include <windows.h>

#include <commctrl.h>
#include <shellapi.h>

#include <iterator>
#include <utility>

#include "shell/globals.h"
#include "support/checked_heap.h"
#include "ui/dialog_ids.h"
#include "ui/dialog_window_win32.h"
#include "ui/parameter_dialog.h"
#include "ui/preview.h"
#include "ui/preview_geometry.h"
#include "ui/preview_painting_win32.h"

namespace filter {
namespace {

// The record of the open dialog, otherwise null.
Globals* gDialogGlobals = nullptr;

enum class Activity { kNone, kComposing, kPainting };

// Work that messages have requested. The preview is always painted again afterwards.
struct Work {
    bool reset = false;
    bool refit = false;    // also reloads the planes
    bool analyse = false;  // before keying
    bool compose = false;
    bool repaint = false;

    bool Any() const { return reset || refit || analyse || compose || repaint; }
};

struct DialogState {
    HWND window = nullptr;  // null after its destruction
    Activity activity = Activity::kNone;
    Work pending;
    int ending = 0;  // the first of kIdOk and kIdCancel; 0 while the dialog is open
};
DialogState gDialog;

// The dialog posts this to itself when work is pending after a painting.
constexpr UINT kPerformPendingMessage = WM_APP;

constexpr int kSliderMaximum = 200;
constexpr int kPercentMaximum = 100;  // of zoom and scroll

// The controls of the parameters, in the order of kSliderFields and kFlagFields.
constexpr int kSliderIds[] = {kIdRemoveGreen,  kIdRestoreBlack, kIdAlterGreen,
                              kIdSelectTransp, kIdScaleTransp,  kIdAdjBGLevel};
constexpr int kCheckBoxIds[] = {kIdRealityInteg, kIdShowSelect, kIdOutputAlpha, kIdBlueLogic, kIdOrgPhoto};
constexpr int kCheckBoxCount = std::size(kCheckBoxIds);
static_assert(std::size(kSliderIds) == std::size(kSliderFields) && kCheckBoxCount == std::size(kFlagFields));

struct ScrollBar {
    int id;
    std::int32_t Globals::*field;
};
constexpr ScrollBar kScrollBars[] = {{kIdScrollX, &Globals::previewScrollX},
                                     {kIdScrollY, &Globals::previewScrollY}};

// Catches all exceptions, since none may leave a window procedure. The dialog stays open.
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
    // The view changed between the reads of two planes: the planes that were analysed do not match.
    if (analyses && gDialog.pending.refit) gDialog.pending.analyse = true;
}

void Paint(Globals* globals) {
    if (gDialog.ending != 0) return;
    const Activity previous = std::exchange(gDialog.activity, Activity::kPainting);
    PaintPreview(globals, gDialog.window);
    gDialog.activity = previous;
}

// Fits the preview into its area. FitPreview also makes the next composition reload the planes.
void RefitPreview(Globals* globals, HWND window) {
    const VRect bounds = globals->docInfo == nullptr ? VRect{} : globals->docInfo->bounds;
    const std::int32_t width = globals->previewWidth;
    const std::int32_t height = globals->previewHeight;
    ReadPreviewRect(window, &globals->proxyRect);
    FitPreview(globals, bounds, &globals->proxyRect, &globals->scaleFactor);
    // Windows may scale the dialog for another screen.
    if (globals->previewWidth != width || globals->previewHeight != height) ReleasePreviewBuffers(globals);
}

void SetUpControls(const Globals* globals, HWND window) {
    for (int i = 0; i < kSliderCount; ++i) {
        SendDlgItemMessageA(window, kSliderIds[i], TBM_SETRANGEMAX, TRUE, kSliderMaximum);
        SendDlgItemMessageA(window, kSliderIds[i], TBM_SETPOS, TRUE, globals->*kSliderFields[i]);
    }
    // The position of the zoom slider is never set, on purpose: after Reset its thumb stays where it is.
    SendDlgItemMessageA(window, kIdZoom, TBM_SETRANGEMAX, TRUE, kPercentMaximum);
    for (const ScrollBar& bar : kScrollBars) {
        SendDlgItemMessageA(window, bar.id, SBM_SETRANGE, 0, kPercentMaximum);
        SendDlgItemMessageA(window, bar.id, SBM_SETPOS, globals->*bar.field, TRUE);
    }
    for (int i = 0; i < kCheckBoxCount; ++i) {
        CheckDlgButton(window, kCheckBoxIds[i], globals->*kFlagFields[i]);
    }
}

void SetUpDialog(Globals* globals, HWND window) {
    CentreDialog(window);
    RefitPreview(globals, window);
    SetUpControls(globals, window);
    Compose(globals);
    Paint(globals);
}

// Reset sets the dialog up again in the same window. It abandons the planes and preview buffers without
// freeing them and centres the window over its parent again. Both are intended.
void Perform(const Work& work, Globals* globals, HWND window) {
    if (work.reset) {
        ResetGlobals(globals);
        SetUpDialog(globals, window);
        if (gDialog.ending != 0) return;
    }
    if (work.refit) RefitPreview(globals, window);
    if (work.analyse) globals->mustAnalyse = 1;
    if (work.compose) Compose(globals);
    if (gDialog.ending == 0) InvalidatePreview(window);
}

// Performs the pending work until none is left, then ends the dialog if a message requested it. Does nothing
// during a composition or a painting.
void PerformPending(Globals* globals) {
    if (gDialog.activity != Activity::kNone) return;
    gDialog.activity = Activity::kComposing;
    while (gDialog.ending == 0 && gDialog.pending.Any()) {
        Perform(std::exchange(gDialog.pending, {}), globals, gDialog.window);
    }
    gDialog.activity = Activity::kNone;
    if (gDialog.ending == 0) return;
    if (gDialog.window != nullptr) {
        EndDialog(gDialog.window, gDialog.ending);
    } else {
        // The dialog's message loop only notices a destroyed window after a message from the queue.
        PostThreadMessageA(GetCurrentThreadId(), WM_NULL, 0, 0);
    }
}

void Recompose(Globals* globals) {
    gDialog.pending.compose = true;
    PerformPending(globals);
}

INT_PTR OnInitDialog(HWND window, LPARAM parameter) {
    gDialogGlobals = reinterpret_cast<Globals*>(parameter);
    gDialog = {};
    gDialog.window = window;
    gDialog.activity = Activity::kComposing;
    SetUpDialog(gDialogGlobals, window);
    gDialog.activity = Activity::kNone;
    PerformPending(gDialogGlobals);
    return FALSE;  // keeps the focus
}

// When this returns, Windows validates the window and would drop an invalidation made here. So work that was
// requested during the painting gets a message of its own.
INT_PTR OnPaint(Globals* globals, HWND window) {
    if (gDialog.activity == Activity::kPainting) {
        gDialog.pending.repaint = true;
        return FALSE;
    }
    Paint(globals);
    if (gDialog.ending != 0) {
        PerformPending(globals);
    } else if (gDialog.pending.Any()) {
        PostMessageA(window, kPerformPendingMessage, 0, 0);
    }
    return FALSE;
}

// Reacts to dragging and dropping the thumb only: arrows and troughs do nothing, on purpose.
void OnThumbMoved(Globals* globals, HWND window, const ScrollBar& bar, WPARAM wParam) {
    const int code = LOWORD(wParam);
    if (code != SB_THUMBPOSITION && code != SB_THUMBTRACK) return;
    globals->*bar.field = static_cast<std::int16_t>(HIWORD(wParam));
    SendDlgItemMessageA(window, bar.id, SBM_SETPOS, globals->*bar.field, TRUE);
    gDialog.pending.refit = true;
}

// Every notification of any sender keys the preview again.
INT_PTR OnScroll(Globals* globals, HWND window, WPARAM wParam, HWND sender) {
    const auto sentBy = [&](int id) { return sender != nullptr && sender == GetDlgItem(window, id); };
    const auto position = [&] { return static_cast<std::int32_t>(SendMessageA(sender, TBM_GETPOS, 0, 0)); };
    for (int i = 0; i < kSliderCount; ++i) {
        if (sentBy(kSliderIds[i])) globals->*kSliderFields[i] = position();
    }
    if (sentBy(kIdZoom)) {
        globals->previewZoom = position();
        gDialog.pending.refit = true;
    }
    for (const ScrollBar& bar : kScrollBars) {
        if (sentBy(bar.id)) OnThumbMoved(globals, window, bar, wParam);
    }
    Recompose(globals);
    return TRUE;
}

INT_PTR ToggleCheckBox(Globals* globals, HWND window, int box) {
    std::uint8_t& flag = globals->*kFlagFields[box];
    flag = flag == 0;
    CheckDlgButton(window, kCheckBoxIds[box], flag);
    if (kCheckBoxIds[box] == kIdBlueLogic) gDialog.pending.analyse = true;
    Recompose(globals);
    return FALSE;
}

// Reset replaces other pending work.
INT_PTR RequestReset(Globals* globals) {
    gDialog.pending = {};
    gDialog.pending.reset = true;
    Recompose(globals);
    return FALSE;
}

INT_PTR RequestEnd(Globals* globals, int button) {
    gDialog.ending = button;
    PerformPending(globals);
    return TRUE;
}

INT_PTR OnCommand(Globals* globals, HWND window, WPARAM wParam) {
    if (HIWORD(wParam) != BN_CLICKED) return TRUE;
    const int id = LOWORD(wParam);
    for (int box = 0; box < kCheckBoxCount; ++box) {
        if (id == kCheckBoxIds[box]) return ToggleCheckBox(globals, window, box);
    }
    switch (id) {
        case kIdReset:
            return RequestReset(globals);
        case kIdHelp:
            ShellExecuteA(nullptr, "open", "MarbleFrondKeeperPluginHelp\\index.htm", nullptr, nullptr,
                          SW_SHOWNORMAL);
            return TRUE;
        case kIdOk:
        case kIdCancel:
            return RequestEnd(globals, id);
        default:
            return TRUE;
    }
}

// The dialog has ended, or the host has destroyed its owner.
INT_PTR OnDestroy(Globals* globals) {
    gDialog.window = nullptr;
    return gDialog.ending == 0 ? RequestEnd(globals, kIdCancel) : FALSE;
}

// userCanceledErr replaces any code of the preview.
void CancelRun(Globals* globals) {
    if (PluginParameters* parameters = ParametersOf(globals)) ResetUnreadFields(parameters);
    globals->reservedFlag = 0;
    globals->reservedWord = 0;
    Fail(globals, userCanceledErr);
}

INT_PTR HandleMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG) return OnInitDialog(window, lParam);
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
        case kPerformPendingMessage:
            PerformPending(globals);
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
    // Destroying the window cancels the run too.
    if (opened && ending != kIdOk) CancelRun(globals);
    return ending == kIdOk;
}

// The dialog where something is missing (layers, memory, services, a window, sane bounds), and where messages
// come while it composes or paints.
#include <gtest/gtest.h>

#include <cstdio>

#include "rig/dialog_driver.h"
#include "tests/dialog_session.h"
#include "tests/host_faults.h"
#include "tests/shell_rig.h"
#include "ui/dialog_ids.h"

namespace {

Document Plate() {
    return GreenDocument(60, 40, 8, 2);
}

void SetFailing(DialogRun& run, bool fails, HostCall kind = HostCall::kReadScaledPixels) {
    OptionsOf(run.TheHost()).failKindEnabled = fails;
    OptionsOf(run.TheHost()).failKind = kind;
}

TEST(DialogFaults, ReportsWhatFailsAndStaysOpen) {
    Document flat = MakeDocument(60, 40, 8);
    flat.flat = MakeLayer(flat, "flat", 77);
    flat.targetLayer = kTargetFlat;
    DialogSession withoutLayers(std::move(flat), FailingAt(HostCall::kReadScaledPixels, 1));
    withoutLayers.Step("zoom", [&] { withoutLayers.run.SetSlider(kIdZoom, 50); });
    EXPECT_EQ(withoutLayers.run.State().topR[0], 77);
    // Cancel puts back all of the block but showDialog, whatever it holds.
    Host& host = withoutLayers.run.TheHost();
    *reinterpret_cast<PluginParameters*>(*ParametersHandle(host)) = {7, 7, 9, 9, 1, {}};
    const HWND slider = withoutLayers.run.Control(kIdRemoveGreen);
    withoutLayers.End("Escape", [&] { PostMessageA(slider, WM_KEYDOWN, VK_ESCAPE, 1); });
    EXPECT_TRUE(MatchesTrace(withoutLayers.Text(), "dialog_without_layers"));
}

TEST(DialogFaults, WantOfMemoryLeavesTheDialogOpen) {
    DialogSession session(Plate());
    DialogRun& run = session.run;
    const DisplayCall before = run.LastPainted();
    SetFailing(run, true, HostCall::kAllocateBlock);
    session.Step("no memory for the engine's rows", [&] { run.ClickButton(kIdOrgPhoto); });
    EXPECT_TRUE(run.PaintedAfter([] {}).pixels == before.pixels) << "the preview keeps its picture";
    SetFailing(run, false);
    session.Step("memory again", [&] { run.ClickButton(kIdRealityInteg); });
    EXPECT_FALSE(run.PaintedAfter([] {}).pixels == before.pixels);
    SetFailing(run, true, HostCall::kNewBuffer);
    session.Step("no memory for planes", [&] { run.SetSlider(kIdZoom, 30); });
    session.Step("nothing to key", [&] { run.SetSlider(kIdRemoveGreen, 3); });
    SetFailing(run, false);
    session.Step("memory for planes again", [&] { run.SetSlider(kIdRemoveGreen, 4); });
    session.End("OK", [&] { PostMessageA(run.Control(kIdOk), BM_CLICK, 0, 0); });
    EXPECT_TRUE(MatchesTrace(session.Text(), "dialog_without_memory"));
}

// A dialog that is opened, zoomed and confirmed, and the render behind it.
TEST(DialogFaults, EveryFailingCallOfARunEndsInItsCode) {
    int withoutAlpha = 0, withoutBuffers = 0;
    for (int call = 1;; ++call) {
        SCOPED_TRACE(call);
        HostOptions options;
        options.failAt = call;
        DialogRun run(GreenDocument(60, 40, 8, 2), options);
        if (run.Window() != nullptr) run.SetSlider(kIdZoom, 30);
        const RunResult result = run.Window() != nullptr ? run.Ok() : run.EndWith([] {});
        const std::vector<HostCall>& failures = ReportOf(run.TheHost()).failures;
        if (failures.empty()) {
            EXPECT_EQ(result.result, noErr);
            std::printf("%d calls failed in turn\n", call - 1);
            break;
        }
        // The preview's alpha is disposed of with its pixels, untested, and without it the run goes through.
        const std::string violations = ViolationText(run.TheHost());
        const bool isAlpha = violations == "Dispose: null is no buffer\n";
        EXPECT_TRUE(isAlpha || violations.empty()) << violations;
        withoutAlpha += isAlpha;
        // Without the suite of buffers the preview finds no memory, and its code comes last.
        const bool isBuffers = failures[0] == HostCall::kAcquireSuite && result.result == memFullErr;
        withoutBuffers += isBuffers;
        const OSErr expected = isAlpha ? noErr : isBuffers ? memFullErr : CodeAfterFailureOf(failures[0]);
        EXPECT_EQ(result.result, expected);
        ASSERT_LT(call, 1000);
        ClearReport(run.TheHost());
    }
    EXPECT_EQ(withoutAlpha, 1);
    EXPECT_EQ(withoutBuffers, 1);
}

TEST(DialogFaults, RunsWithoutDisplayPixelsAndWithoutAMainWindow) {
    HostOptions options;
    options.offersDisplayPixels = false;
    DialogRun run(GreenDocument(60, 40, 8, 2), options, false);
    EXPECT_EQ(GetWindow(run.Window(), GW_OWNER), nullptr);
    const auto marked = static_cast<std::uint8_t>(~run.State().previewPixels[0]);
    run.State().previewPixels[0] = marked;
    run.SetSlider(kIdRemoveGreen, 3);
    EXPECT_NE(run.State().previewPixels[0], marked);
    EXPECT_EQ(run.Ok().result, noErr);
}

// An owner that is no window keeps the dialog from opening, and the run renders with what it has.
TEST(DialogFaults, RendersWithoutADialogThatCannotOpen) {
    HostOptions options;
    options.mainWindow = reinterpret_cast<void*>(std::intptr_t{0x7ACE});
    options.playInfo = plugInDialogDisplay;
    const HostPtr host = CreateHost(options);
    const ModulePtr module = OpenBuiltModule();
    Document document = GreenDocument(60, 40, 8, 2);
    const Document before = document;
    EXPECT_EQ(RunFilter(*host, module->pluginMain, document, AskForParameters::kYes).result, noErr);
    EXPECT_NE(document.layers[1].colour[1].bytes, before.layers[1].colour[1].bytes);
    CloseHost(*host);
}

TEST(DialogFaults, BearsOddBounds) {
    const struct {
        int width, height, top, left;
        bool painted;
    } kCases[] = {
        {60, 40, 13, 7, true},        {60, 40, -13, -7, true},
        {1, 1, 0, 0, true},           {2000, 1, 0, 0, false},  // no height in the preview
        {40000, 6, 0, 0, false},                               // a width that wraps below 0
        {65536 + 40, 3, 0, 0, false},                          // and to 40
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.width);
        Document document = GreenDocument(c.width, c.height, 8, 2);
        document.selection = MakeChannel(document, 255);
        document.bounds = {c.top, c.left, c.top + c.height, c.left + c.width};
        HostOptions options;
        options.offersDisplayPixels = c.painted;
        DialogRun run(std::move(document), options);
        run.SetSlider(kIdZoom, 50);
        run.MoveScrollBar(kIdScrollX, SB_THUMBTRACK, 100);
        run.MoveScrollBar(kIdScrollY, SB_THUMBTRACK, 100);
        run.SetSlider(kIdZoom, 100);
        run.ClickButton(kIdReset);
        run.ClickButton(kIdOutputAlpha);
        EXPECT_EQ(run.Cancel().result, userCanceledErr);
        run.TakeLeaks();  // of Reset
    }
}

// ---- Messages in the midst of the work --------------------------------------------------------------------

// A message box has no owner and disables nothing, so that the dialog can be used while it is shown.
TEST(DialogReentrance, DoesWhatCameMeanwhileOnceAtTheEnd) {
    DialogSession session(Plate());
    DialogRun& run = session.run;
    const auto zoomWhile = [&](const char* title, std::function<void()> meanwhile) {
        SetFailing(run, true);
        session.AtNextBox([&run, meanwhile = std::move(meanwhile)] {
            SetFailing(run, false);
            meanwhile();
        });
        session.Step(title, [&] { run.SetSlider(kIdZoom, 99 - run.State().previewZoom); });
    };
    zoomWhile("sliders while a box is shown", [&] {
        for (const int position : {3, 7, 9}) run.SetSlider(kIdRemoveGreen, position);
        run.ClickButton(kIdShowSelect);
    });
    zoomWhile("blue while a box is shown", [&] { run.ClickButton(kIdBlueLogic); });
    zoomWhile("scrolling while a box is shown", [&] {
        run.MoveScrollBar(kIdScrollX, SB_THUMBTRACK, 50);
        run.SetSlider(kIdZoom, 90);
    });
    zoomWhile("painting while a box is shown", [&] { run.PaintedAfter([] {}); });
    SetFailing(run, true);
    session.AtNextBox([&] {
        SetFailing(run, false);
        run.SetSlider(kIdZoom, 70);
    });
    session.Step("zoom while reset loads", [&] { run.ClickButton(kIdReset); });
    const double mean = run.State().backdropMeanG;
    for (int click = 0; click < 2; ++click) run.ClickButton(kIdBlueLogic);
    EXPECT_EQ(run.State().backdropMeanG, mean) << "the analysis was made on one view";
    zoomWhile("reset while a box is shown", [&] {
        run.SetSlider(kIdRemoveGreen, 11);
        run.ClickButton(kIdReset);
        run.SetSlider(kIdZoom, 20);
    });
    OptionsOf(run.TheHost()).shrinkScaledReads = true;
    session.AtNextBox([&] {
        run.SetSlider(kIdAlterGreen, 5);
        OptionsOf(run.TheHost()).shrinkScaledReads = false;
    });
    session.Step("a slider while another size is reported", [&] { run.SetSlider(kIdZoom, 10); });
    EXPECT_TRUE(run.PaintedAfter([] {}).pixels ==
                run.PaintedAfter([&] { run.SetSlider(kIdZoom, 10); }).pixels);
    run.Cancel();
    EXPECT_TRUE(MatchesTrace(session.Text(), "dialog_reentrance"));
    EXPECT_EQ(run.TakeLeaks(), 28);  // of two times Reset
}

// The first that arrives ends the dialog, once the composition or the painting has returned.
TEST(DialogReentrance, EndsAfterWhatItWasDoing) {
    std::string text;
    const struct {
        const char* title;
        std::vector<int> buttons;  // 0: the owner is destroyed, and the dialog with it
        OSErr result;
    } kCases[] = {
        {"OK", {kIdOk}, noErr},
        {"OK, then Cancel", {kIdOk, kIdCancel}, noErr},
        {"Cancel", {kIdCancel}, userCanceledErr},
        {"Cancel, then OK and more", {kIdCancel, kIdOk, kIdBlueLogic, kIdReset}, userCanceledErr},
        {"the window is destroyed", {0, kIdOk}, userCanceledErr},
    };
    for (const auto& c : kCases) {
        for (const bool painting : {false, true}) {
            SCOPED_TRACE(c.title + std::string(painting ? " while it paints" : ""));
            DialogSession* shown = nullptr;
            HostOptions options;
            const auto press = [&] {
                DialogRun& run = std::exchange(shown, nullptr)->run;
                for (const int id : c.buttons) {
                    if (id == 0) DestroyWindow(run.MainWindow());
                    if (id != 0) Send(run.Window(), WM_COMMAND, static_cast<WPARAM>(id));
                }
            };
            options.displayed = [&](const DisplayCall&) {
                if (painting && shown != nullptr) press();
            };
            DialogSession session(Plate(), options);
            SetFailing(session.run, !painting);
            session.AtNextBox([&] {
                press();
                // What else fails in this composition does not replace Cancel's code.
                SetFailing(session.run, c.result != noErr, HostCall::kAllocateBlock);
            });
            const RunResult result = session.End(c.title, [&] {
                shown = &session;
                if (painting) PostMessageA(session.run.Window(), WM_PAINT, 0, 0);
                if (!painting) session.run.SetSlider(kIdZoom, 30);
            });
            EXPECT_EQ(result.result, c.result);
            if (!painting) text += session.Text().substr(session.Text().find("\n== "));
        }
    }
    EXPECT_TRUE(MatchesTrace(text, "dialog_endings"));
}

// What the host's painting lets in is composed after it, and then painted too.
TEST(DialogReentrance, ComposesAfterAPainting) {
    DialogRun* moved = nullptr;
    HostOptions options;
    options.displayed = [&](const DisplayCall&) {
        if (DialogRun* run = std::exchange(moved, nullptr)) {
            run->SetSlider(kIdRemoveGreen, 150);
            run->SetSlider(kIdZoom, 40);
            Send(run->Window(), WM_PAINT);
        }
    };
    DialogRun run(Plate(), options);
    const DisplayCall before = run.LastPainted();
    moved = &run;
    run.PaintedAfter([] {});
    WaitFor("the picture of the new values", [&] { return run.LastPainted().pixels != before.pixels; });
    EXPECT_TRUE(run.LastPainted().pixels == run.PaintedAfter([&] { run.SetSlider(kIdZoom, 40); }).pixels);
    EXPECT_EQ(run.Ok().result, noErr);
}

void MoveMouse(POINT to, DWORD button) {
    INPUT input{};
    input.type = INPUT_MOUSE;
    const int width = GetSystemMetrics(SM_CXSCREEN), height = GetSystemMetrics(SM_CYSCREEN);
    input.mi.dx = (to.x * 65535 + width / 2) / (width - 1);
    input.mi.dy = (to.y * 65535 + height / 2) / (height - 1);
    input.mi.dwFlags = MOUSEEVENTF_ABSOLUTE | MOUSEEVENTF_MOVE | button;
    SendInput(1, &input, sizeof input);
}

// The real mouse drags the zoom's thumb and lets it go while the box is shown: the trackbar, which has the
// mouse, then reports the end of the drag.
TEST(DialogReentrance, SurvivesADragThatEndsBehindABox) {
    DialogRun run(Plate());
    RECT thumb{};
    Send(run.Control(kIdZoom), TBM_GETTHUMBRECT, 0, reinterpret_cast<LPARAM>(&thumb));
    POINT at = {(thumb.left + thumb.right) / 2, (thumb.top + thumb.bottom) / 2};
    ClientToScreen(run.Control(kIdZoom), &at);
    int boxes = 0;
    std::atomic<HWND> shown = nullptr;
    run.SetBoxAction([&](HWND box) {
        ++boxes;
        shown = box;
        EXPECT_EQ(GetWindow(box, GW_OWNER), nullptr);
        EXPECT_TRUE(IsWindowEnabled(run.Window()));
        LRESULT icon = 0;
        for (HWND text = nullptr;
             icon == 0 && (text = FindWindowExA(box, text, "Static", nullptr)) != nullptr;)
            icon = Send(text, STM_GETICON);
        EXPECT_EQ(icon, reinterpret_cast<LRESULT>(LoadIconA(nullptr, IDI_INFORMATION)));
        EXPECT_TRUE(GetDlgItem(box, IDOK) != nullptr && GetDlgItem(box, IDCANCEL) == nullptr);
        SetFailing(run, false);
        MoveMouse({at.x + 90, at.y}, MOUSEEVENTF_LEFTUP);
        MSG message;
        while (GetCapture() != nullptr && GetMessageA(&message, nullptr, 0, 0)) DispatchMessageA(&message);
    });
    SetFailing(run, true);
    MoveMouse(at, 0);
    MoveMouse(at, MOUSEEVENTF_LEFTDOWN);
    MoveMouse({at.x + 40, at.y}, 0);
    WaitFor("the box's end", [&] { return shown != nullptr && !IsWindow(shown); });
    EXPECT_TRUE(run.PaintedAfter([] {}).pixels ==
                run.PaintedAfter([&] {
                       run.SetSlider(kIdZoom, static_cast<int>(Send(run.Control(kIdZoom), TBM_GETPOS)));
                   })
                    .pixels);
    EXPECT_GT(run.State().previewZoom, 0);
    EXPECT_EQ(boxes, 1);
    EXPECT_EQ(run.Ok().result, noErr);
}

}  // namespace

// The dialog in a real window: controls, costs, pixels and ways out, driven through the built module.
#include <windows.h>

#include <commctrl.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "host/painting.h"
#include "rig/dialog_driver.h"
#include "tests/shell_rig.h"
#include "ui/dialog_ids.h"
#include "ui/preview_geometry.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kSliderIds[] = {kIdRemoveGreen,  kIdRestoreBlack, kIdAlterGreen,
                              kIdSelectTransp, kIdScaleTransp,  kIdAdjBGLevel};
constexpr std::int32_t Globals::*kSliderFields[] = {&Globals::SliderRemoveGreen, &Globals::SliderRestoreBlack,
                                                    &Globals::SliderAlterGreen,  &Globals::SliderSelectTransp,
                                                    &Globals::SliderScaleTransp, &Globals::SliderAdjBGLevel};
constexpr Costs kKeyed = {0, 1, 0};
constexpr Costs kReloaded = {7, 1, 0};  // two layers, one with transparency

Document Plate() {
    return GreenDocument(400, 200, 8, 2);
}

// What the host got to show is the preview as the module's record holds it.
void ExpectPreview(DialogRun& run, const DisplayCall& call) {
    const Globals& state = run.State();
    ASSERT_FALSE(call.pixels.empty());
    EXPECT_TRUE(call.pixels == Bytes(state.previewPixels, state.previewPixels + call.pixels.size()));
    EXPECT_EQ(call.maskBytes.empty(), state.FlagOutputAlpha == 0);
    EXPECT_TRUE(call.maskBytes == Bytes(state.previewAlpha, state.previewAlpha + call.maskBytes.size()));
}

// ---- Opening ----------------------------------------------------------------------------------------------

// Users and their notes know the labels, which keep their misspellings.
TEST(Dialog, ShowsItsLabelsAndHidesHelp) {
    DialogRun run(Plate());
    std::string labels;
    for (HWND child = GetWindow(run.Window(), GW_CHILD); child != nullptr;
         child = GetWindow(child, GW_HWNDNEXT)) {
        if (!TextOf(child).empty()) labels += TextOf(child) + "|";
    }
    EXPECT_EQ(labels,
              "&OK|&Cancel|Remove Background Areas (Where green is)|Restore Dark Areas|"
              "Select how transpatent the Transparent Areas are|"
              "To alter blue areas go right, for green areas go left|Adjust the background green levels|"
              "Blend Edges|Show Selected Ares|Use Blue Logic|Show Original Photo|Help|"
              "Scale the Transparent areas|Output Transparency Information|Scale Preview|Reset|");
    EXPECT_FALSE(IsWindowVisible(run.Control(kIdHelp)) || IsWindowVisible(run.Control(kIdPreview)));
    RECT area = {3, 2, 3 + 261, 2 + 286};  // the preview's, in the units of the template
    MapDialogRect(run.Window(), &area);
    const RECT found = RectOf(run.Control(kIdPreview));
    EXPECT_TRUE(found.right - found.left == area.right - area.left &&
                found.bottom - found.top == area.bottom - area.top);
}

TEST(Dialog, OpensOverTheHostWithEveryControlInItsPlace) {
    DialogRun run(Plate());
    EXPECT_EQ(run.OpeningCosts(), (Costs{7, 1, 1}));
    const int positions[] = {40, 20, 100, 100, 70, 100};
    for (int i = 0; i < 6; ++i) {
        const HWND slider = run.Control(kSliderIds[i]);
        EXPECT_EQ(Send(slider, TBM_GETRANGEMIN), 0) << i;
        EXPECT_EQ(Send(slider, TBM_GETRANGEMAX), 200) << i;
        EXPECT_EQ(Send(slider, TBM_GETPOS), positions[i]) << i;
    }
    EXPECT_EQ(Send(run.Control(kIdZoom), TBM_GETRANGEMAX), 100);
    for (const int id : {kIdScrollX, kIdScrollY}) {
        int low = -1, high = -1;
        GetScrollRange(run.Control(id), SB_CTL, &low, &high);
        EXPECT_TRUE(low == 0 && high == 100) << id;
    }
    for (const int id : {kIdRealityInteg, kIdShowSelect, kIdBlueLogic, kIdOrgPhoto, kIdOutputAlpha}) {
        EXPECT_EQ(Send(run.Control(id), BM_GETCHECK), id == kIdRealityInteg) << id;
    }
    EXPECT_FALSE(IsWindowEnabled(run.MainWindow())) << "the dialog is modal";

    RECT client{};
    GetClientRect(run.MainWindow(), &client);
    MapWindowPoints(run.MainWindow(), nullptr, reinterpret_cast<POINT*>(&client), 2);
    const RECT at = RectOf(run.Window());
    const VPoint expected = DialogCorner({client.top, client.left, client.bottom, client.right},
                                         {at.right - at.left, at.bottom - at.top},
                                         {GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)},
                                         DialogInset(GetSystemMetrics(SM_CXSIZE), false));
    EXPECT_TRUE(at.left == expected.h && at.top == expected.v) << at.left << ' ' << at.top;
}

// The assembly that window classes of this name come from, on the calling thread; empty without one.
std::string AssemblyOfClass(const char* name) {
    ACTCTX_SECTION_KEYED_DATA found{};
    found.cbSize = sizeof found;
    if (!FindActCtxSectionStringA(FIND_ACTCTX_SECTION_KEY_RETURN_HACTCTX, nullptr,
                                  ACTIVATION_CONTEXT_SECTION_WINDOW_CLASS_REDIRECTION, name, &found)) {
        return {};
    }
    alignas(ACTIVATION_CONTEXT_ASSEMBLY_DETAILED_INFORMATION) char details[4096] = {};
    QueryActCtxW(0, found.hActCtx, &found.ulAssemblyRosterIndex,
                 AssemblyDetailedInformationInActivationContext, details, sizeof details, nullptr);
    ReleaseActCtx(found.hActCtx);
    const auto* identity = reinterpret_cast<ACTIVATION_CONTEXT_ASSEMBLY_DETAILED_INFORMATION*>(details)
                               ->lpAssemblyEncodedAssemblyIdentity;
    std::string text;
    for (; identity != nullptr && *identity != 0; ++identity) text += static_cast<char>(*identity);
    return text;
}

// The module's manifest asks for version 6 of the common controls, and its context is active while the dialog
// lives, in a process that has no manifest. (Wine gives both versions from one library, so that the library
// of the class tells nothing there.)
TEST(Dialog, BringsItsOwnCommonControls) {
    std::mutex guard;
    std::string inDialog;
    HostOptions options;
    options.displayed = [&](const DisplayCall&) {
        const std::lock_guard<std::mutex> lock(guard);
        inDialog = AssemblyOfClass(TRACKBAR_CLASSA);
    };
    DialogRun run(GreenDocument(30, 20, 8, 2), options);
    const std::lock_guard<std::mutex> lock(guard);
    EXPECT_NE(inDialog.find("Microsoft.Windows.Common-Controls"), std::string::npos) << inDialog;
    EXPECT_NE(inDialog.find("version=\"6.0."), std::string::npos) << inDialog;
    EXPECT_EQ(AssemblyOfClass(TRACKBAR_CLASSA), "");
}

// ---- Controls ---------------------------------------------------------------------------------------------

TEST(Dialog, EverySliderSetsItsFieldAndKeysOnce) {
    DialogRun run(Plate());
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(run.CostsOf([&] { run.SetSlider(kSliderIds[i], 11 + 13 * i); }), kKeyed) << i;
    }
    for (int i = 0; i < 6; ++i) EXPECT_EQ(run.State().*kSliderFields[i], 11 + 13 * i) << i;
    // By hand: keys step and jump. Whatever the notification, each is keyed.
    const std::pair<int, int> keys[] = {{VK_END, 200}, {VK_LEFT, 199}, {VK_HOME, 0}};
    for (const auto& [key, position] : keys) {
        EXPECT_GE(run.CostsOf([&, key = key] { run.PressKeyOn(kIdRemoveGreen, key); }).keyings, 1);
        EXPECT_EQ(run.State().SliderRemoveGreen, position);
    }
}

TEST(Dialog, EveryCheckBoxTogglesItsField) {
    DialogRun run(Plate());
    const std::pair<int, std::uint8_t Globals::*> boxes[] = {{kIdRealityInteg, &Globals::FlagRealityInteg},
                                                             {kIdShowSelect, &Globals::FlagShowSelect},
                                                             {kIdOrgPhoto, &Globals::FlagOrgPhoto},
                                                             {kIdOutputAlpha, &Globals::FlagOutputAlpha},
                                                             {kIdBlueLogic, &Globals::FlagBlueLogic}};
    for (const auto& [id, field] : boxes) {
        const Costs expected = {0, 1, id == kIdBlueLogic};
        for (int click = 0; click < 2; ++click) {
            const int before = run.State().*field;
            EXPECT_EQ(run.CostsOf([&, id = id] { run.ClickButton(id); }), expected) << id;
            EXPECT_EQ(run.State().*field, 1 - before) << id;
            EXPECT_EQ(Send(run.Control(id), BM_GETCHECK), 1 - before) << id;
        }
    }
    // A box that disagrees with its field takes the field's state; and only a click counts.
    Send(run.Control(kIdShowSelect), BM_SETCHECK, BST_CHECKED);
    run.ClickButton(kIdShowSelect);
    EXPECT_EQ(run.State().FlagShowSelect, 1);
    EXPECT_EQ(Send(run.Control(kIdShowSelect), BM_GETCHECK), BST_CHECKED);
    Send(run.Window(), WM_COMMAND, MAKEWPARAM(kIdRealityInteg, BN_SETFOCUS),
         reinterpret_cast<LPARAM>(run.Control(kIdRealityInteg)));
    EXPECT_EQ(run.State().FlagRealityInteg, 1);
}

TEST(Dialog, EveryChangeRepaintsByItself) {
    DialogRun run(Plate());
    run.AwaitRepaintBy([&] { run.SetSlider(kIdScaleTransp, 90); });
    run.AwaitRepaintBy([&] { run.ClickButton(kIdShowSelect); });
    run.AwaitRepaintBy([&] { run.SetSlider(kIdZoom, 20); });
    run.AwaitRepaintBy([&] { run.MoveScrollBar(kIdScrollY, SB_LINEDOWN, 0); });
    run.AwaitRepaintBy([&] { run.ClickButton(kIdReset); });
    run.Cancel();
    run.TakeLeaks();  // of Reset
}

TEST(Dialog, ZoomAndScrollReadTheirPartOfTheDocument) {
    DialogRun run(Plate());
    const auto expectView = [&run](const std::string& view, const std::function<void()>& doing) {
        EXPECT_EQ(run.CostsOf(doing), kReloaded) << view;
        EXPECT_EQ(run.CountTrace("ReadScaledPixels", view), 7) << view;
    };
    expectView("source (0 0 80 160)", [&] { run.SetSlider(kIdZoom, 60); });
    expectView("source (0 240 80 400)", [&] { run.MoveScrollBar(kIdScrollX, SB_THUMBTRACK, 100); });
    expectView("source (30 240 110 400)", [&] { run.MoveScrollBar(kIdScrollY, SB_THUMBPOSITION, 25); });
    EXPECT_EQ(Send(run.Control(kIdScrollX), SBM_GETPOS), 100);
    EXPECT_EQ(Send(run.Control(kIdScrollY), SBM_GETPOS), 25);
    ExpectPreview(run, run.PaintedAfter([] {}));

    // Arrows and troughs are dead, and key all the same; so does a message from nobody.
    for (const int code : {SB_LINEDOWN, SB_LINEUP, SB_PAGEDOWN, SB_PAGEUP, SB_TOP, SB_BOTTOM, SB_ENDSCROLL}) {
        EXPECT_EQ(run.CostsOf([&] { run.MoveScrollBar(kIdScrollX, code, 0); }), kKeyed) << code;
    }
    EXPECT_EQ(run.CostsOf([&] { Send(run.Window(), WM_HSCROLL, SB_THUMBTRACK, 0); }), kKeyed);
    EXPECT_EQ(run.State().previewScrollX, 100);
    // At zoom 0 positions are kept, but the whole picture is in view.
    expectView("source (0 0 200 400)", [&] { run.SetSlider(kIdZoom, 0); });
}

// ---- Pixels -----------------------------------------------------------------------------------------------

TEST(Dialog, PaintsThePreviewInTheMiddleOfItsPlace) {
    for (const int depth : {8, 16}) {
        SCOPED_TRACE(depth);
        DialogRun run(GreenDocument(300, 200, depth, 2));
        const DisplayCall call = run.LastPainted();
        ExpectPreview(run, call);
        const RECT area = RectOf(run.Control(kIdPreview));
        POINT origin{};
        ClientToScreen(run.Window(), &origin);
        const auto cut = [](LONG value) { return static_cast<std::int16_t>(value); };
        Rect proxy = {cut(area.top - origin.y), cut(area.left - origin.x), cut(area.bottom - origin.y),
                      cut(area.right - origin.x)};
        Globals fitted{};
        float scale = 0;
        FitPreview(&fitted, {0, 0, 200, 300}, &proxy, &scale);
        const Rect at =
            PreviewDestination({area.top, area.left, area.bottom, area.right}, {origin.y, origin.x}, proxy);
        const VRect& source = call.sourceRect;
        EXPECT_TRUE(source.top == proxy.top && source.left == proxy.left && source.bottom == proxy.bottom &&
                    source.right == proxy.right);
        EXPECT_TRUE(call.row == at.top && call.column == at.left && call.context != nullptr);
        const HDC context = GetDC(run.Window());
        const std::uint32_t first = ComposeDisplay(call)[0];
        EXPECT_EQ(GetPixel(context, at.left, at.top), RGB(first >> 16, first >> 8 & 255, first & 255));
        EXPECT_EQ(GetPixel(context, at.left - kPreviewFrame, at.top), RGB(0, 0, 0)) << "the frame";
        ReleaseDC(run.Window(), context);

        // The mask hangs in the map with "Output Transparency Information" alone.
        const DisplayCall masked = run.PaintedAfter([&] { run.ClickButton(kIdOutputAlpha); });
        EXPECT_NE(masked.map.masks, nullptr);
        EXPECT_FALSE(masked.pixels == call.pixels);
        ExpectPreview(run, masked);
        EXPECT_EQ(run.PaintedAfter([&] { run.ClickButton(kIdOutputAlpha); }).map.masks, nullptr);
    }
}

// ---- Ways out ---------------------------------------------------------------------------------------------

TEST(Dialog, ResetBeginsAfresh) {
    DialogRun run(Plate());
    const DisplayCall first = run.LastPainted();
    const RECT place = RectOf(run.Window());
    run.SetSlider(kIdRemoveGreen, 150);
    run.ClickButton(kIdBlueLogic);
    run.SetSlider(kIdZoom, 70);
    run.MoveScrollBar(kIdScrollX, SB_THUMBTRACK, 40);
    SetWindowPos(run.Window(), nullptr, 3, 5, 0, 0, SWP_NOSIZE | SWP_NOZORDER);

    EXPECT_EQ(run.CostsOf([&] { run.ClickButton(kIdReset); }), (Costs{7, 2, 1}));
    EXPECT_EQ(Send(run.Control(kIdZoom), TBM_GETPOS), 70) << "the zoom's thumb stays";
    EXPECT_EQ(Send(run.Control(kIdRemoveGreen), TBM_GETPOS), 40);
    EXPECT_EQ(Send(run.Control(kIdBlueLogic), BM_GETCHECK), BST_UNCHECKED);
    EXPECT_EQ(Send(run.Control(kIdScrollX), SBM_GETPOS), 0);
    const RECT now = RectOf(run.Window());
    EXPECT_TRUE(EqualRect(&now, &place)) << "the dialog jumps back";
    EXPECT_TRUE(run.PaintedAfter([] {}).pixels == first.pixels);
    EXPECT_EQ(run.Ok().result, noErr);
    // The planes and preview buffers of before are given up, and nothing else is.
    EXPECT_EQ(run.TakeLeaks(), 14);
}

TEST(Dialog, CancelLeavesEverythingAsItWas) {
    const Document plate = Plate();
    for (const bool byEscape : {false, true}) {
        SCOPED_TRACE(byEscape);
        DialogRun run(plate);
        auto& parameters = *reinterpret_cast<PluginParameters*>(*ParametersHandle(run.TheHost()));
        parameters = {7, 7, 9, 9, 1, {}};
        run.SetSlider(kIdRemoveGreen, 150);
        const RunResult result =
            byEscape
                ? run.EndWith([&] { PostMessageA(run.Control(kIdRemoveGreen), WM_KEYDOWN, VK_ESCAPE, 1); })
                : run.Cancel();
        EXPECT_EQ(result.result, userCanceledErr);
        EXPECT_EQ(result.lastSelector, filterSelectorStart);
        const auto& kept = *reinterpret_cast<PluginParameters*>(*ParametersHandle(run.TheHost()));
        EXPECT_TRUE(kept.firstVersion == 0 && kept.secondVersion == 0 && kept.thirdWord == 4 &&
                    kept.firstFlag == 0 && kept.showDialog == 0);
        EXPECT_TRUE(run.TheDocument().layers[1].colour[1].bytes == plate.layers[1].colour[1].bytes);
    }
}

// What the dialog has set, the descriptor carries: a replay of it without the dialog gives the same picture.
TEST(Dialog, OkRendersWhatTheControlsSay) {
    const Document plate = GreenDocument(300, 200, 16, 2);
    for (const bool byEnter : {false, true}) {
        SCOPED_TRACE(byEnter);
        Document replayed = plate, rendered;
        Descriptor recorded;
        {
            DialogRun run(plate);
            run.SetSlider(kIdRemoveGreen, 90);
            run.ClickButton(kIdRealityInteg);
            run.SetSlider(kIdZoom, 50);  // plays no part in the render
            const RunResult result =
                byEnter ? run.EndWith([&] { PostMessageA(run.Control(kIdZoom), WM_KEYDOWN, VK_RETURN, 1); })
                        : run.Ok();
            EXPECT_EQ(result.lastSelector, filterSelectorFinish);
            rendered = run.TheDocument();
            recorded = KeptDescriptor(run.TheHost()).value_or(Descriptor{});
        }
        ASSERT_EQ(recorded.size(), 11u);
        EXPECT_EQ(recorded[0], (DescriptorItem{FourCC("RGre"), kTypeInteger, 90}));
        EXPECT_EQ(RunStrictly(replayed, {}, recorded).result, noErr);
        for (std::size_t c = 0; c < 3; ++c) {
            EXPECT_TRUE(rendered.layers[1].colour[c].bytes == replayed.layers[1].colour[c].bytes);
            EXPECT_FALSE(rendered.layers[1].colour[c].bytes == plate.layers[1].colour[c].bytes);
        }
    }
}

}  // namespace

// The dialog and the About box in real windows: templates, actions and pixels, driven through the
// built module.
#include <windows.h>

#include <commctrl.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "host/painting.h"
#include "rig/dialog_driver.h"
#include "tests/dialog_session.h"
#include "tests/shell_rig.h"
#include "ui/dialog_ids.h"
#include "ui/preview_geometry.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

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

// ---- Templates --------------------------------------------------------------------------------------------

// A window and its controls in the units of the template. Users and their notes know places and labels.
std::string DescribeWindow(HWND window) {
    RECT thousand = {0, 0, 4000, 8000};
    MapDialogRect(window, &thousand);
    std::ostringstream text;
    const auto describe = [&](HWND control, const RECT& at) {
        char kind[64] = {};
        GetClassNameA(control, kind, sizeof kind);
        LONG style = GetWindowLongA(control, GWL_STYLE);
        if (std::string(kind) == "Button") style &= ~BS_DEFPUSHBUTTON;  // follows the focus
        text << static_cast<std::int16_t>(GetDlgCtrlID(control)) << ' ' << kind << ' ' << std::hex << style
             << std::dec;
        for (const LONG x : {at.left, at.right - at.left}) text << ' ' << MulDiv(x, 4000, thousand.right);
        for (const LONG y : {at.top, at.bottom - at.top}) text << ' ' << MulDiv(y, 8000, thousand.bottom);
        text << " \"" << TextOf(control) << "\"\n";
    };
    RECT client{};
    GetClientRect(window, &client);
    describe(window, client);
    for (HWND child = GetWindow(window, GW_CHILD); child != nullptr; child = GetWindow(child, GW_HWNDNEXT)) {
        RECT at = RectOf(child);
        MapWindowPoints(nullptr, window, reinterpret_cast<POINT*>(&at), 2);
        describe(child, at);
    }
    return text.str();
}

TEST(Dialog, OpensOverTheHostWithEveryControlInItsPlace) {
    DialogRun run(Plate());
    EXPECT_TRUE(MatchesTrace(DescribeWindow(run.Window()), "dialog_controls"));
    EXPECT_EQ(Send(run.Control(kIdRemoveGreen), TBM_GETRANGEMIN), 0);
    for (const int id : {kIdRemoveGreen, kIdRestoreBlack, kIdAlterGreen, kIdSelectTransp, kIdScaleTransp,
                         kIdAdjBGLevel, kIdZoom}) {
        EXPECT_EQ(Send(run.Control(id), TBM_GETRANGEMAX), id == kIdZoom ? 100 : 200) << id;
    }
    for (const int id : {kIdScrollX, kIdScrollY}) {
        int low = -1, high = -1;
        GetScrollRange(run.Control(id), SB_CTL, &low, &high);
        EXPECT_TRUE(low == 0 && high == 100) << id;
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

// ---- Actions ----------------------------------------------------------------------------------------------

// Every control, what it costs, and the render that OK starts.
TEST(Dialog, DoesForEachActionWhatItAsksFor) {
    DialogSession session(GreenDocument(60, 40, 8, 2));
    DialogRun& run = session.run;
    const RECT place = RectOf(run.Window());
    const Bytes opening = run.LastPainted().pixels;
    for (const int id :
         {kIdRemoveGreen, kIdRestoreBlack, kIdAlterGreen, kIdSelectTransp, kIdScaleTransp, kIdAdjBGLevel}) {
        session.Step("slider " + std::to_string(id), [&] { run.SetSlider(id, id - 900); });
    }
    for (const int key : {VK_END, VK_LEFT, VK_HOME}) {
        session.Step("key " + std::to_string(key), [&] { run.PressKeyOn(kIdRemoveGreen, key); });
    }
    for (const int id : {kIdRealityInteg, kIdShowSelect, kIdOutputAlpha, kIdBlueLogic, kIdOrgPhoto}) {
        for (const char* click : {" on or off", " and back"}) {
            session.Step("box " + std::to_string(id) + click, [&] { run.ClickButton(id); });
        }
    }
    session.Step("a box that disagrees with its field takes the field's state", [&] {
        Send(run.Control(kIdShowSelect), BM_SETCHECK, BST_CHECKED);
        run.ClickButton(kIdShowSelect);
    });
    session.Step("a notification that is no click",
                 [&] { Send(run.Window(), WM_COMMAND, MAKEWPARAM(kIdRealityInteg, BN_SETFOCUS)); });
    session.Step("blue", [&] { run.ClickButton(kIdBlueLogic); });
    session.Step("zoom", [&] { run.SetSlider(kIdZoom, 60); });
    session.Step("scroll across", [&] { run.MoveScrollBar(kIdScrollX, SB_THUMBTRACK, 100); });
    session.Step("scroll down", [&] { run.MoveScrollBar(kIdScrollY, SB_THUMBPOSITION, 25); });
    ExpectPreview(run, run.PaintedAfter([] {}));
    for (const int code : {SB_LINEDOWN, SB_LINEUP, SB_PAGEDOWN, SB_PAGEUP, SB_TOP, SB_BOTTOM, SB_ENDSCROLL}) {
        session.Step("dead part of a scroll bar " + std::to_string(code),
                     [&] { run.MoveScrollBar(kIdScrollX, code, 7); });
    }
    session.Step("a message from nobody", [&] { Send(run.Window(), WM_HSCROLL, SB_THUMBTRACK, 0); });
    SetWindowPos(run.Window(), nullptr, 3, 5, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    session.Step("reset", [&] { run.ClickButton(kIdReset); });
    const RECT now = RectOf(run.Window());
    EXPECT_TRUE(EqualRect(&now, &place)) << "the dialog jumps back";
    EXPECT_TRUE(run.PaintedAfter([] {}).pixels == opening);
    session.Step("zoom after reset", [&] { run.SetSlider(kIdZoom, 30); });
    session.Step("slider before OK", [&] { run.SetSlider(kIdRemoveGreen, 90); });
    session.Step("box before OK", [&] { run.ClickButton(kIdRealityInteg); });
    session.End("Enter", [&] { PostMessageA(run.Control(kIdZoom), WM_KEYDOWN, VK_RETURN, 1); });
    EXPECT_TRUE(MatchesTrace(session.Text(), "dialog_session"));
    // The planes and preview buffers of before Reset are given up, and nothing else is.
    EXPECT_EQ(run.TakeLeaks(), 14);
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

// ---- The About box ----------------------------------------------------------------------------------------

// Shows the box from a thread of its own, like a host with a main window.
class About {
  public:
    explicit About(HostOptions options = {})
        : module_(OpenBuiltModule()), host_(CreateHost(std::move(options))) {
        thread_ = std::thread([this] {
            const HWND owner = CreateWindowExA(0, "STATIC", "Host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 120, 90,
                                               700, 500, nullptr, nullptr, nullptr, nullptr);
            OptionsOf(*host_).mainWindow = owner;
            ShowAbout(*host_, module_->pluginMain);
            DestroyWindow(owner);
            over_ = true;
        });
        WaitFor("the box", [this] { return (window_ = FindShown("")) != nullptr; });
    }
    ~About() {
        WaitFor("the box's end", [this] { return over_.load(); });
        thread_.join();
        CloseHost(*host_);
        EXPECT_EQ("", ViolationText(*host_));
    }
    HWND Window() const { return window_; }
    Host& TheHost() { return *host_; }

  private:
    ModulePtr module_;
    HostPtr host_;
    HWND window_ = nullptr;
    std::atomic<bool> over_ = false;
    std::thread thread_;
};

// A line that does not fit wraps, and the last one is then cut off. On each screen a tenth is left over.
TEST(AboutBox, HasSpaceForItsLines) {
    About about;
    const HWND control = GetDlgItem(about.Window(), kIdAboutText);
    const std::string text = TextOf(control);
    const HDC context = GetDC(control);
    for (const int dpi : {96, 120, 144, 192}) {
        SCOPED_TRACE(dpi);
        const HFONT font = CreateFontA(-MulDiv(8, dpi, 72), 0, 0, 0, FW_NORMAL, 0, 0, 0, DEFAULT_CHARSET, 0,
                                       0, 0, 0, "MS Sans Serif");
        const HGDIOBJ before = SelectObject(context, font);
        // The units of a template follow from the mean width of the letters and the height.
        SIZE letters{};
        GetTextExtentPoint32A(context, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", 52, &letters);
        const LONG width = MulDiv((letters.cx / 26 + 1) / 2, 148, 4), height = MulDiv(letters.cy, 83, 8);
        std::istringstream lines(text);
        LONG bottom = 0;
        for (std::string line; std::getline(lines, line); bottom += letters.cy) {
            SIZE size{};
            GetTextExtentPoint32A(context, line.c_str(), static_cast<int>(line.size()), &size);
            EXPECT_LE(size.cx * 11, width * 10) << line;
        }
        EXPECT_LE(bottom, height);
        DeleteObject(SelectObject(context, before));
    }
    ReleaseDC(control, context);
    PostMessageA(about.Window(), WM_LBUTTONDOWN, 0, MAKELPARAM(9, 9));
}

TEST(AboutBox, TellsOfTheModuleAndOpensItsPage) {
    About about;
    std::string window = DescribeWindow(about.Window());
    const std::size_t version = window.find("Release ") + 8;
    window.replace(version, window.find(',', version) - version, "(version)");
    EXPECT_TRUE(MatchesTrace(window, "about_controls"));
    for (const int id : {4, 5}) Send(GetDlgItem(about.Window(), id), BM_CLICK);
    EXPECT_EQ(ReportOf(about.TheHost()).urls.size(), 2u);
    EXPECT_EQ(ReportOf(about.TheHost()).urls.front().find("https://"), 0u);
    Send(about.Window(), WM_CHAR, 'x');
    EXPECT_TRUE(IsWindow(about.Window()));
    PostMessageA(about.Window(), WM_LBUTTONDOWN, 0, MAKELPARAM(9, 9));
    WaitFor("the box's end", [&] { return !IsWindow(about.Window()); });
    EXPECT_EQ(DataWord(about.TheHost()), 0);
}

TEST(AboutBox, ClosesByKeysAndStaysWithoutItsSuite) {
    for (const WPARAM key : {VK_ESCAPE, VK_RETURN}) {
        HostOptions options;
        options.missingSuites = {kPSGetFileListSuite};
        About about(options);
        Send(GetDlgItem(about.Window(), 4), BM_CLICK);
        EXPECT_TRUE(IsWindow(about.Window()));
        EXPECT_TRUE(ReportOf(about.TheHost()).urls.empty());
        PostMessageA(about.Window(), WM_CHAR, key, 0);
        WaitFor("the box's end", [&] { return !IsWindow(about.Window()); });
    }
}

}  // namespace

// The dialog and the About box of the built module in real windows: templates, actions and pixels.
#include <windows.h>

#include <commctrl.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "host/painting.h"
#include "tests/support/dialog_driver.h"
#include "tests/support/test_shell.h"
#include "tests/ui/dialog_session.h"
#include "ui/dialog_ids.h"
#include "ui/preview_geometry.h"

namespace {

using namespace test_support;

// ---- Templates --------------------------------------------------------------------------------------------

// A window and its controls in the units of the template. Positions and labels must not change.
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
        int low = 0, high = 0;
        if (std::string(kind) == "ScrollBar") {
            GetScrollRange(control, SB_CTL, &low, &high);
        } else if (std::string(kind) == TRACKBAR_CLASSA) {
            low = static_cast<int>(Send(control, TBM_GETRANGEMIN));
            high = static_cast<int>(Send(control, TBM_GETRANGEMAX));
        }
        if (high != 0) text << " from " << low << " to " << high;
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

void ExpectOverItsOwner(DialogRun& run) {
    RECT client{};
    GetClientRect(run.MainWindow(), &client);
    MapWindowPoints(run.MainWindow(), nullptr, reinterpret_cast<POINT*>(&client), 2);
    const RECT at = RectOf(run.Window());
    const VPoint expected = DialogPosition({client.top, client.left, client.bottom, client.right},
                                           {at.right - at.left, at.bottom - at.top},
                                           {GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)},
                                           DialogLeftShift(GetSystemMetrics(SM_CXSIZE), false));
    EXPECT_TRUE(at.left == expected.h && at.top == expected.v) << at.left << ' ' << at.top;
    EXPECT_FALSE(IsWindowEnabled(run.MainWindow())) << "the dialog is modal";
}

TEST(Dialog, OpensOverTheHostWithAllControls) {
    DialogRun run(GreenDocument(400, 200, 8, 2));
    EXPECT_TRUE(MatchesTrace(DescribeWindow(run.Window()), "ui/dialog_template"));
    ExpectOverItsOwner(run);
}

// Whether an active manifest redirects the class of trackbars.
bool IsTrackbarRedirected() {
    ACTCTX_SECTION_KEYED_DATA found{};
    found.cbSize = sizeof found;
    return FindActCtxSectionStringA(0, nullptr, ACTIVATION_CONTEXT_SECTION_WINDOW_CLASS_REDIRECTION,
                                    TRACKBAR_CLASSA, &found) != FALSE;
}

// The module's manifest asks for version 6 of the common controls, and its context is active while the dialog
// is open, in a process without a manifest. (Wine has all versions in one library, so the library of the
// class shows nothing there.)
TEST(Dialog, UsesVersion6OfTheCommonControls) {
    std::atomic<bool> inDialog = false;
    HostOptions options;
    options.displayed = [&](const DisplayCall&) { inDialog = IsTrackbarRedirected(); };
    DialogRun run(GreenDocument(30, 20, 8, 2), options);
    EXPECT_TRUE(inDialog);
    EXPECT_FALSE(IsTrackbarRedirected());
}

TEST(Dialog, CentresThePreviewInItsPlaceholder) {
    std::vector<DisplayCall> beforeShown;
    HostOptions options;
    options.displayed = [&](const DisplayCall& call) {
        if (!FindShown("MarbleFrondKeeperPlugin")) beforeShown.push_back(call);
    };
    DialogRun run(GreenDocument(300, 200, 8, 2), options);
    const DisplayCall call = run.LastPainted();
    EXPECT_TRUE(beforeShown.size() == 1 && beforeShown[0].pixels == call.pixels)
        << "the preview was not painted once before the dialog was shown";
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
    // The area beside the picture is cleared, except the strip at its right.
    const POINT strip = {area.right - origin.x - 1, area.top - origin.y};
    SetPixel(context, at.left, at.top - kPreviewFrame - 1, RGB(255, 0, 0));
    SetPixel(context, strip.x, strip.y, RGB(255, 0, 0));
    run.AwaitRepaintBy([&] { run.SetSlider(kIdZoom, 10); });
    EXPECT_EQ(GetPixel(context, at.left, at.top - kPreviewFrame - 1), GetSysColor(COLOR_BTNFACE));
    EXPECT_EQ(GetPixel(context, strip.x, strip.y), RGB(255, 0, 0));
    ReleaseDC(run.Window(), context);
}

// ---- The About box ----------------------------------------------------------------------------------------

// A line that does not fit wraps, and the last line is then cut off. A tenth of the width must stay free.
TEST(AboutBox, FitsItsTextAtCommonResolutions) {
    DialogRun about{HostOptions{}};
    const std::string text = TextOf(about.Control(kIdAboutText));
    const HDC context = CreateCompatibleDC(nullptr);
    for (const int dpi : {96, 120, 144, 192}) {
        SelectObject(context, CreateFontA(-MulDiv(8, dpi, 72), 0, 0, 0, FW_NORMAL, 0, 0, 0, DEFAULT_CHARSET,
                                          0, 0, 0, 0, "MS Sans Serif"));
        RECT lines{}, letters{};
        DrawTextA(context, text.c_str(), -1, &lines, DT_CALCRECT);
        DrawTextA(context, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", -1, &letters, DT_CALCRECT);
        // The units of a template are a quarter of the letters' mean width and an eighth of their height.
        EXPECT_LE(lines.right * 11, MulDiv((letters.right / 26 + 1) / 2, 148, 4) * 10) << dpi;
        EXPECT_LE(lines.bottom, MulDiv(letters.bottom, 83, 8)) << dpi;
        DeleteObject(SelectObject(context, GetStockObject(SYSTEM_FONT)));
    }
    DeleteDC(context);
}

TEST(AboutBox, ShowsTheModuleAndOpensItsPage) {
    DialogRun about{HostOptions{}};
    ExpectOverItsOwner(about);
    std::string window = DescribeWindow(about.Window());
    const std::size_t version = window.find("Release ") + 8;
    window.replace(version, window.find(',', version) - version, "(version)");
    EXPECT_TRUE(MatchesTrace(window, "ui/about_controls"));
    for (const int id : {4, 5}) about.ClickButton(id);
    EXPECT_EQ(ReportOf(about.TheHost()).urls.size(), 2u);
    EXPECT_EQ(ReportOf(about.TheHost()).urls.front().find("https://"), 0u);
    Send(about.Window(), WM_CHAR, 'x');
    EXPECT_TRUE(IsWindowVisible(about.Window())) << "a letter closed the box";
    about.EndWith([&] { PostMessageA(about.Window(), WM_LBUTTONDOWN, 0, MAKELPARAM(9, 9)); });
    EXPECT_EQ(DataWord(about.TheHost()), 0);
}

// Sends and posts the message: Wine swallows an exception in the handler of a sent one.
TEST(AboutBox, ClosesByKeysAndButtonsEvenWithoutItsSuite) {
    const std::pair<UINT, WPARAM> kCloses[] = {
        {WM_CHAR, VK_ESCAPE}, {WM_CHAR, VK_RETURN}, {WM_COMMAND, kIdOk}, {WM_COMMAND, kIdCancel}};
    for (const auto& [message, parameter] : kCloses) {
        HostOptions options;
        options.missingSuites = {kPSGetFileListSuite};
        DialogRun about(options);
        about.ClickButton(4);
        EXPECT_TRUE(IsWindowVisible(about.Window()) && ReportOf(about.TheHost()).urls.empty());
        PostMessageA(about.Window(), WM_COMMAND, 4, 0);
        about.EndWith([&] { PostMessageA(about.Window(), message, parameter, 0); });
    }
}

// ---- Sessions ---------------------------------------------------------------------------------------------

class DialogSessions : public testing::TestWithParam<const char*> {};

TEST_P(DialogSessions, FollowTheirTrace) {
    EXPECT_TRUE(FollowSessions(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(, DialogSessions,
                         testing::Values("controls", "drag", "endings", "odd_bounds", "painting",
                                         "reentrance", "render_16_bit", "repaints", "without_layers",
                                         "without_memory", "without_services"),
                         [](const auto& session) { return session.param; });

// Each call of a run fails once: the dialog is opened, zoomed and confirmed, then the document is rendered.
// The trace has the failing call and the end of the run, one line for equal neighbours.
TEST(Dialog, EveryFailingCallGivesItsResultCode) {
    const std::string kFails = "the next call fails\n";
    std::string text, last;
    for (auto kind = HostCall::kNewHandle; kind <= HostCall::kDisplayPixels;
         kind = HostCall(static_cast<int>(kind) + 1)) {
        std::string trace = kFails;
        for (int call = 1; trace.find(kFails) != trace.npos; ++call) {
            Trace calls;
            DialogSession session(&calls, {""}, GreenDocument(60, 40, 8, 2), FailingAt(kind, call));
            if (session.run.Window() != nullptr) {
                session.Step({"slider zoom 30"});
                session.Step({"end click ok"});
            }
            trace = calls.text;
            std::size_t at = trace.find(kFails);
            if (at == trace.npos) continue;
            at += kFails.size();
            const std::string line = trace.substr(at, trace.find('\n', at) + 1 - at) + "    " +
                                     trace.substr(trace.rfind("run -> "));
            if (line != last) text += line;
            last = line;
        }
    }
    EXPECT_TRUE(MatchesTrace(text, "ui/failing_calls_in_dialog"));
}

}  // namespace

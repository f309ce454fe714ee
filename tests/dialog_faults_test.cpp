// The dialog and the About box where something is missing: layers, memory, services, a window, sane bounds.
#include <gtest/gtest.h>

#include <cstdio>

#include "rig/dialog_driver.h"
#include "tests/host_faults.h"
#include "tests/shell_rig.h"
#include "ui/dialog_ids.h"

namespace {

void CloseMessage(const char* caption, const char* text) {
    const HWND box = WaitForWindow(caption);
    EXPECT_EQ(TextOf(GetDlgItem(box, 0xFFFF)), text);
    EXPECT_EQ(GetWindow(box, GW_OWNER), nullptr);
    PostMessageA(box, WM_COMMAND, IDOK, 0);
    WaitFor("the message's end", [&] { return !IsWindow(box); });
}

TEST(DialogFaults, ADocumentWithoutLayersIsSpokenOfAtEachLoad) {
    Document flat = MakeDocument(60, 40, 8);
    flat.flat = MakeLayer(flat, "flat", 77);
    flat.targetLayer = kTargetFlat;
    constexpr char kText[] =
        "To use this plugin you need two layers. The bottom layer is the background with the green image as "
        "the "
        "top layer";
    DialogRun run(std::move(flat), {}, true, "Problem");
    CloseMessage("Problem", kText);
    run.AwaitDialog();
    EXPECT_TRUE(IsWindowEnabled(run.Window()));
    // A message that comes while the test waits for the control's answer needs another way in.
    PostMessageA(run.Window(), WM_HSCROLL, SB_THUMBTRACK, reinterpret_cast<LPARAM>(run.Control(kIdZoom)));
    WaitForWindow("Problem");
    EXPECT_FALSE(IsWindowEnabled(run.Window())) << "nothing behind the message can be used";
    CloseMessage("Problem", kText);
    EXPECT_EQ(run.Cancel().result, userCanceledErr);
}

TEST(DialogFaults, WantOfMemoryLeavesTheDialogOpen) {
    // The engine's rows: the preview keeps its picture, and the code is reported in the end.
    DialogRun run(GreenDocument(60, 40, 8, 2));
    const DisplayCall before = run.LastPainted();
    HostOptions& options = OptionsOf(run.TheHost());
    options.failKindEnabled = true;
    options.failKind = HostCall::kAllocateBlock;
    EXPECT_TRUE(run.PaintedAfter([&] { run.ClickButton(kIdOrgPhoto); }).pixels == before.pixels);
    options.failKindEnabled = false;
    EXPECT_FALSE(run.PaintedAfter([&] { run.ClickButton(kIdRealityInteg); }).pixels == before.pixels);
    // Its planes, at a reload.
    options.failKindEnabled = true;
    options.failKind = HostCall::kNewBuffer;
    run.SetSlider(kIdZoom, 30);
    EXPECT_EQ(run.CostsOf([&] { run.SetSlider(kIdRemoveGreen, 3); }), Costs{}) << "nothing to key";
    options.failKindEnabled = false;
    EXPECT_EQ(run.CostsOf([&] { run.SetSlider(kIdRemoveGreen, 4); }).keyings, 1);
    EXPECT_EQ(run.Ok().result, memFullErr);
}

// Closes what messages come while it lives.
class MessageCloser {
  public:
    MessageCloser() : thread_([this] { Close(); }) {}
    ~MessageCloser() {
        over_ = true;
        thread_.join();
    }
    MessageCloser(const MessageCloser&) = delete;
    MessageCloser& operator=(const MessageCloser&) = delete;

  private:
    void Close() {
        for (; !over_; Sleep(10)) {
            for (const char* caption : {"Cannot Read Data", "Error Reading Scaled Data"}) {
                if (const HWND box = FindShown(caption)) PostMessageA(box, WM_COMMAND, IDOK, 0);
            }
        }
    }

    std::atomic<bool> over_ = false;
    std::thread thread_;
};

// A dialog that is opened, zoomed and confirmed, and the render behind it.
TEST(DialogFaults, EveryFailingCallOfARunEndsInItsCode) {
    const MessageCloser closer;
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

TEST(DialogFaults, AFailingReadIsSpokenOfAndShowsBlack) {
    DialogRun run(GreenDocument(60, 40, 8, 2), FailingAt(HostCall::kReadScaledPixels, 1), true,
                  "Error Reading Scaled Data");
    CloseMessage("Error Reading Scaled Data", "Error");
    run.AwaitDialog();
    EXPECT_EQ(run.State().topR[0], 0);
    EXPECT_NE(run.State().topG[0], 0);
    EXPECT_EQ(run.Ok().result, noErr) << "the render reads for itself";
}

TEST(DialogFaults, RunsWithoutDisplayPixelsAndWithoutAMainWindow) {
    HostOptions options;
    options.offersDisplayPixels = false;
    DialogRun run(GreenDocument(60, 40, 8, 2), options, false);
    EXPECT_EQ(GetWindow(run.Window(), GW_OWNER), nullptr);
    EXPECT_EQ(run.CostsOf([&] { run.SetSlider(kIdRemoveGreen, 3); }).keyings, 1);
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
        window_ = WaitForWindow("");
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

TEST(AboutBox, TellsOfTheModuleAndOpensItsPage) {
    About about;
    const std::string text = TextOf(GetDlgItem(about.Window(), 3));
    EXPECT_EQ(text.find("Marble Frond Keeper\n Twin Plate Rig\n\nVersion 3.0\n"), 0u) << text;
    const std::string end = "\n\n\nA Marble Frond Removal System";
    EXPECT_EQ(text.rfind(end), text.size() - end.size()) << text;
    EXPECT_EQ(TextOf(GetDlgItem(about.Window(), 5)), "MarbleFrondKeeper");
    for (const int id : {1, 2}) {
        EXPECT_FALSE(IsWindowVisible(GetDlgItem(about.Window(), id)));
        EXPECT_FALSE(IsWindowEnabled(GetDlgItem(about.Window(), id)));
    }
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

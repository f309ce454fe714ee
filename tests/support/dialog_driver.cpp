#include "tests/support/dialog_driver.h"

#include <commctrl.h>

#include <cstdio>
#include <cstring>
#include <utility>

#include "ui/dialog_ids.h"

namespace test_support {

namespace {

// Only a hang takes so long, on any machine. It is less than the hour after which ctest ends a test, so that
// the message names what hangs.
constexpr DWORD kTimeoutMs = 50 * 60'000;
constexpr char kDialogTitle[] = "MarbleFrondKeeperPlugin";

DialogRun* gRun = nullptr;  // there is one host at a time

[[noreturn]] void Fatal(const char* fault, const char* what) {
    std::fprintf(stderr, "%s: %s\n", fault, what);
    std::fflush(stderr);
    TerminateProcess(GetCurrentProcess(), 70);
    std::abort();
}

bool IsDialogBox(HWND window) {
    char kind[16] = {};
    GetClassNameA(window, kind, sizeof kind);
    return std::strcmp(kind, "#32770") == 0;
}

}  // namespace

void WaitFor(const char* what, const std::function<bool()>& condition) {
    const DWORD begin = GetTickCount();
    while (!condition()) {
        if (GetTickCount() - begin > kTimeoutMs) Fatal("The module hangs. Timeout while waiting for", what);
        Sleep(5);
    }
}

HWND FindShown(const char* title) {
    for (HWND box = nullptr; (box = FindWindowExA(nullptr, box, "#32770", nullptr)) != nullptr;) {
        DWORD process = 0;
        GetWindowThreadProcessId(box, &process);
        const bool isOurs = process == GetCurrentProcessId() && IsWindowVisible(box);
        if (isOurs && TextOf(box) == title) return box;
    }
    return nullptr;
}

LRESULT Send(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    DWORD_PTR answer = 0;
    if (SendMessageTimeoutA(window, message, wParam, lParam, SMTO_NORMAL, kTimeoutMs, &answer) == 0 &&
        IsWindow(window)) {
        Fatal("The module hangs. Timeout while waiting for", "an answer to a message");
    }
    return static_cast<LRESULT>(answer);
}

std::string TextOf(HWND window) {
    char text[512] = {};
    Send(window, WM_GETTEXT, sizeof text, reinterpret_cast<LPARAM>(text));
    return text;
}

RECT RectOf(HWND window) {
    RECT rect{};
    GetWindowRect(window, &rect);
    return rect;
}

ModulePtr OpenBuiltModule() {
    std::string error;
    ModulePtr module = OpenModule("MarbleFrondKeeper.8bf", &error);
    if (module == nullptr) Fatal("No module", error.c_str());
    return module;
}

DialogRun::DialogRun(Document document, HostOptions options, bool ownsMainWindow, BoxAction onBox)
    : title_(kDialogTitle),
      document_(std::move(document)),
      module_(OpenBuiltModule()),
      ownsMainWindow_(ownsMainWindow),
      onBox_(std::move(onBox)) {
    Start(std::move(options));
    if (window_ != nullptr) PaintedAfter([] {});
}

DialogRun::DialogRun(HostOptions options) : title_(""), module_(OpenBuiltModule()), ownsMainWindow_(true) {
    Start(std::move(options));
}

void DialogRun::Start(HostOptions options) {
    options.playInfo = plugInDialogDisplay;
    options.keepDisplays = false;
    options.displayed = [this, listener = options.displayed](const DisplayCall& call) {
        if (listener) listener(call);
        const std::lock_guard<std::mutex> lock(guard_);
        painted_ = call;
        ++paintings_;
    };
    host_ = CreateHost(std::move(options));
    gRun = this;
    thread_ = std::thread([this] { Run(); });
    HWND shown = nullptr;
    WaitFor("the dialog", [&] { return over_ || (shown = FindShown(title_)) != nullptr; });
    window_ = shown;
}

DialogRun::~DialogRun() {
    if (!over_ && window_ != nullptr) PostMessageA(window_, WM_COMMAND, kIdCancel, 0);
    WaitFor("the run's end", [this] { return over_.load(); });
    thread_.join();
    CloseHost(*host_);
    const std::string violations = ViolationText(*host_);
    if (!violations.empty()) Fatal("The host found", violations.c_str());
}

// The owner of a modal dialog must belong to the thread of the dialog.
void DialogRun::Run() {
    if (ownsMainWindow_) {
        mainWindow_ = CreateWindowExA(0, "STATIC", "Host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 120, 90, 1000,
                                      800, nullptr, nullptr, nullptr, nullptr);
        OptionsOf(*host_).mainWindow = mainWindow_;
    }
    const HHOOK hook = SetWindowsHookExA(WH_CBT, OnActivation, nullptr, GetCurrentThreadId());
    if (title_ != kDialogTitle) ShowAbout(*host_, module_->pluginMain);
    if (title_ == kDialogTitle)
        result_ = RunFilter(*host_, module_->pluginMain, document_, AskForParameters::kYes);
    UnhookWindowsHookEx(hook);
    if (ownsMainWindow_) DestroyWindow(mainWindow_);
    over_ = true;
}

// Every dialog box other than the dialog is a message box. It can be activated several times.
LRESULT CALLBACK DialogRun::OnActivation(int code, WPARAM parameter, LPARAM details) {
    const auto box = reinterpret_cast<HWND>(parameter);
    if (code == HCBT_ACTIVATE && IsDialogBox(box) && TextOf(box) != gRun->title_ &&
        GetPropA(box, "seen") == nullptr) {
        SetPropA(box, "seen", box);
        if (gRun->window_ == nullptr) gRun->window_ = FindWindowA(nullptr, gRun->title_);  // not shown yet
        if (gRun->onBox_) gRun->onBox_(box);
        PostMessageA(box, WM_COMMAND, IDOK, 0);
    }
    return CallNextHookEx(nullptr, code, parameter, details);
}

Globals& DialogRun::State() {
    return *reinterpret_cast<Globals*>(*reinterpret_cast<Handle>(DataWord(*host_)));
}

void DialogRun::SetSlider(int id, int position) {
    Send(Control(id), TBM_SETPOS, TRUE, position);
    Send(window_, WM_HSCROLL, MAKEWPARAM(TB_THUMBTRACK, position), reinterpret_cast<LPARAM>(Control(id)));
}

void DialogRun::PressKeyOn(int id, int key) {
    Send(Control(id), WM_KEYDOWN, static_cast<WPARAM>(key), 1);
    Send(Control(id), WM_KEYUP, static_cast<WPARAM>(key), 1);
}

void DialogRun::MoveScrollBar(int id, int code, int position) {
    const UINT message = id == kIdScrollY ? WM_VSCROLL : WM_HSCROLL;
    Send(window_, message, MAKEWPARAM(code, position), reinterpret_cast<LPARAM>(Control(id)));
}

// Posted messages keep their order. The button is hidden, and its state has no effect.
void DialogRun::Settle() {
    const HWND button = Control(kIdHelp);
    PostMessageA(button, BM_SETSTATE, TRUE, 0);
    WaitFor("the dialog to become idle", [button] { return (Send(button, BM_GETSTATE) & BST_PUSHED) != 0; });
    Send(button, BM_SETSTATE, FALSE);
}

DisplayCall DialogRun::PaintedAfter(const std::function<void()>& action) {
    action();
    InvalidateRect(window_, nullptr, FALSE);
    Send(window_, WM_PAINT);
    return LastPainted();
}

void DialogRun::AwaitRepaintBy(const std::function<void()>& action) {
    WaitFor("the dialog to become idle", [this] { return !GetUpdateRect(window_, nullptr, FALSE); });
    Send(window_, WM_NULL);  // a painting that has begun is over
    const int before = paintings_;
    action();
    WaitFor("the repaint after a change", [&] { return paintings_ > before; });
}

DisplayCall DialogRun::LastPainted() {
    const std::lock_guard<std::mutex> lock(guard_);
    return painted_;
}

RunResult DialogRun::EndWith(const std::function<void()>& action) {
    action();
    WaitFor("the run's end", [this] { return over_.load(); });
    return result_;
}

RunResult DialogRun::Click(int button) {
    return EndWith([this, button] { PostMessageA(Control(button), BM_CLICK, 0, 0); });
}

RunResult DialogRun::Replay(Document document) {
    OptionsOf(*host_).playInfo = plugInDialogDontDisplay;
    return RunFilter(*host_, module_->pluginMain, document, AskForParameters::kNo);
}

}  // namespace test_support

#include "rig/dialog_driver.h"

#include <commctrl.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "ui/dialog_ids.h"

namespace {

constexpr DWORD kPatience = 60'000;  // milliseconds

[[noreturn]] void GiveUp(const char* fault, const char* what) {
    std::fprintf(stderr, "%s: %s\n", fault, what);
    std::fflush(stderr);
    TerminateProcess(GetCurrentProcess(), 70);
    std::abort();
}

struct Search {
    const char* title;
    HWND found = nullptr;
};

BOOL CALLBACK LookAt(HWND window, LPARAM parameter) {
    auto* search = reinterpret_cast<Search*>(parameter);
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    char kind[16] = {};
    GetClassNameA(window, kind, sizeof kind);
    const bool isDialog = process == GetCurrentProcessId() && std::string(kind) == "#32770";
    if (isDialog && IsWindowVisible(window) && TextOf(window) == search->title) search->found = window;
    return search->found == nullptr;
}

}  // namespace

void WaitFor(const char* what, const std::function<bool()>& condition) {
    const DWORD begin = GetTickCount();
    while (!condition()) {
        if (GetTickCount() - begin > kPatience) GiveUp("The module hangs, waited in vain for", what);
        Sleep(5);
    }
}

HWND FindShown(const char* title) {
    Search search = {title};
    EnumWindows(LookAt, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

HWND WaitForWindow(const char* title) {
    HWND window = nullptr;
    WaitFor(title, [&] { return (window = FindShown(title)) != nullptr; });
    return window;
}

LRESULT Send(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    DWORD_PTR answer = 0;
    if (SendMessageTimeoutA(window, message, wParam, lParam, SMTO_NORMAL, kPatience, &answer) == 0 &&
        IsWindow(window)) {
        GiveUp("The module hangs, waited in vain for", "an answer to a message");
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
    if (module == nullptr) {
        std::fprintf(stderr, "%s\n", error.c_str());
        std::abort();
    }
    return module;
}

std::ostream& operator<<(std::ostream& out, const Costs& costs) {
    return out << costs.scaledReads << " scaled reads, " << costs.keyings << " keyings, " << costs.analyses
               << " analyses";
}

DialogRun::DialogRun(Document document, HostOptions options, bool ownsMainWindow, const char* awaited)
    : document_(std::move(document)), module_(OpenBuiltModule()), ownsMainWindow_(ownsMainWindow) {
    options.playInfo = plugInDialogDisplay;
    options.keepDisplays = false;
    options.trace = [this](const std::string& line) {
        const std::lock_guard<std::mutex> lock(guard_);
        trace_.push_back(line);
    };
    options.displayed = [this, listener = options.displayed](const DisplayCall& call) {
        if (listener) listener(call);
        const std::lock_guard<std::mutex> lock(guard_);
        painted_ = call;
        ++paintings_;
    };
    host_ = CreateHost(std::move(options));
    thread_ = std::thread([this] { Run(); });
    if (awaited != nullptr) {
        WaitForWindow(awaited);
    } else {
        AwaitDialog();
    }
}

DialogRun::~DialogRun() {
    if (!over_ && window_ != nullptr) PostMessageA(window_, WM_COMMAND, kIdCancel, 0);
    WaitFor("the run's end", [this] { return over_.load(); });
    thread_.join();
    CloseHost(*host_);
    const std::string violations = ViolationText(*host_);
    if (!violations.empty()) GiveUp("The host found", violations.c_str());
}

// The owner of a modal dialog belongs to the thread that the dialog runs on.
void DialogRun::Run() {
    if (ownsMainWindow_) {
        mainWindow_ = CreateWindowExA(0, "STATIC", "Host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 120, 90, 1000,
                                      800, nullptr, nullptr, nullptr, nullptr);
        OptionsOf(*host_).mainWindow = mainWindow_;
    }
    result_ = RunFilter(*host_, module_->pluginMain, document_, AskForParameters::kYes);
    if (ownsMainWindow_) DestroyWindow(mainWindow_);
    over_ = true;
}

void DialogRun::AwaitDialog() {
    WaitFor("the dialog",
            [this] { return over_ || (window_ = FindShown("MarbleFrondKeeperPlugin")) != nullptr; });
    if (window_ == nullptr) return;
    // It is painted by itself once the thread waits for messages again; hosts without the service stay
    // silent.
    if (OptionsOf(*host_).offersDisplayPixels) PaintedAfter([] {});
}

HWND DialogRun::Control(int id) const {
    return GetDlgItem(window_, id);
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

void DialogRun::ClickButton(int id) {
    Send(Control(id), BM_CLICK);
}

int DialogRun::CountTrace(const std::string& beginning, const std::string& words) {
    const std::lock_guard<std::mutex> lock(guard_);
    return static_cast<int>(std::count_if(trace_.begin(), trace_.end(), [&](const std::string& line) {
        return line.compare(0, beginning.size(), beginning) == 0 && line.find(words) != line.npos;
    }));
}

Costs DialogRun::CountCosts() {
    Costs costs;
    costs.scaledReads = CountTrace("ReadScaledPixels");
    // Seven rows of doubles for each of the ring's seven planes, in a block of the checked heap.
    const int ringBytes = 7 * 8 * State().planeWidth + 8;
    costs.keyings = CountTrace("AllocateBlock " + std::to_string(ringBytes) + " ") / 7;
    return costs;
}

Costs DialogRun::OpeningCosts() {
    Costs costs = CountCosts();
    costs.analyses = State().backdropMeanR > 0;  // a new record is all zero
    return costs;
}

Costs DialogRun::CostsOf(const std::function<void()>& doing) {
    // The smallest change that an analysis of the same planes would undo.
    const double mean = State().backdropMeanR;
    const double marked = std::nextafter(mean, 1e9);
    State().backdropMeanR = marked;
    {
        const std::lock_guard<std::mutex> lock(guard_);
        trace_.clear();
    }
    doing();
    Costs costs = CountCosts();
    costs.analyses = State().backdropMeanR != marked;
    if (costs.analyses == 0) State().backdropMeanR = mean;
    return costs;
}

DisplayCall DialogRun::PaintedAfter(const std::function<void()>& doing) {
    doing();
    const int before = paintings_;  // whatever is painted from now on is what the doing left
    // The dialog leaves WM_PAINT to the system too, which then takes what was asked for meanwhile as painted:
    // a request from another thread can be lost, and is repeated.
    DWORD asked = 0;
    WaitFor("the preview's painting", [&] {
        if (GetTickCount() - asked > 200) {
            InvalidateRect(window_, nullptr, FALSE);
            asked = GetTickCount();
        }
        return paintings_ > before;
    });
    return LastPainted();
}

void DialogRun::AwaitRepaintBy(const std::function<void()>& doing) {
    WaitFor("the dialog to come to rest", [this] { return !GetUpdateRect(window_, nullptr, FALSE); });
    Send(window_, WM_NULL);  // a painting that has begun is over
    const int before = paintings_;
    doing();
    WaitFor("the repaint after a change", [&] { return paintings_ > before; });
}

DisplayCall DialogRun::LastPainted() {
    const std::lock_guard<std::mutex> lock(guard_);
    return painted_;
}

RunResult DialogRun::EndWith(const std::function<void()>& doing) {
    doing();
    WaitFor("the run's end", [this] { return over_.load(); });
    return result_;
}

int DialogRun::TakeLeaks() {
    const std::vector<Violation> violations = ReportOf(*host_).violations;
    for (const Violation& violation : violations) {
        if (violation.kind != ViolationKind::kLeak) GiveUp("The host found", violation.text.c_str());
    }
    ClearReport(*host_);
    return static_cast<int>(violations.size());
}

RunResult DialogRun::Ok() {
    return EndWith([this] { PostMessageA(Control(kIdOk), BM_CLICK, 0, 0); });
}

RunResult DialogRun::Cancel() {
    return EndWith([this] { PostMessageA(Control(kIdCancel), BM_CLICK, 0, 0); });
}

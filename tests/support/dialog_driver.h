// Drives the module's windows as a user does. The module runs on a thread of its own, inside the stand-in
// host. The test finds its windows, moves their controls and reads its state record.
//
// A wait that takes too long ends the process, since a hung thread cannot be stopped in any other way. So
// does a violation that the host has found.
#pragma once

#include <windows.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "host/host.h"
#include "host/module.h"
#include "shell/globals.h"

namespace test_support {

using namespace host;
using namespace filter;

// Waits until the condition holds; ends the process when that takes too long.
void WaitFor(const char* what, const std::function<bool()>& condition);

// A shown dialog box of this process with the title; null where there is none.
HWND FindShown(const char* title);

// Sends a message to a window of the module's thread and returns its result.
LRESULT Send(HWND window, UINT message, WPARAM wParam = 0, LPARAM lParam = 0);

std::string TextOf(HWND window);
RECT RectOf(HWND window);  // on the screen

// The built module.
ModulePtr OpenBuiltModule();

// One run of the filter with its dialog, or one showing of the About box, from its opening to its end.
class DialogRun {
  public:
    // Called on the module's thread for each message box when it appears. Afterwards the box is closed with
    // OK.
    using BoxAction = std::function<void(HWND box)>;

    // With ownsMainWindow the host has a main window of 1000 by 800 pixels at 120, 90. Returns when the
    // dialog has been shown and painted, or when the run has ended without one. The options' `displayed` and
    // `trace` are called on the module's thread.
    explicit DialogRun(Document document, HostOptions options = {}, bool ownsMainWindow = true,
                       BoxAction onBox = {});
    // The About box.
    explicit DialogRun(HostOptions options);
    ~DialogRun();

    HWND Window() const { return window_; }  // null where no dialog appeared
    HWND MainWindow() const { return mainWindow_; }
    HWND Control(int id) const { return GetDlgItem(window_, id); }
    Globals& State();  // while the dialog is idle
    Host& TheHost() { return *host_; }

    // The user's actions, each as Windows reports it to the dialog. They return when the dialog has handled
    // them and any message box is closed. A BoxAction may call them too.
    void SetSlider(int id, int position);
    void PressKeyOn(int id, int key);  // in the control that has the focus then
    void MoveScrollBar(int id, int code, int position);
    void ClickButton(int id) { Send(Control(id), BM_CLICK); }

    // Waits until the messages that are posted to the dialog have been handled.
    void Settle();

    // The last call of displayPixels, after an action and a painting of all of the window.
    DisplayCall PaintedAfter(const std::function<void()>& action);
    DisplayCall LastPainted();

    // Waits until the dialog repaints itself after the action.
    void AwaitRepaintBy(const std::function<void()>& action);

    // End the run and return its result.
    RunResult EndWith(const std::function<void()>& action);
    RunResult Click(int button);

    // After the end: a run without the dialog, with the parameters that the host recorded.
    RunResult Replay(Document document);

  private:
    void Start(HostOptions options);
    void Run();
    static LRESULT CALLBACK OnActivation(int code, WPARAM window, LPARAM parameter);

    const char* title_;
    Document document_;
    ModulePtr module_;
    HostPtr host_;
    bool ownsMainWindow_;
    BoxAction onBox_;
    std::atomic<HWND> window_ = nullptr;
    std::atomic<HWND> mainWindow_ = nullptr;
    std::mutex guard_;  // of painted_
    DisplayCall painted_;
    std::atomic<int> paintings_ = 0;
    std::atomic<bool> over_ = false;
    RunResult result_;
    std::thread thread_;
};

}  // namespace test_support

// Drives the module's windows as a user does: the module runs on a thread of its own, inside the stand-in
// host, and the test finds its windows, moves their controls and reads what the module's record holds
// meanwhile.
//
// Everything waits with a limit that only ends a hung process: the thread in it can be stopped no other way.
// So does a violation that the host has found.
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

using namespace filter;

// Waits until the condition holds; ends the process when that takes too long.
void WaitFor(const char* what, const std::function<bool()>& condition);

// A shown dialog box of this process with the title; null where there is none.
HWND FindShown(const char* title);

// Sends to a window of the module's thread and gives the answer.
LRESULT Send(HWND window, UINT message, WPARAM wParam = 0, LPARAM lParam = 0);

std::string TextOf(HWND window);
RECT RectOf(HWND window);  // on the screen

// The built module, in a process that holds nothing else of it.
host::ModulePtr OpenBuiltModule();

// One run of the filter with its dialog, or one showing of the About box, from its opening to its end.
class DialogRun {
  public:
    // Called on the module's thread for each message box when it appears; the box is closed with OK after it.
    using BoxAction = std::function<void(HWND box)>;

    // With ownsMainWindow the host has a main window, of 1000 by 800 at 120, 90. Returns when the dialog is
    // shown and painted, or when the run is over without one. The options' `displayed` and `trace` are called
    // on the module's thread.
    explicit DialogRun(host::Document document, host::HostOptions options = {}, bool ownsMainWindow = true,
                       BoxAction onBox = {});
    // The About box.
    explicit DialogRun(host::HostOptions options);
    ~DialogRun();

    HWND Window() const { return window_; }  // null where no dialog appeared
    HWND MainWindow() const { return mainWindow_; }
    HWND Control(int id) const { return GetDlgItem(window_, id); }
    Globals& State();  // while the dialog is idle
    host::Host& TheHost() { return *host_; }

    // Actions of the user, each as Windows reports it to the dialog. They return when the dialog has done its
    // work, message boxes included. A BoxAction may call them too.
    void SetSlider(int id, int position);
    void PressKeyOn(int id, int key);  // in the control that has the focus then
    void MoveScrollBar(int id, int code, int position);
    void ClickButton(int id) { Send(Control(id), BM_CLICK); }
    void SetBoxAction(BoxAction onBox) { onBox_ = std::move(onBox); }  // while the dialog is idle

    // Waits until the messages that are posted to the dialog have been handled.
    void Settle();

    // The last call of displayPixels, after an action and a painting of all of the window.
    host::DisplayCall PaintedAfter(const std::function<void()>& action);
    host::DisplayCall LastPainted();

    // Waits until the dialog paints by itself after the action.
    void AwaitRepaintBy(const std::function<void()>& action);

    // End the run; give what the host then has.
    host::RunResult EndWith(const std::function<void()>& action);
    host::RunResult Click(int button);

    // After the end: runs on the document without the dialog, with what the host recorded.
    host::RunResult Replay(host::Document document);

  private:
    void Start(host::HostOptions options);
    void Run();
    static LRESULT CALLBACK OnActivation(int code, WPARAM window, LPARAM parameter);

    const char* title_;
    host::Document document_;
    host::ModulePtr module_;
    host::HostPtr host_;
    bool ownsMainWindow_;
    BoxAction onBox_;
    std::atomic<HWND> window_ = nullptr;
    std::atomic<HWND> mainWindow_ = nullptr;
    std::mutex guard_;  // of painted_
    host::DisplayCall painted_;
    std::atomic<int> paintings_ = 0;
    std::atomic<bool> over_ = false;
    host::RunResult result_;
    std::thread thread_;
};

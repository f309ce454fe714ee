// Drives the module's windows as a user does: the module runs on a thread of its own, inside the stand-in
// host, and the test finds its windows, moves their controls and reads what the module's record holds
// meanwhile.
//
// Everything waits with a limit; a window that does not answer ends the process with a message, since the
// thread in it can be stopped no other way. So does a violation that the host has found.
#pragma once

#include <windows.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "host/host.h"
#include "host/module.h"
#include "shell/globals.h"

// Waits until the condition holds; ends the process when that takes too long.
void WaitFor(const char* what, const std::function<bool()>& condition);

// A dialog box or message box of this process with the given title, once it is there and shown.
HWND WaitForWindow(const char* title);
HWND FindShown(const char* title);  // null where it is not there

// Sends to a window of the module's thread and gives the answer.
LRESULT Send(HWND window, UINT message, WPARAM wParam = 0, LPARAM lParam = 0);

std::string TextOf(HWND window);
RECT RectOf(HWND window);  // on the screen

// The built module, in a process that holds nothing else of it.
ModulePtr OpenBuiltModule();

// What a doing made the module ask of its host.
struct Costs {
    int scaledReads = 0;  // of one channel each
    int keyings = 0;
    int analyses = 0;
};

inline bool operator==(const Costs& a, const Costs& b) {
    return a.scaledReads == b.scaledReads && a.keyings == b.keyings && a.analyses == b.analyses;
}

std::ostream& operator<<(std::ostream& out, const Costs& costs);

// One run of the filter with its dialog, from its opening to its end.
class DialogRun {
  public:
    // With ownsMainWindow the host has a main window, of 1000 by 800 at 120, 90. Comes back when the dialog
    // is shown and painted, or, with awaited, when a window with that title is shown, or when the run is over
    // without a dialog. The options' `displayed` is called on the module's thread.
    DialogRun(Document document, HostOptions options = {}, bool ownsMainWindow = true,
              const char* awaited = nullptr);
    ~DialogRun();

    HWND Window() const { return window_; }  // null where no dialog came
    HWND MainWindow() const { return mainWindow_; }
    HWND Control(int id) const;
    Globals& State();  // while the dialog is idle
    Host& TheHost() { return *host_; }
    Document& TheDocument() { return document_; }
    void AwaitDialog();  // after a message box

    // A user's doings, each as Windows reports it to the dialog.
    void SetSlider(int id, int position);
    void PressKeyOn(int id, int key);  // in the control that has the focus then
    void MoveScrollBar(int id, int code, int position);
    void ClickButton(int id);

    Costs OpeningCosts();  // before any doing

    // What one doing costs. An analysis shows in that it writes the backdrop's means anew.
    Costs CostsOf(const std::function<void()>& doing);
    // How many lines the last CostsOf has traced that begin so and hold the words.
    int CountTrace(const std::string& beginning, const std::string& words = "");

    // The last call of displayPixels, after a doing that has the preview painted anew.
    DisplayCall PaintedAfter(const std::function<void()>& doing);
    DisplayCall LastPainted();

    // Waits until the dialog paints of its own accord after the doing.
    void AwaitRepaintBy(const std::function<void()>& doing);

    // Ends the run; gives what the host then has.
    RunResult EndWith(const std::function<void()>& doing);
    RunResult Ok();
    RunResult Cancel();

    // How many violations there are, which are all to be leaks; forgets them. The end expects none.
    int TakeLeaks();

  private:
    void Run();
    Costs CountCosts();

    Document document_;
    ModulePtr module_;
    HostPtr host_;
    bool ownsMainWindow_;
    HWND window_ = nullptr;
    std::atomic<HWND> mainWindow_ = nullptr;
    std::mutex guard_;  // of trace_ and painted_
    std::vector<std::string> trace_;
    DisplayCall painted_;
    std::atomic<int> paintings_ = 0;
    std::atomic<bool> over_ = false;
    RunResult result_;
    std::thread thread_;
};

// The program's own window, which the filter's dialogs stand over. There is one on Windows alone.
#pragma once

#include <memory>
#include <string>

namespace frond {

// Throws Failure kBadUsage on a system without windows.
void RequireWindows();

struct WindowDestroyer {
    void operator()(void* window) const;
};

// A window of the system's (an HWND), owned. Closing it by hand counts as Ctrl-C.
using MainWindow = std::unique_ptr<void, WindowDestroyer>;

// Shows a window in the middle of the screen, on the calling thread, which must be the one that runs the
// filter. Throws Failure kRunFailed when it cannot be made.
MainWindow OpenMainWindow(const std::string& title);

void SetTitle(const MainWindow& window, const std::string& title);

// Lets the window answer the user and the system while the filter works.
void PumpMessages();

// Opens a web page in the user's browser; false when the system would not.
bool OpenPage(const char* url);

}  // namespace frond

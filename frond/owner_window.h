// The program's window, which owns the filter's dialogs. Only on Windows.
#pragma once

#include <memory>
#include <string>

namespace frond {

// Throws Failure kBadUsage on other systems than Windows.
void RequireWindows();

struct WindowDestroyer {
    void operator()(void* window) const;
};

// Owns a window (an HWND). Closing the window has the effect of Ctrl-C.
using OwnerWindow = std::unique_ptr<void, WindowDestroyer>;

// Shows a window in the middle of the screen. The calling thread must be the one that runs the filter. Throws
// Failure kRunFailed when no window can be created.
OwnerWindow OpenOwnerWindow(const std::string& title);

void SetWindowTitle(const OwnerWindow& window, const std::string& title);

// Handles the window's messages while the filter works.
void PumpMessages();

// Opens a web page in the user's browser; returns false on failure.
bool OpenWebPage(const char* url);

}  // namespace frond

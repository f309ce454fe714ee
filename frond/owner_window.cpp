#include "frond/owner_window.h"

#include "frond/command.h"

#ifdef _WIN32
#include <windows.h>

#include <shellapi.h>

#include <algorithm>
#endif

namespace frond {

#ifdef _WIN32

namespace {

constexpr wchar_t kClassName[] = L"FrondMainWindow";
constexpr int kWidth = 1000, kHeight = 760;  // larger than the filter's dialog

LRESULT CALLBACK OwnerWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message != WM_CLOSE) return DefWindowProcW(window, message, wParam, lParam);
    gInterrupted = true;  // the window is destroyed when the command ends
    return 0;
}

std::wstring Wide(const std::string& text) {
    return PathFromUtf8(text).wstring();
}

}  // namespace

void RequireWindows() {}

void WindowDestroyer::operator()(void* window) const {
    DestroyWindow(static_cast<HWND>(window));
}

OwnerWindow OpenOwnerWindow(const std::string& title) {
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = OwnerWindowProc;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.hCursor = LoadCursor(nullptr, IDC_ARROW);
    windowClass.hbrBackground = GetSysColorBrush(COLOR_APPWORKSPACE);
    windowClass.lpszClassName = kClassName;
    RegisterClassW(&windowClass);  // may fail: the class exists after the first window

    RECT screen{};
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &screen, 0);
    const int width = std::min<int>(kWidth, screen.right - screen.left);
    const int height = std::min<int>(kHeight, screen.bottom - screen.top);
    const HWND window =
        CreateWindowExW(0, kClassName, Wide(title).c_str(), WS_OVERLAPPEDWINDOW,
                        (screen.left + screen.right - width) / 2, (screen.top + screen.bottom - height) / 2,
                        width, height, nullptr, nullptr, windowClass.hInstance, nullptr);
    if (window == nullptr) throw Failure(kRunFailed, "cannot open a window");
    ShowWindow(window, SW_SHOWNORMAL);
    SetForegroundWindow(window);
    UpdateWindow(window);
    return OwnerWindow(window);
}

void SetWindowTitle(const OwnerWindow& window, const std::string& title) {
    SetWindowTextW(static_cast<HWND>(window.get()), Wide(title).c_str());
}

void PumpMessages() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

bool OpenWebPage(const char* url) {
    constexpr std::intptr_t kLastError = 32;  // results up to this are errors
    const HINSTANCE answer =
        ShellExecuteW(nullptr, L"open", Wide(url).c_str(), nullptr, nullptr, SW_SHOWNORMAL);
    return reinterpret_cast<std::intptr_t>(answer) > kLastError;
}

#else

void RequireWindows() {
    throw Failure(kBadUsage, "the filter has windows only on Windows");
}

void WindowDestroyer::operator()(void*) const {}

OwnerWindow OpenOwnerWindow(const std::string&) {
    RequireWindows();
    return nullptr;
}

void SetWindowTitle(const OwnerWindow&, const std::string&) {}

void PumpMessages() {}

bool OpenWebPage(const char*) {
    return false;
}

#endif

}  // namespace frond

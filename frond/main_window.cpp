#include "frond/main_window.h"

#include "frond/frond.h"

#ifdef _WIN32
#include <windows.h>

#include <shellapi.h>

#include <algorithm>
#endif

namespace frond {

#ifdef _WIN32

namespace {

constexpr wchar_t kClassName[] = L"FrondMainWindow";
constexpr int kWidth = 1000, kHeight = 760;  // room for the filter's dialog on a small screen's scale

LRESULT CALLBACK MainWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message != WM_CLOSE) return DefWindowProcW(window, message, wParam, lParam);
    gStopAsked = true;  // the window goes when the command ends
    return 0;
}

std::wstring Wide(const std::string& text) {
    return PathOf(text).wstring();
}

}  // namespace

void RequireWindows() {}

void WindowDestroyer::operator()(void* window) const {
    DestroyWindow(static_cast<HWND>(window));
}

MainWindow OpenMainWindow(const std::string& title) {
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = MainWindowProc;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.hCursor = LoadCursor(nullptr, IDC_ARROW);
    windowClass.hbrBackground = GetSysColorBrush(COLOR_APPWORKSPACE);
    windowClass.lpszClassName = kClassName;
    RegisterClassW(&windowClass);  // fails harmlessly for a second window

    RECT screen{};
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &screen, 0);
    const int width = std::min<int>(kWidth, screen.right - screen.left);
    const int height = std::min<int>(kHeight, screen.bottom - screen.top);
    const HWND window =
        CreateWindowExW(0, kClassName, Wide(title).c_str(), WS_OVERLAPPEDWINDOW,
                        (screen.left + screen.right - width) / 2, (screen.top + screen.bottom - height) / 2,
                        width, height, nullptr, nullptr, windowClass.hInstance, nullptr);
    if (window == nullptr) throw Failure(kRunFailed, "the system opens no window");
    ShowWindow(window, SW_SHOWNORMAL);
    SetForegroundWindow(window);
    UpdateWindow(window);
    return MainWindow(window);
}

void SetTitle(const MainWindow& window, const std::string& title) {
    SetWindowTextW(static_cast<HWND>(window.get()), Wide(title).c_str());
}

void PumpMessages() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

bool OpenPage(const char* url) {
    constexpr std::intptr_t kLastError = 32;  // values up to here are errors
    const HINSTANCE answer =
        ShellExecuteW(nullptr, L"open", Wide(url).c_str(), nullptr, nullptr, SW_SHOWNORMAL);
    return reinterpret_cast<std::intptr_t>(answer) > kLastError;
}

#else

void RequireWindows() {
    throw Failure(kBadUsage, "the filter has windows on Windows alone");
}

void WindowDestroyer::operator()(void*) const {}

MainWindow OpenMainWindow(const std::string&) {
    RequireWindows();
    return nullptr;
}

void SetTitle(const MainWindow&, const std::string&) {}

void PumpMessages() {}

bool OpenPage(const char*) {
    return false;
}

#endif

}  // namespace frond

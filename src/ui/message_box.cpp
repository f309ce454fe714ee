#include "ui/message_box.h"

#ifdef _WIN32
#include <windows.h>
#endif

void (*gMessageObserver)(const char* text, const char* caption) = nullptr;

void ShowMessage(const char* text, const char* caption) {
    if (gMessageObserver != nullptr) {
        gMessageObserver(text, caption);
        return;
    }
#ifdef _WIN32
    MessageBoxA(nullptr, text, caption, MB_OK | MB_ICONINFORMATION);
#endif
}

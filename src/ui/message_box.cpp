#include "ui/message_box.h"

#ifdef _WIN32

#include <windows.h>

void ShowMessage(const char* text, const char* caption) {
    // Without an owner, yet no control of the dialog can be reached behind it: the message comes in the midst
    // of a load, which a second one would pull the planes from under.
    MessageBoxA(nullptr, text, caption, MB_OK | MB_ICONINFORMATION | MB_TASKMODAL);
}

#else

void ShowMessage(const char*, const char*) {}

#endif

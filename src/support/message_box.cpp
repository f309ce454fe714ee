#include "support/message_box.h"

#ifdef _WIN32

#include <windows.h>

namespace filter {

void ShowMessage(const char* text, const char* caption) {
    MessageBoxA(nullptr, text, caption, MB_OK | MB_ICONINFORMATION);
}

}  // namespace filter

#else

void filter::ShowMessage(const char*, const char*) {}

#endif

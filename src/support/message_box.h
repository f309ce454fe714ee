// The module's few words to the user.
#pragma once

namespace filter {

// Shows one box with the information icon, an OK button and no owner window, and waits for it. Where there is
// no Win32 nothing is shown.
void ShowMessage(const char* text, const char* caption);

}  // namespace filter

// Message boxes.
#pragma once

namespace filter {

// Shows a box with the information icon, an OK button and no owner window, and waits until it is closed. Does
// nothing without Win32.
void ShowMessage(const char* text, const char* caption);

}  // namespace filter

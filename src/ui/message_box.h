// The module's few words to the user.
#pragma once

// Shows one box with the information icon, an OK button and no owner window, and waits for it. Where there is
// no Win32 nothing is shown. Tests may set gMessageObserver, which then gets the message in place of the
// user.
void ShowMessage(const char* text, const char* caption);

extern void (*gMessageObserver)(const char* text, const char* caption);

// The modal dialog in which a user tunes a run.
#pragma once

namespace filter {

struct Globals;

// Opens the dialog over the host's main window and returns when it is closed; every control has written its
// field of globals by then. True: ended with OK. False: cancelled, or the window was destroyed before OK had
// ended it, both of which leave userCanceledErr in the result cell; or the dialog could not be opened, as is
// always so where there is no Win32.
bool ShowParameterDialog(Globals* globals);

}  // namespace filter

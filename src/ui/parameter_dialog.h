// The modal dialog for the parameters.
#pragma once

namespace filter {

struct Globals;

// Shows the dialog over the host's main window until it is closed. Each control writes its field of globals.
// True after OK. False after Cancel or the destruction of the window, with userCanceledErr in the result
// cell. Also false if the dialog cannot be opened, which is always the case without Win32.
bool ShowParameterDialog(Globals* globals);

}  // namespace filter

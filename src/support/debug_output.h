// The debugger's output.
#pragma once

namespace filter {

// Goes to OutputDebugStringA on Windows and nowhere elsewhere: the module prints nothing. Tests may set
// gDebugOutput to see the lines.
void DebugOutput(const char* line);

extern void (*gDebugOutput)(const char* line);

}  // namespace filter

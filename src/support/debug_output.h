// The debugger's output.
#pragma once

namespace filter {

// Calls OutputDebugStringA on Windows and does nothing elsewhere. Tests can set gDebugOutput to read the
// lines.
void DebugOutput(const char* line);

extern void (*gDebugOutput)(const char* line);

}  // namespace filter

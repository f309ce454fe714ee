#include "support/debug_output.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace filter {

void (*gDebugOutput)(const char* line) = nullptr;

void DebugOutput(const char* line) {
    if (gDebugOutput != nullptr) {
        gDebugOutput(line);
        return;
    }
#ifdef _WIN32
    OutputDebugStringA(line);
#endif
}

}  // namespace filter

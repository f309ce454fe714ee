// Takes the place of the module's own ShowMessage: what it would tell the user goes to MessageLog.
#include "tests/shell_rig.h"

void ShowMessage(const char* text, const char* caption) {
    MessageLog::Lines().push_back(std::string(caption) + ": " + text);
}

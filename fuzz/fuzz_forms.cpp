// Every form that the machine has against the plain one, over runs drawn from the input.
#include <cstdio>
#include <cstdlib>

#include "engine/forms.h"
#include "rig/form_cases.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const auto make = [&] { return DrawRun(Draws(bytes, size)); };
    for (const char* const* form = kFormNames + 1; *form != nullptr; ++form) {
        if (!FormRunsHere(*form)) continue;
        const std::string difference = DifferenceFromPlain(*form, make);
        if (difference.empty()) continue;
        std::fprintf(stderr, "%s\n", difference.c_str());
        std::abort();
    }
    return 0;
}

// Every form that the machine has against the plain one, over runs drawn from the input.
#include <cstdio>
#include <cstdlib>

#include "engine/forms.h"
#include "rig/edge_pictures.h"
#include "rig/form_cases.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Draws draws(bytes, size);
    const std::uint32_t picture = draws.Below(8);
    const RunKind kind = kRunKinds[draws.Below(4)];
    const Stage stage = picture == 1 ? Stage::kKeying : Stage::kAnalysisAndKeying;
    const Draws rest = draws;
    const std::uint64_t seed = draws.Below(0xffffffffu);
    const auto make = [&] {
        if (picture == 0) return BackdropAndOnePixelEach(kind, seed);
        if (picture == 1) return EdgesOfDecisions(kind, seed);
        return DrawRun(rest);
    };
    for (const char* const* form = kFormNames + 1; *form != nullptr; ++form) {
        if (!FormRunsHere(*form)) continue;
        const std::string difference = DifferenceFromPlain(*form, make, stage);
        if (difference.empty()) continue;
        std::fprintf(stderr, "%s\n", difference.c_str());
        std::abort();
    }
    return 0;
}

// Every variant that the machine runs against the scalar reference, with runs drawn from the input.
#include <cstdio>
#include <cstdlib>

#include "engine/variants.h"
#include "tests/support/compare_variants.h"

using namespace test_support;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const auto make = [&] { return DrawRun(Random(bytes, size)); };
    for (const char* const* variant = keying::kVariantNames + 1; *variant != nullptr; ++variant) {
        if (!keying::VariantRunsHere(*variant)) continue;
        const std::string difference = DifferenceFromScalar(*variant, make);
        if (difference.empty()) continue;
        std::fprintf(stderr, "%s\n", difference.c_str());
        std::abort();
    }
    return 0;
}

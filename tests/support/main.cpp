// GoogleTest's main with one more option: --variant=NAME selects the variant of the engine. Tests that run
// several variants return to it afterwards.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "engine/variants.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const bool asked = argc > 1 && std::strncmp(argv[1], "--variant=", 10) == 0;
    if (asked && !keying::SetActiveVariant(argv[1] + 10)) {
        std::fprintf(stderr, "this machine does not run the variant %s\n", argv[1] + 10);
        return 1;
    }
    return RUN_ALL_TESTS();
}

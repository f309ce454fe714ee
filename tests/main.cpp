// GoogleTest's main with one more option: --form=NAME selects the form of the engine. Tests that run several
// forms return to it afterwards.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "engine/forms.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const bool asked = argc > 1 && std::strncmp(argv[1], "--form=", 7) == 0;
    if (asked && !SetActiveForm(argv[1] + 7)) {
        std::fprintf(stderr, "this machine does not run the form %s\n", argv[1] + 7);
        return 1;
    }
    return RUN_ALL_TESTS();
}

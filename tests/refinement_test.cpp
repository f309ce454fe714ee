// The refinement of the rows behind, by the cases of refinement.cases.
#include <gtest/gtest.h>

#include "cases.h"

TEST(EngineRefinement, GivesWhatTheCasesSay) {
    ExpectPictures("refinement");
}

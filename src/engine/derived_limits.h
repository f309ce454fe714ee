// Constants that the vector variants of the keying work out once a run, in place of a root or a whole
// correction per pixel. The scalar reference does not read them.
#pragma once

#include "engine/colour.h"

namespace keying {

struct KeyRun;

struct DerivedLimits {
    // Bounds on sums of squares, each equivalent to a comparison of the root, which is correctly rounded and
    // therefore monotonic.
    double plainBelow;     // root < 0.4, and no sum at all when SliderRemoveGreen switches the test off
    double greyBelow;      // root < sBlack * 0.15
    double colouredAbove;  // root > sBlack + sBlack

    // What becomes of a pixel that is backdrop by its shape: alpha 0, and one of two foregrounds, by whether
    // the wide pull of the corrections applies. False: the dark rescue, or the false colours, may come in.
    bool shapeIsConstant;
    Rgb shapeWide;
    Rgb shapeNarrow;
};

DerivedLimits MakeDerivedLimits(const KeyRun& run);

}  // namespace keying

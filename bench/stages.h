// The measured stages, each in a full-size run with default parameters.
//
//   stage       what runs                                                  on what
//   run         selector 3, linked, in the stand-in host                   the two layers
//   unblended   the same without edge blending: refined rows               the two layers
//   engine      MeasureBackdrop and KeyPlanes                              planes of the two layers
//   analysis    MeasureBackdrop                                            planes of the two layers
//   keying      fetch, search, corrections; foreground and matte written   planes of the two layers
//   refinement  fetch, refinement and pixel step                           result of keying
//   edges       edge blending                                              result of keying
//   copy        four planes copied, for the speed of the memory            planes of the two layers
//
// Refinement and edges use the matte as the top layer's transparency, at both depths.
#pragma once

#include <cstdint>
#include <string>

#include "bench/pictures.h"

namespace bench {

extern const char* const kStageNames[];  // ending in null

struct Measured {
    double seconds;      // of this thread's processor time, or with several workers of the clock
    std::uint64_t hash;  // of the results: the same for every variant
    std::int64_t pixels;
    std::string error;  // empty: it ran
};

// One run of one stage. The picture of the last call is kept. variant: one that runs on this machine.
// workers: 1 or more.
Measured RunStage(const std::string& stage, const std::string& variant, int workers, const Shape& shape);

}  // namespace bench

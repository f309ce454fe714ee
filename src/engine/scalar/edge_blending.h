// The two passes of edge blending, in their scalar reference.
#pragma once

#include "engine/passes.h"

namespace keying {

// Samples on either side of a candidate that are written; twice as many are read. The width alone counts, for
// the columns too.
std::int32_t BlendRadius(std::int32_t planeWidth);

// Blends the output colours across the steps of the alpha plane; false when there is no memory for the
// working copies, and then nothing is changed.
template <class Sample>
bool BlendColours(const PlaneView<Sample>& planes, Workers* workers);

}  // namespace keying

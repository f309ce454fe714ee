// The edge blending for operations that have workers already.
#pragma once

#include "engine/keying.h"
#include "engine/workers.h"

namespace keying {

// BlendEdges of keying.h.
Status BlendEdges(const Planes& planes, Workers* workers);

}  // namespace keying

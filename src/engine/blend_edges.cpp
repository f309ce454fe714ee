// The edge blending as an operation: the pass of the active variant, and an opaque alpha plane. At 16 bits
// the opaque alpha is 65535, above the largest sample, on purpose.
#include <cstring>

#include "engine/keying.h"
#include "engine/samples.h"
#include "engine/variants.h"

namespace keying {

Status BlendEdges(const Planes& planes) {
    const std::size_t pixels =
        static_cast<std::size_t>(planes.width) * static_cast<std::size_t>(planes.height);
    if (pixels == 0) return Status::kDone;
    const bool blended = WithSampleType(planes, [&](auto sample) {
        using Sample = decltype(sample);
        return PassesOf<Sample>(*ActiveVariant()).blendColours(NamedView<Sample>(planes));
    });
    std::memset(planes.outA, 255, pixels * static_cast<std::size_t>(planes.depth));
    return blended ? Status::kDone : Status::kUnblended;
}

}  // namespace keying

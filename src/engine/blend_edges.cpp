// The edge blending as an operation: the pass of the active variant, and an opaque alpha plane. At 16 bits
// the opaque alpha is 65535, above the largest sample, on purpose.
#include "engine/blend_edges.h"

#include <cstring>

#include "engine/keying.h"
#include "engine/samples.h"
#include "engine/variants.h"

namespace keying {
namespace {

constexpr std::int64_t kBytesOfBand = 1 << 18;

}  // namespace

Status BlendEdges(const Planes& planes, Workers* workers) {
    const std::int64_t pixels = std::int64_t{planes.width} * planes.height;
    if (pixels == 0) return Status::kDone;
    const bool blended = WithSampleType(planes, [&](auto sample) {
        using Sample = decltype(sample);
        return PassesOf<Sample>(*ActiveVariant()).blendColours(NamedView<Sample>(planes), workers);
    });
    std::uint8_t* const alpha = static_cast<std::uint8_t*>(planes.outA);
    ForBands(workers, pixels * planes.depth, kBytesOfBand,
             [&](std::int32_t, std::int64_t first, std::int64_t end) {
                 std::memset(alpha + first, 255, static_cast<std::size_t>(end - first));
             });
    return blended ? Status::kDone : Status::kUnblended;
}

Status BlendEdges(const Settings& settings, const Planes& planes) {
    Workers workers(WorkerCount(settings.workers, std::int64_t{planes.width} * planes.height));
    return BlendEdges(planes, &workers);
}

}  // namespace keying

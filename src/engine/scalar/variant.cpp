// The scalar reference, which defines every result.
#include "engine/scalar/variant.h"

#include "engine/scalar/backdrop_grid.h"
#include "engine/scalar/edge_blending.h"
#include "engine/scalar/fetch_and_key.h"
#include "engine/scalar/levels.h"
#include "engine/scalar/output.h"

namespace keying {

namespace {

template <class Sample>
void ProcessRow(const KeyRun& run, const PlaneView<Sample>& planes, std::int32_t y) {
    FetchRow<Sample>(run, planes, y);
    KeyRow(run, y);
    if (!run.realityInteg) {
        if (y >= run.ring.ringRadius) WriteRefinedRow<Sample>(run, planes, y);
    } else if (!run.showSelect) {
        WriteDirectRow<Sample>(run, planes, y);
    }
}

template <class Sample>
constexpr Passes<Sample> ScalarPasses() {
    return {MeasureLevels<Sample>, AddGridPixels<Sample>, ProcessRow<Sample>, BlendColours<Sample>};
}

}  // namespace

const Variant kScalarVariant = {"scalar", ScalarPasses<std::uint8_t>(), ScalarPasses<std::uint16_t>()};

}  // namespace keying

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
void FetchAndKeyRow(const KeyRun& run, const PlaneView<Sample>& row, std::int32_t y) {
    FetchRow<Sample>(run, row);
    KeyRow(run, y);
    if (run.realityInteg && !run.showSelect) WriteDirectRow<Sample>(run, row);
}

template <class Sample>
constexpr Passes<Sample> ScalarPasses() {
    return {MeasureLevels<Sample>, AddGridPixels<Sample>, FetchAndKeyRow<Sample>, WriteRefinedRow<Sample>,
            BlendColours<Sample>};
}

}  // namespace

const Variant kScalarVariant = {"scalar", ScalarPasses<std::uint8_t>(), ScalarPasses<std::uint16_t>()};

}  // namespace keying

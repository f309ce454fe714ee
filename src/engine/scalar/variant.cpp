// The scalar reference, which defines every result.
#include "engine/scalar/variant.h"

#include "engine/scalar/backdrop_grid.h"
#include "engine/scalar/edge_blending.h"
#include "engine/scalar/fetch_and_key.h"
#include "engine/scalar/levels.h"
#include "engine/scalar/output.h"

namespace {

template <class Sample>
void ProcessRow(const KeyRun& run, const Globals* globals, std::int32_t y) {
    FetchRow<Sample>(run, globals, y);
    KeyRow(run, y);
    if (!run.realityInteg) {
        if (y >= run.ring.ringRadius) WriteRefinedRow<Sample>(run, globals, y);
    } else if (!run.showSelect) {
        WriteDirectRow<Sample>(run, globals, y);
    }
}

template <class Sample>
constexpr Passes<Sample> PlainPasses() {
    return {MeasureLevels<Sample>, AddGridPixels<Sample>, ProcessRow<Sample>, BlendColours<Sample>};
}

}  // namespace

const Variant kScalarVariant = {"scalar", PlainPasses<std::uint8_t>(), PlainPasses<std::uint16_t>()};

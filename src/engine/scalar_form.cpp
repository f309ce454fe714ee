// The plain form, which defines every result.
#include "engine/scalar_form.h"

#include "engine/analysis.h"
#include "engine/backdrop_grid.h"
#include "engine/edge_blending.h"
#include "engine/output.h"
#include "engine/pixel_pass.h"

namespace {

template <class Sample>
void TurnRow(const KeyRun& run, const Globals* globals, std::int32_t y) {
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
    return {MeasureLevels<Sample>, AddGridPixels<Sample>, TurnRow<Sample>, BlendColours<Sample>};
}

}  // namespace

const EngineForm kScalarForm = {"scalar", PlainPasses<std::uint8_t>(), PlainPasses<std::uint16_t>()};

// The table of a faster form.
#include "engine/lane_passes.h"

#define FROND_TEXT(name) #name
#define FROND_NAME(name) FROND_TEXT(name)

namespace FROND_FORM {
namespace {

template <class Sample>
constexpr Passes<Sample> LanePasses() {
    return {MeasureLevels<Sample>, AddGridPixels<Sample>, TurnRow<Sample>, BlendColours<Sample>};
}

}  // namespace

extern const EngineForm kForm;
const EngineForm kForm = {FROND_NAME(FROND_FORM), LanePasses<std::uint8_t>(), LanePasses<std::uint16_t>()};

}  // namespace FROND_FORM

// The table of a vector variant.
#include "engine/simd/passes.h"

#define FROND_TEXT(name) #name
#define FROND_NAME(name) FROND_TEXT(name)

namespace keying::FROND_VARIANT {
namespace {

template <class Sample>
constexpr Passes<Sample> VectorPasses() {
    return {MeasureLevels<Sample>, AddGridPixels<Sample>, KeyRow<Sample>, WriteRefinedRow<Sample>,
            BlendColours<Sample>};
}

}  // namespace

extern const Variant kVariant;
const Variant kVariant = {FROND_NAME(FROND_VARIANT), VectorPasses<std::uint8_t>(),
                          VectorPasses<std::uint16_t>()};

}  // namespace keying::FROND_VARIANT

// The vector variants: one source, built for three instruction sets.
#pragma once

#include "engine/variants.h"

namespace sse2 {
extern const Variant kVariant;
}
namespace avx2 {
extern const Variant kVariant;
}
namespace avx512 {
extern const Variant kVariant;
}

// The vector variants: one source, built for three instruction sets.
#pragma once

#include "engine/passes.h"

namespace keying::sse2 {
extern const Variant kVariant;
}
namespace keying::avx2 {
extern const Variant kVariant;
}
namespace keying::avx512 {
extern const Variant kVariant;
}

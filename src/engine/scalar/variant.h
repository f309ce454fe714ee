#pragma once

#include "engine/variants.h"

namespace keying {

extern const Variant kScalarVariant;

}  // namespace keying

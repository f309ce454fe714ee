#pragma once

#include "engine/passes.h"

namespace keying {

extern const Variant kScalarVariant;

}  // namespace keying

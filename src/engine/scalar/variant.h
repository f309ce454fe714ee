#pragma once

#include "engine/variants.h"

extern const Variant kScalarVariant;

#pragma once

#include "engine/forms.h"

extern const EngineForm kScalarForm;

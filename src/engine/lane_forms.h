// The faster forms: one source, built for three instruction sets.
#pragma once

#include "engine/forms.h"

namespace sse2 {
extern const EngineForm kForm;
}
namespace avx2 {
extern const EngineForm kForm;
}
namespace avx512 {
extern const EngineForm kForm;
}

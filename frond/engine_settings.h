// The filter's parameters as settings of the engine, for commands that call the engine without the module.
#pragma once

#include "engine/keying.h"
#include "frond/parameters.h"

namespace frond {

// The settings of a full-size run of the module with these parameters; a parameter that is not given has its
// default. `workers` is 0. All combinations of flags pass unchanged: the engine decides which one counts.
keying::Settings ToEngineSettings(const ParameterValues& values);

}  // namespace frond

// Warnings about photographs that the filter keys without a word and mostly not as the user wants.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "frond/parameters.h"
#include "frond/warnings.h"
#include "images/picture.h"

namespace frond {

// Looks at a survey of the photograph: hardly anything or nearly everything is removed, the backdrop's other
// channels are 0, or it has soft parts and 16 bits. The photograph is RGB, at the depth of the run; texts
// begin with `name`. Pixels whose byte in `selection` is 0 do not count; null: all count. The warnings depend
// on nothing else.
std::vector<Warning> AdviseOn(const std::string& name, const images::Picture& photo,
                              const ParameterValues& parameters, const std::uint8_t* selection);

}  // namespace frond

// Colour management: pictures from one profile's colours to another's.
#pragma once

#include <cstdint>
#include <vector>

#include "images/picture.h"

namespace images {

// Converts a colour picture that has a profile to the profile `to`, which it then carries: relative
// colorimetric, in 16 bits whatever its depth. False, and the picture is as it was, when either profile
// cannot be used for it.
bool ConvertColours(Picture& picture, const std::vector<std::uint8_t>& to);

}  // namespace images

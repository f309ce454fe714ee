// Conversion of a picture between ICC colour profiles.
#pragma once

#include <cstdint>
#include <vector>

#include "images/picture.h"

namespace images {

// Converts an RGB picture from its profile to the profile `to` and stores `to` in it. The intent is relative
// colorimetric; the conversion has 16 bits at both depths. Returns false, and leaves the picture unchanged,
// when one of the profiles cannot be used.
bool ConvertToProfile(Picture& picture, const std::vector<std::uint8_t>& to);

}  // namespace images

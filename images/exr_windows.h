// The windows of an OpenEXR file, which libvips leaves out.
#pragma once

#include <cstdint>
#include <vector>

#include "images/picture.h"

namespace images {

// Places the pixels of an OpenEXR file, its data window, in its display window, which is the picture that the
// artist sees. `head` is the beginning of the file. Without two different windows in it, the picture stays
// unchanged.
Picture PlaceInDisplayWindow(const Picture& pixels, const std::vector<std::uint8_t>& head);

}  // namespace images

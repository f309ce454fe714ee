// Scaling and cropping to another size.
#pragma once

#include "images/picture.h"

namespace images {

enum class Fit { kCover, kStretch, kNone };

// Returns the picture at the given size in pixels, with its profile.
//   kCover    scales both directions alike until the picture covers the size, and crops evenly
//   kStretch  scales each direction separately
//   kNone     does not scale: centres, crops evenly, and fills with black
// Scaling uses a three-lobed Lanczos filter on the encoded samples, widened when it reduces. Alpha is scaled
// alike.
Picture FitPicture(const Picture& picture, int width, int height, Fit fit);

// Composites the picture over white; the result has no alpha.
void FlattenOnWhite(Picture& picture);

}  // namespace images

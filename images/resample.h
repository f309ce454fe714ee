// Pictures at another size.
#pragma once

#include "images/picture.h"

namespace images {

enum class Fit { kCover, kStretch, kNone };

// A picture brought to the given size, in pixels. kCover: scaled evenly until it covers the size, what hangs
// over cut off in equal parts; kStretch: scaled to it in each direction; kNone: unscaled, middle on middle,
// what hangs over cut off and what is missing black. Scaling is by a three-lobed Lanczos filter, widened when
// it reduces, on the samples as they stand. Alpha goes the same way.
Picture FitPicture(const Picture& picture, int width, int height, Fit fit);

// Lays the picture on white where it is transparent; the result has no alpha.
void Flatten(Picture& picture);

}  // namespace images

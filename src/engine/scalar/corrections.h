// What is mended on every keyed pixel, whichever way its alpha was found.
#pragma once

#include "engine/scalar/fetch_and_key.h"

namespace keying {

// Drains the backdrop's cast from foregrounds that are nearly grey, drops what is still greenish and not
// opaque, rescues dark pixels, and applies the contrast and the offset of alpha. Alpha ends between 0 and 1.
void CorrectPixel(const KeyRun& run, Pixel* pixel);

}  // namespace keying

// The corrections of every keyed pixel.
#pragma once

#include "engine/key_run.h"
#include "engine/scalar/pixel.h"

namespace keying {

// Drains the backdrop's cast from foregrounds that are nearly grey, drops what is still greenish and not
// opaque, rescues dark pixels, and applies the contrast and the offset of alpha. Alpha ends between 0 and 1.
void CorrectPixel(const KeyRun& run, Pixel* pixel);

}  // namespace keying

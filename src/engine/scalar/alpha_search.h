// How much of a pixel is foreground, and which colour the foreground has.
//
// The model: seen = alpha * foreground + (1 - alpha) * backdrop, three equations for four unknowns. A pixel
// that is clearly backdrop or clearly dark foreground is decided at once; for the rest a search finds the
// smallest alpha that still yields a plausible foreground, one that is no longer greenish.
#pragma once

#include "engine/key_run.h"
#include "engine/scalar/pixel.h"

namespace keying {

// Sets the pixel's alpha and foreground; with showSelect a false-colour view of the matte in their place.
void SearchAlpha(const KeyRun& run, Pixel* pixel);

}  // namespace keying

// The engine's operations on the planes and settings of Globals.
#pragma once

#include "engine/keying.h"

namespace filter {

struct Globals;

// The local backdrop colours of the last analysis. A new preview after a move of a slider uses them again.
extern keying::BackdropGrid gBackdropGrid;

// Measures the backdrop in the colours of the top layer; sets backdropMeanR, G, B and gBackdropGrid.
void AnalyseBackdrop(Globals* globals);

// Keys the loaded planes into outR, outG, outB, outA. AnalyseBackdrop must have run. If finalRender is set,
// it reports progress to the host and stops when the host aborts; the other rows of the output keep their
// contents. Allocates the row ring on the checked heap; throws HeapFailure without memory. Without memory for
// edge blending the colours are not blended and the result cell receives memFullErr.
void KeyPicture(Globals* globals);

// Edge blending only, for 8-bit and for 16-bit planes.
void blendEdges8(Globals* globals);
void blendEdges16(Globals* globals);

}  // namespace filter

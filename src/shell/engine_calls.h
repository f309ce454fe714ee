// The engine's operations on Globals: what the full-size run, the preview and the tests call.
#pragma once

#include "engine/keying.h"

namespace filter {

struct Globals;

// The local backdrop colours of the last analysis. They outlive a call of the host, so that a preview after a
// slider's move or a zoom needs no new analysis.
extern keying::BackdropGrid gBackdropGrid;

// Measures the backdrop over the top layer's colours: backdropMeanR, G, B and gBackdropGrid.
void AnalyseBackdrop(Globals* globals);

// Keys the planes into outR, outG, outB, outA. Expects AnalyseBackdrop to have run and the planes to be
// loaded. With finalRender set it reports progress to the host and stops at its abort, after which rows not
// reached keep what the planes held. The ring's memory is the checked heap's: raises HeapFailure when it
// cannot be reserved. Without memory for edge blending the colours stay unblended, and memFullErr is in the
// result cell.
void KeyPicture(Globals* globals);

// The edge blending alone, for 8-bit and for 16-bit planes.
void blendEdges8(Globals* globals);
void blendEdges16(Globals* globals);

}  // namespace filter

// The preview: the engine run on small planes of the view that zoom and scroll select.
#pragma once

#include "hostapi/hostapi.h"

namespace filter {

struct Globals;

// Updates previewPixels and previewAlpha: loads the planes if mustReload is set, analyses them if mustAnalyse
// is set, keys them and copies the result as bytes. FitPreview has set the size of the preview; without
// pixels this does nothing.
//
// The result cell receives memFullErr without memory for the preview or its planes, and the codes of
// LoadPlanes. mustReload then stays set, so the next call tries again. Throws the HeapFailure of KeyPicture;
// the preview then keeps its last picture.
void ComposePreview(Globals* globals);

// Describes the preview for the host's displayPixels: one byte per sample, three consecutive planes, bounds
// equal to proxyRect. With FlagOutputAlpha it also fills mask and links it to map. Both records point into
// the preview's buffers; the base address is null if there is no preview.
void DescribePreview(const Globals* globals, PSPixelMap* map, PSPixelMask* mask);

}  // namespace filter

// The preview: the engine itself, run over small planes of the view that zoom and scroll select.
#pragma once

#include "hostapi/hostapi.h"

namespace filter {

struct Globals;

// Brings previewPixels and previewAlpha up to date with the parameters and the view: loads the planes when
// mustReload is set, analyses them when mustAnalyse is set, always keys them, and copies the outcome as
// bytes. The preview's size is that of the last FitPreview; one without pixels composes nothing.
//
// Failures are left in the result cell: memFullErr without memory for the preview or its planes (mustReload
// then stays set, so that the next call tries again), or what LoadPlanes found. Raises the HeapFailure of
// KeyPicture; the preview then keeps its last picture.
void ComposePreview(Globals* globals);

// Describes the preview to the host's displayPixels: one byte a sample, three planes end to end, as bounds
// the four numbers of proxyRect. With FlagOutputAlpha, mask is filled too and hung into map. Both records
// point into the preview's buffers; a preview that could not be made leaves a null base address.
void DescribePreview(const Globals* globals, PSPixelMap* map, PSPixelMask* mask);

}  // namespace filter

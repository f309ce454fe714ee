// Reading the document into the twelve planes.
#pragma once

#include <cstdint>

#include "hostapi/hostapi.h"

struct Globals;

// The part of the document that a reduced read shows, in document coordinates; spans in pixels.
struct PreviewView {
    std::int32_t top, left;
    std::int32_t spanH, spanW;  // 0 at full zoom
};

// The view that zoom and scroll select of docInfo's bounds. Asks the host nothing.
PreviewView ViewOf(const Globals* globals);

// Makes the twelve planes anew and reads the two lowest layers and the selection into them: at document size,
// or, with reduced, the present view at the size of proxyRect (the selection at document size in either
// case).
//
// False when the planes do not exist: what was made is freed, and the engine must not run. Then the result
// cell holds memFullErr for want of memory, errPlugInHostInsufficient for a host or document that cannot be
// worked with, and is left alone where only the preview has no pixels. True also after a channel could not be
// read: the result cell holds errPlugInHostInsufficient, and the plane what it held.
bool LoadPlanes(Globals* globals, bool reduced);

// Reads one channel into one plane; failures go to the result cell or to a message box. False when the host
// was not asked for pixels: no channel, one that cannot be read or does not fit the plane, or no plane.
bool ReadChannelPlane(Globals* globals, const ReadChannelDesc* channel, std::uint8_t* plane, bool reduced);

// Bits of a channel fit the planes' samples.
bool ChannelFitsPlanes(const Globals* globals, const ReadChannelDesc* channel);

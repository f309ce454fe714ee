// Reading the document into the twelve planes.
//
// The shell refuses the following, for which the filter's definition has no code of its own:
//   Start without a document                        errPlugInHostInsufficient; the dialog does not open
//   a broker or suite that is null in spite of      errPlugInHostInsufficient
//   a code of 0
//   a load without a document, a target channel     errPlugInHostInsufficient; no planes, no run
//   or one of the two suites
//   document bounds that are empty, or longer       errPlugInHostInsufficient; no planes, no run
//   than 2^31 - 1 a side
//   a target of fewer than 8 bits a sample          errPlugInHostInsufficient; no planes, no run
//   a row of more than 2^31 - 1 bits                memFullErr; no planes, no run
//   a plane of 4 GiB or more, or one that the       memFullErr; no planes, no run
//   host does not make
//   a preview without pixels                        no code; no planes, and the dialog stays open
//   a channel of more bits than the planes, or of   errPlugInHostInsufficient; neither read nor written
//   none
//   a failed allocation or exception of the         its code or memFullErr; the run ends
//   engine
#pragma once

#include <cstdint>

#include "hostapi/hostapi.h"

namespace filter {

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
// read: the result cell holds errPlugInHostInsufficient, and the plane is 0. So is every plane that nothing
// was read into, but for three kinds: a missing transparency is opaque, and the output planes and the
// selection plane of a document without a selection hold what the host's memory held.
bool LoadPlanes(Globals* globals, bool reduced);

// Reads one channel into one plane; failures go to the result cell or to a message box. False when the host
// was not asked for pixels, and the plane is as it was: no channel, one that cannot be read or does not fit
// the plane, or no plane. A read that fails leaves 0.
bool ReadChannelPlane(Globals* globals, const ReadChannelDesc* channel, std::uint8_t* plane, bool reduced);

// Bits of a channel fit the planes' samples.
bool ChannelFitsPlanes(const Globals* globals, const ReadChannelDesc* channel);

}  // namespace filter

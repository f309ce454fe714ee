// Reading the document into the twelve planes.
//
// What the shell refuses, and the code in the result cell:
//   Start without a document                        errPlugInHostInsufficient; the dialog does not open
//   a null broker, or a null suite with code 0      errPlugInHostInsufficient
//   no document, target channel or suite            errPlugInHostInsufficient; nothing is loaded
//   empty bounds, or a side over 2^31 - 1           errPlugInHostInsufficient; nothing is loaded
//   a target of fewer than 8 bits per sample        errPlugInHostInsufficient; nothing is loaded
//   a row of more than 2^31 - 1 bits                memFullErr; nothing is loaded
//   a plane of 4 GiB or more, or without memory     memFullErr; nothing is loaded
//   a preview without pixels                        none; nothing is loaded, the dialog stays open
//   a channel of 0 bits, or of more than the planes errPlugInHostInsufficient; neither read nor written
//   an exception of the engine                      its code, or memFullErr; the run ends
#pragma once

#include <cstdint>

#include "hostapi/hostapi.h"

namespace filter {

struct Globals;

// The part of the document in a reduced read, in document coordinates and pixels.
struct PreviewView {
    std::int32_t top, left;
    std::int32_t spanH, spanW;  // 0 at full zoom
};

// The part of docInfo's bounds that zoom and scroll select. Makes no call to the host.
PreviewView ViewOf(const Globals* globals);

// Allocates the twelve planes and reads the two lowest layers and the selection into them, at document size.
// If reduced, reads the current view at the size of proxyRect instead; the selection keeps document size.
//
// False if there are no planes: everything is freed and the engine must not run. The result cell then holds
// memFullErr or errPlugInHostInsufficient; a preview without pixels leaves it unchanged.
//
// True also if a channel could not be read: its plane is 0, and the result cell holds
// errPlugInHostInsufficient unless a scaled read failed. Planes without data are 0 too, but a missing
// transparency is opaque, and the output planes and an absent selection are undefined.
bool LoadPlanes(Globals* globals, bool reduced);

// Reads one channel into one plane. Failures go to the result cell or to a message box. False if no pixels
// were requested, because the channel or plane is null, or the channel is not readable or does not fit the
// planes; the plane is then unchanged. After a failed read the plane is 0.
bool ReadChannelPlane(Globals* globals, const ReadChannelDesc* channel, std::uint8_t* plane, bool reduced);

// True if the channel's samples fit into the planes' samples.
bool ChannelFitsPlanes(const Globals* globals, const ReadChannelDesc* channel);

// Describes a plane of samples without padding; width in samples, depth in bits per sample.
PixelMemoryDesc DescribeMemory(std::uint8_t* plane, std::int32_t width, std::int32_t depth);

}  // namespace filter

#include "shell/render.h"

#include "shell/engine_calls.h"
#include "shell/globals.h"
#include "shell/planes.h"

namespace filter {
namespace {

// Frees the planes at the end of the render, also after an exception of the engine.
struct PlanesDisposer {
    explicit PlanesDisposer(Globals* g) : globals(g) {}
    PlanesDisposer(const PlanesDisposer&) = delete;
    PlanesDisposer& operator=(const PlanesDisposer&) = delete;
    ~PlanesDisposer() { DisposePlanes(globals); }

    Globals* globals;
};

bool ChannelWritable(Globals* globals, const ReadChannelDesc* channel) {
    if (channel == nullptr || channel->writePort == nullptr) return false;
    Boolean canWrite = 0;
    if (globals->gPSChannelPortsSuite->CanWrite(channel->writePort, &canWrite) != 0) {
        Fail(globals, errPlugInHostInsufficient);
        return false;
    }
    return canWrite != 0;
}

const ReadChannelDesc* Next(const ReadChannelDesc* channel) {
    return channel == nullptr ? nullptr : channel->next;
}

}  // namespace

void RunFullRender(Globals* globals) {
    if (!LoadPlanes(globals, false)) return;
    const PlanesDisposer disposer(globals);

    AnalyseBackdrop(globals);
    globals->finalRender = 1;
    KeyPicture(globals);

    // Also after an abort: rows that were not keyed are written with undefined contents.
    const ReadChannelDesc* red = globals->docInfo->targetCompositeChannels;
    const ReadChannelDesc* green = Next(red);
    const ReadChannelDesc* blue = Next(green);
    WriteChannelPlane(globals, red, globals->outR);
    WriteChannelPlane(globals, green, globals->outG);
    WriteChannelPlane(globals, blue, globals->outB);
    WriteChannelPlane(globals, globals->docInfo->targetTransparency, globals->outA);
}

void WriteChannelPlane(Globals* globals, const ReadChannelDesc* channel, std::uint8_t* plane) {
    if (plane == nullptr || !ChannelWritable(globals, channel)) return;
    if (!ChannelFitsPlanes(globals, channel)) {
        Fail(globals, errPlugInHostInsufficient);
        return;
    }
    VRect rect = {0, 0, globals->planeHeight, globals->planeWidth};
    const PixelMemoryDesc memory = DescribeMemory(plane, globals->planeWidth, channel->depth);
    if (globals->gPSChannelPortsSuite->WritePixelsToBaseLevel(channel->writePort, &rect, &memory) != 0) {
        Fail(globals, errPlugInHostInsufficient);
    }
}

}  // namespace filter

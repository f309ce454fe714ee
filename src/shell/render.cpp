#include "shell/render.h"

#include "shell/engine_calls.h"
#include "shell/globals.h"
#include "shell/planes.h"

namespace filter {
namespace {

// Frees the planes at the end of the run, also when the engine raises.
struct PlanesOfRun {
    explicit PlanesOfRun(Globals* g) : globals(g) {}
    PlanesOfRun(const PlanesOfRun&) = delete;
    PlanesOfRun& operator=(const PlanesOfRun&) = delete;
    ~PlanesOfRun() { DisposePlanes(globals); }

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
    const PlanesOfRun planes(globals);

    AnalyseBackdrop(globals);
    globals->finalRender = 1;
    KeyPicture(globals);

    // After an abort too: the rows that were not reached are written as the host's memory gave them.
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
    const PixelMemoryDesc memory = {plane, globals->planeWidth * channel->depth, channel->depth, 0,
                                    channel->depth};
    if (globals->gPSChannelPortsSuite->WritePixelsToBaseLevel(channel->writePort, &rect, &memory) != 0) {
        Fail(globals, errPlugInHostInsufficient);
    }
}

}  // namespace filter

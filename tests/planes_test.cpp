// Reading the document into planes: which layer goes where, at either depth, at full size and reduced, and
// what a plane holds that nothing was read into.
#include "shell/planes.h"

#include <sstream>

#include "tests/shell_rig.h"

namespace {

const char* const kNames[] = {"topR", "topG", "topB", "topA", "selection", "bottomR", "bottomG", "bottomB"};

using ScaledRead = SPErr (*)(PIChannelPort, VRect*, const PSScaling*, const PixelMemoryDesc*);

SPErr NarrowRead(PIChannelPort, VRect* rect, const PSScaling*, const PixelMemoryDesc*) {
    --rect->right;
    return noErr;
}

SPErr ShortRead(PIChannelPort, VRect* rect, const PSScaling*, const PixelMemoryDesc*) {
    --rect->bottom;
    return noErr;
}

struct Load {
    const char* title;
    void (*change)(Document&, HostOptions&) = [](Document&, HostOptions&) {};
    OSErr code = noErr;         // that the result cell holds before
    ScaledRead read = nullptr;  // in place of the host's
};

const Load kLoads[] = {
    {"16 bits"},
    {"8 bits", [](Document& d, HostOptions&) { d = PatternDocument(4, 3, 8, 2); }},
    {"three layers", [](Document& d, HostOptions&) { d = PatternDocument(4, 3, 8, 3); }},
    {"one layer", [](Document& d, HostOptions&) { d = PatternDocument(4, 3, 16, 1); }},
    {"no layer, 8 bits", [](Document& d, HostOptions&) { d = PatternDocument(4, 3, 8, 0); }},
    {"a dark green channel, bounds away from 0",
     [](Document& d, HostOptions&) {
         d.bounds = {1, -2, 4, 2};
         for (int i = 1; i < 24; i += 2) d.layers[1].colour[1].bytes[i] = 0;
     }},
    {"channels that cannot be read",
     [](Document& d, HostOptions&) {
         for (Layer& layer : d.layers) layer.colour[1].readable = false;
         d.layers[1].transparency->readable = d.selection->readable = false;
     }},
    {"a shallow selection", [](Document& d, HostOptions&) { d.selection = PatternChannel(d, 9, 8); }},
    {"a code from before", [](Document&, HostOptions&) {}, memFullErr},
    {"CanRead fails", [](Document&, HostOptions& o) { o = FailingAt(HostCall::kCanRead, 2); }},
    {"all CanRead fail", [](Document&, HostOptions& o) { o = FailingAt(HostCall::kCanRead, 0); }},
    {"all reads fail", [](Document&, HostOptions& o) { o = FailingAt(HostCall::kReadPixels, 0); }},
    {"all scaled reads fail",
     [](Document&, HostOptions& o) { o = FailingAt(HostCall::kReadScaledPixels, 0); }},
    {"fewer rows and columns", [](Document&, HostOptions& o) { o.shrinkScaledReads = true; }},
    {"fewer columns", [](Document&, HostOptions&) {}, noErr, NarrowRead},
    {"fewer rows", [](Document&, HostOptions&) {}, noErr, ShortRead},
    {"no seventh plane", [](Document&, HostOptions& o) { o = FailingAt(HostCall::kNewBuffer, 7); }},
};

// Loads twice, so that planes are given back too, and tells the calls and what the input planes hold.
void TellLoad(const Load& load, bool reduced, std::uint8_t fill, Trace* trace) {
    Document document = PatternDocument(4, 3, 16, 2);
    document.selection = PatternChannel(document, 90);
    HostOptions options;
    load.change(document, options);
    options.fillByte = fill;
    ShellRig rig(document, trace->Listen(options));
    Globals& g = *rig.globals;
    PSChannelPortsSuite ports = *g.gPSChannelPortsSuite;
    if (load.read != nullptr) ports.ReadScaledPixels = load.read;
    g.gPSChannelPortsSuite = &ports;
    g.proxyRect = {2, 2, 4, 5};  // 2 rows of 3: the lower right part, at zoom 25 as it is
    g.previewZoom = 25;
    g.previewScrollX = g.previewScrollY = 100;
    ReadChannelDesc ofAnEarlierDocument = {};
    g.topTransparency = &ofAnEarlierDocument;
    for (int count = 1; count <= 2; ++count) {
        rig.result = load.code;
        const bool exist = LoadPlanes(&g, reduced);
        std::ostringstream line;
        line << "LoadPlanes -> " << exist << ", " << rig.result << ", " << g.planeHeight << " by "
             << g.planeWidth << ", of " << g.maxSample;
        for (int i = 0; exist && i < 8; ++i) {
            const bool whole = kPlanes[i] == &Globals::selectionPlane;
            line << '\n' << kNames[i];
            if (whole && document.selection == std::nullopt) continue;  // nobody reads it
            for (int k = 0; k < (whole ? 12 : g.planeHeight * g.planeWidth); ++k) {
                line << ' ' << (g.depthBytes == 1 ? (g.*kPlanes[i])[k] : (g.*kPlanes16[i])[k]);
            }
        }
        trace->Add(line.str());
    }
}

// Whatever cannot be read, no input plane holds what the host's new blocks held.
TEST(LoadPlanes, DoesWhatItsTraceSaysAndLeavesNoForeignMemory) {
    Trace traces[2];
    for (const std::uint8_t fill : {0x00, 0xA5}) {
        for (const Load& load : kLoads) {
            for (const bool reduced : {false, true}) {
                traces[fill != 0].Begin(load.title + std::string(reduced ? ", reduced" : ""));
                TellLoad(load, reduced, fill, &traces[fill != 0]);
            }
        }
    }
    EXPECT_TRUE(MatchesTrace(traces[0].text, "planes"));
    EXPECT_TRUE(MatchesTrace(traces[1].text, "planes"));
}

// What no document should be like.
TEST(LoadPlanes, RefusesWhatCannotBeWorkedWith) {
    ShellRig rig(PatternDocument(4, 3, 8, 2));
    ReadImageDocumentDesc& document = *rig.globals->docInfo;
    const ReadImageDocumentDesc sound = document;
    const auto codeOf = [&](bool reduced) {
        rig.result = 0;
        EXPECT_FALSE(LoadPlanes(rig.globals, reduced));
        EXPECT_EQ(0, CountLive(*rig.host).buffers);
        document = sound;
        return rig.result;
    };
    for (const VRect& bounds : {VRect{0, 0, 0, 4}, VRect{0, 0, 3, -4}, VRect{0, INT32_MIN, 3, INT32_MAX}}) {
        document.bounds = bounds;
        EXPECT_EQ(errPlugInHostInsufficient, codeOf(false)) << bounds.bottom << ' ' << bounds.right;
    }
    document.bounds = {0, 0, 70000, 70000};
    EXPECT_EQ(memFullErr, codeOf(false)) << "more than the buffer suite can be asked for";
    document.bounds = {0, 0, 1, 300000000};
    EXPECT_EQ(memFullErr, codeOf(false)) << "more bits a row than a memory record holds";
    document.targetCompositeChannels = nullptr;
    EXPECT_EQ(errPlugInHostInsufficient, codeOf(false));
    ReadChannelDesc bitmap = *sound.targetCompositeChannels;
    bitmap.depth = 1;
    document.targetCompositeChannels = &bitmap;
    EXPECT_EQ(errPlugInHostInsufficient, codeOf(false));
    rig.globals->proxyRect = {2, 2, 1, 100};
    EXPECT_EQ(0, codeOf(true)) << "a preview without pixels is no failure of the run";

    // A channel of deeper samples than the planes would be read past their ends.
    document.layersDescriptor->next->compositeChannelsList->depth = 16;
    EXPECT_TRUE(LoadPlanes(rig.globals, false));
    EXPECT_EQ(errPlugInHostInsufficient, rig.result);
}

}  // namespace

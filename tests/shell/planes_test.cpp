// Reading the document into planes: which layer goes where, at both depths, at full size and reduced, and
// what an unread plane contains.
#include "shell/planes.h"

#include <sstream>

#include "tests/support/test_shell.h"

namespace {

using namespace test_support;

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

// Loads and writes the input planes to the trace; twice where the words ask for it, since a load releases the
// planes of an earlier one.
void TraceLoad(std::istream& words, RunSetup setup, ScaledRead read, Trace* trace) {
    std::string size, again;
    OSErr code = noErr;  // that the result cell holds before
    words >> size >> code >> again;
    const bool reduced = size == "reduced";
    TestShell shell(setup.document, trace->Listen(setup.options));
    Globals& g = *shell.globals;
    PSChannelPortsSuite ports = *g.gPSChannelPortsSuite;
    if (read != nullptr) ports.ReadScaledPixels = read;
    g.gPSChannelPortsSuite = &ports;
    g.proxyRect = {2, 2, 4, 5};  // 2 rows of 3: the lower right part, at zoom 25 as it is
    g.previewZoom = 25;
    g.previewScrollX = g.previewScrollY = 100;
    ReadChannelDesc ofAnEarlierDocument = *g.docInfo->targetCompositeChannels;
    g.topTransparency = &ofAnEarlierDocument;
    for (int load = 0; load < (again.empty() ? 1 : 2); ++load) {
        shell.result = code;
        const bool exist = LoadPlanes(&g, reduced);
        std::ostringstream line;
        line << "LoadPlanes -> " << exist << ", " << shell.result << ", " << g.planeHeight << " by "
             << g.planeWidth << ", of " << g.maxSample;
        for (int i = 0; exist && i < 8; ++i) {
            const bool whole = kPlanes[i] == &Globals::selectionPlane;
            line << '\n' << kNames[i];
            if (whole && !setup.document.selection) continue;  // nobody reads it
            for (int k = 0; k < (whole ? 12 : g.planeHeight * g.planeWidth); ++k) {
                line << ' ' << (g.depthBytes == 1 ? (g.*kPlanes[i])[k] : (g.*kPlanes16[i])[k]);
            }
        }
        trace->Add(line.str());
    }
}

// An unread plane is cleared: it does not show the content of the host's new blocks.
TEST(LoadPlanes, MatchesItsTraceAndClearsUnreadPlanes) {
    for (const std::uint8_t fill : {0x00, 0xA5}) {
        Trace trace;
        RunSetup setup;
        ScaledRead read = nullptr;
        EXPECT_TRUE(trace.Follow("shell/planes", [&](const std::string& word, std::istream& words) {
            setup.options.fillByte = fill;
            if (word == "dark-green") {
                for (int i = 1; i < 24; i += 2) setup.document.layers[1].colour[1].bytes[i] = 0;
                setup.document.layers[1].colour[1].bytes[12] = 255;  // the largest that is not scaled
            } else if (word == "fewer-rows-and-columns") {
                setup.options.shrinkScaledReads = true;
            } else if (word == "fewer-columns" || word == "fewer-rows") {
                read = word == "fewer-rows" ? ShortRead : NarrowRead;
            } else if (word == "load") {
                TraceLoad(words, setup, read, &trace);
            } else {
                read = nullptr;
                ChangeSetup(word, words, &setup);
            }
        }));
    }
}

TEST(LoadPlanes, RefusesInvalidDocuments) {
    TestShell shell(PatternDocument(4, 3, 8, 2));
    ReadImageDocumentDesc& document = *shell.globals->docInfo;
    const ReadImageDocumentDesc sound = document;
    const auto codeOf = [&](bool reduced) {
        shell.result = 0;
        EXPECT_FALSE(LoadPlanes(shell.globals, reduced));
        EXPECT_EQ(CountLive(*shell.host).buffers, 0);
        document = sound;
        return shell.result;
    };
    for (const VRect& bounds : {VRect{0, 0, 0, 4}, VRect{0, 0, 3, -4}, VRect{0, INT32_MIN, 3, INT32_MAX}}) {
        document.bounds = bounds;
        EXPECT_EQ(codeOf(false), errPlugInHostInsufficient) << bounds.bottom << ' ' << bounds.right;
    }
    document.bounds = {0, 0, 70000, 70000};
    EXPECT_EQ(codeOf(false), memFullErr) << "more than the buffer suite's largest request";
    document.bounds = {0, 0, 1, 300000000};
    EXPECT_EQ(codeOf(false), memFullErr) << "more bits per row than a memory record can hold";
    document.targetCompositeChannels = nullptr;
    EXPECT_EQ(codeOf(false), errPlugInHostInsufficient);
    ReadChannelDesc bitmap = *sound.targetCompositeChannels;
    bitmap.depth = 1;
    document.targetCompositeChannels = &bitmap;
    EXPECT_EQ(codeOf(false), errPlugInHostInsufficient);
    shell.globals->proxyRect = {2, 2, 1, 100};
    EXPECT_EQ(codeOf(true), 0) << "a preview without pixels does not fail the run";

    // A channel of deeper samples than the planes would be read past their ends.
    document.layersDescriptor->next->compositeChannelsList->depth = 16;
    EXPECT_TRUE(LoadPlanes(shell.globals, false));
    EXPECT_EQ(shell.result, errPlugInHostInsufficient);
}

}  // namespace

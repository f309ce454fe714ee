// Reading the document into planes: which layer goes where, at either depth, at full size and reduced, and
// what a plane holds that nothing was read into.
#include "shell/planes.h"

#include "tests/shell_rig.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes PlaneBytes(const Globals* globals, const std::uint8_t* plane) {
    const std::size_t size = static_cast<std::size_t>(globals->planeWidth) * globals->planeHeight;
    return Bytes(plane, plane + size * globals->depthBytes);
}

void ExpectColours(const Globals* globals, const Layer& top, const Layer& bottom) {
    const std::uint8_t* const tops[] = {globals->topR, globals->topG, globals->topB};
    const std::uint8_t* const bottoms[] = {globals->bottomR, globals->bottomG, globals->bottomB};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(top.colour[i].bytes, PlaneBytes(globals, tops[i])) << "channel " << i;
        EXPECT_EQ(bottom.colour[i].bytes, PlaneBytes(globals, bottoms[i])) << "channel " << i;
    }
}

TEST(LoadPlanes, ReadsTheTwoLowestLayers) {
    for (int depth : {8, 16}) {
        for (int layers : {0, 1, 2, 3}) {
            Document document = PatternDocument(7, 5, depth, layers);
            document.selection = PatternChannel(document, 99);
            ShellRig rig(document);
            Globals& g = *rig.globals;
            ReadChannelDesc ofAnEarlierDocument = {};
            g.topTransparency = &ofAnEarlierDocument;
            for (int load = 1; load <= 2; ++load) ASSERT_TRUE(LoadPlanes(&g, false));
            EXPECT_EQ(kPlaneCount, CountLive(*rig.host).buffers) << "those of the first load were given back";
            EXPECT_TRUE(rig.result == 0 && g.depthBytes == depth / 8 && g.planeWidth == 7 &&
                        g.planeHeight == 5 && g.maxSample == (depth == 8 ? 255 : 32767));
            const Layer& bottom = layers == 0 ? *document.flat : document.layers[0];
            ExpectColours(&g, layers < 2 ? bottom : document.layers[1], bottom);
            const Channel opaque = MakeChannel(document, depth == 8 ? 255 : 32767);
            EXPECT_EQ((layers < 2 ? opaque : *document.layers[1].transparency).bytes, PlaneBytes(&g, g.topA));
            EXPECT_EQ(document.selection->bytes, PlaneBytes(&g, g.selectionPlane));
            for (int i = 0; i < kPlaneCount; ++i) {
                EXPECT_EQ(static_cast<void*>(g.*kPlanes[i]), g.*kPlanes16[i]);
            }
        }
    }
}

TEST(LoadPlanes, ReadsReducedAtTheProxysSize) {
    Document document = PatternDocument(8, 6, 16, 2);
    document.bounds = {30, -20, 36, -12};
    Layer& top = document.layers[1];
    top.transparency->readable = false;
    for (std::size_t i = 1; i < top.colour[1].bytes.size(); i += 2) {
        top.colour[1].bytes[i] = 0;  // a green channel without a sample above 255
    }
    ShellRig rig(document);
    Globals& g = *rig.globals;
    g.proxyRect = {2, 2, 5, 6};  // 3 rows of 4: the lower right quarter as it stands
    g.previewZoom = 50;
    g.previewScrollX = g.previewScrollY = 100;
    ASSERT_TRUE(LoadPlanes(&g, true));
    ASSERT_TRUE(g.planeWidth == 4 && g.planeHeight == 3 && g.maxSample == 255);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x) {
            const int red = SampleAt(document, top.colour[0], x + 4, y + 3);
            const int green = SampleAt(document, top.colour[1], x + 4, y + 3);
            EXPECT_EQ(red * 255 / 32767, g.topR16[y * 4 + x]) << x << ' ' << y;
            EXPECT_EQ(green, g.topG16[y * 4 + x]) << "taken at face value: " << x << ' ' << y;
            EXPECT_EQ(255, g.topA16[y * 4 + x]) << "opaque on the scale of the preview";
        }
    }
}

// Whatever cannot be read, no input plane holds what the host's new blocks held.
TEST(LoadPlanes, LeavesNoForeignMemoryInAPlane) {
    const struct {
        const char* what;
        void (*change)(Document&, HostOptions&);
        int code;  // that the result cell holds before
    } kCases[] = {
        {"a code from before", [](Document&, HostOptions&) {}, memFullErr},
        {"nothing can be asked", [](Document&, HostOptions& o) { o = FailingAt(HostCall::kCanRead, 0); }, 0},
        {"all reads fail", [](Document&, HostOptions& o) { o = FailingAt(HostCall::kReadPixels, 0); }, 0},
        {"scaled reads fail",
         [](Document&, HostOptions& o) { o = FailingAt(HostCall::kReadScaledPixels, 0); }, 0},
        {"channels that cannot be read",
         [](Document& d, HostOptions&) {
             for (Layer& layer : d.layers) layer.colour[1].readable = false;
             d.layers[1].transparency->readable = d.selection->readable = false;
         },
         0},
        {"bounds away from 0",
         [](Document& d, HostOptions&) {
             d.bounds = {3, 2, 6, 6};
         },
         0},
        {"a shallow selection", [](Document& d, HostOptions&) { d.selection = PatternChannel(d, 9, 8); }, 0},
    };
    for (const auto& c : kCases) {
        for (const bool reduced : {false, true}) {
            Bytes loaded[2];
            for (const std::uint8_t fill : {0x00, 0xA5}) {
                Document document = PatternDocument(4, 3, 16, 2);
                document.selection = PatternChannel(document, 90);
                HostOptions options;
                c.change(document, options);
                options.fillByte = fill;
                ShellRig rig(document, options);
                rig.globals->proxyRect = {0, 0, 3, 4};
                rig.result = static_cast<std::int16_t>(c.code);
                ASSERT_TRUE(LoadPlanes(rig.globals, reduced));
                for (int i = 0; i < 8; ++i) {
                    const Bytes bytes = PlaneBytes(rig.globals, rig.globals->*kPlanes[i]);
                    loaded[fill != 0].insert(loaded[fill != 0].end(), bytes.begin(), bytes.end());
                }
            }
            EXPECT_EQ(loaded[0], loaded[1]) << c.what << (reduced ? ", reduced" : "");
        }
    }
}

SPErr NarrowRead(PIChannelPort, VRect* rect, const PSScaling*, const PixelMemoryDesc*) {
    --rect->right;
    return noErr;
}

// A load twice over, so that planes are given back too; the second without a code.
TEST(LoadPlanes, CallsTheHostAsItsTraceSays) {
    HostOptions shrinking;
    shrinking.shrinkScaledReads = true;
    const struct {
        const char* title;
        HostOptions options;
        bool isNarrow;
    } kCases[] = {
        {"no failure", {}, false},
        {"CanRead fails", FailingAt(HostCall::kCanRead, 2), false},
        {"a scaled read fails", FailingAt(HostCall::kReadScaledPixels, 2), false},
        {"fewer rows and columns than asked for", shrinking, false},
        {"fewer columns than asked for", {}, true},
        {"no seventh plane", FailingAt(HostCall::kNewBuffer, 7), false},
    };
    Trace trace;
    for (const auto& [title, options, isNarrow] : kCases) {
        trace.Begin(title);
        Document document = PatternDocument(8, 6, 16, 2);
        document.selection = PatternChannel(document, 90);
        ShellRig rig(document, trace.Listen(options));
        PSChannelPortsSuite narrow = *rig.globals->gPSChannelPortsSuite;
        narrow.ReadScaledPixels = NarrowRead;
        if (isNarrow) rig.globals->gPSChannelPortsSuite = &narrow;
        rig.globals->proxyRect = {0, 0, 3, 4};
        for (int load = 1; load <= 2; ++load) {
            rig.result = 0;
            const bool exist = LoadPlanes(rig.globals, true);
            trace.Add("LoadPlanes -> " + std::to_string(exist) + ", " + std::to_string(rig.result));
        }
    }
    EXPECT_TRUE(MatchesTrace(trace.text, "planes"));
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

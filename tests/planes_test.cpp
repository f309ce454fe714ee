// Reading the document into planes: which layer goes where, at either depth, at full size and reduced, and
// what happens where something is missing.
#include "shell/planes.h"

#include <algorithm>
#include <cstring>

#include "tests/shell_rig.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// A plane of the working size, or of the document's for the selection.
Bytes PlaneBytes(const Globals* globals, const std::uint8_t* plane) {
    const std::size_t size = static_cast<std::size_t>(globals->planeWidth) * globals->planeHeight;
    return Bytes(plane, plane + size * globals->depthBytes);
}

void ExpectLayer(const Globals* globals, const Layer& layer, std::uint8_t* const (&planes)[3]) {
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(layer.colour[i].bytes, PlaneBytes(globals, planes[i])) << "channel " << i;
}

void ExpectTopAndBottom(const ShellRig& rig, const Layer& top, const Layer& bottom) {
    const Globals* globals = rig.globals;
    ExpectLayer(globals, top, {globals->topR, globals->topG, globals->topB});
    ExpectLayer(globals, bottom, {globals->bottomR, globals->bottomG, globals->bottomB});
}

TEST(LoadPlanes, ReadsTheTwoLowestLayers) {
    for (int depth : {8, 16}) {
        for (int layers : {2, 3}) {
            Document document = PatternDocument(7, 5, depth, layers);
            document.layers[1].colour.push_back(PatternChannel(document, 77));
            document.selection = PatternChannel(document, 99);
            ShellRig rig(document);
            ASSERT_TRUE(LoadPlanes(rig.globals, false));
            EXPECT_EQ(0, rig.result);
            EXPECT_EQ(depth / 8, rig.globals->depthBytes);
            EXPECT_EQ(depth == 8 ? 255 : 32767, rig.globals->maxSample);
            EXPECT_EQ(7, rig.globals->planeWidth);
            EXPECT_EQ(5, rig.globals->planeHeight);
            ExpectTopAndBottom(rig, document.layers[1], document.layers[0]);
            EXPECT_EQ(document.layers[1].transparency->bytes, PlaneBytes(rig.globals, rig.globals->topA));
            EXPECT_EQ(document.selection->bytes, PlaneBytes(rig.globals, rig.globals->selectionPlane));
            for (int i = 0; i < kPlaneCount; ++i) {
                EXPECT_EQ(static_cast<void*>(rig.globals->*kPlanes[i]), rig.globals->*kPlanes16[i]);
            }
            ASSERT_TRUE(LoadPlanes(rig.globals, false)) << "once more, over planes that exist";
            EXPECT_EQ(kPlaneCount, CountLive(*rig.host).buffers);
        }
    }
}

// The ports are asked from 0, 0 wherever the document's corner lies.
TEST(LoadPlanes, CountsFromTheCorner) {
    std::vector<std::string> reads;
    HostOptions options;
    options.trace = [&reads](const std::string& line) {
        if (line.find("ReadPixelsFromLevel") == 0) reads.push_back(line);
    };
    Document document = PatternDocument(7, 5, 16, 2);
    document.bounds = {-3, 2, 2, 9};
    ShellRig rig(document, options);
    ASSERT_TRUE(LoadPlanes(rig.globals, false));
    EXPECT_EQ(7u, reads.size());
    for (const std::string& line : reads) {
        EXPECT_NE(std::string::npos, line.find(" (0 0 5 7) ")) << line;
        EXPECT_NE(std::string::npos, line.find(" row 112 col 16 offset 0 depth 16 ")) << line;
    }
}

TEST(LoadPlanes, OneLayerServesAsBoth) {
    MessageLog messages;
    Document document = PatternDocument(4, 3, 8, 1);
    ShellRig rig(document);
    ReadChannelDesc ofAnEarlierDocument = {};
    rig.globals->topTransparency = &ofAnEarlierDocument;
    ASSERT_TRUE(LoadPlanes(rig.globals, false));
    ExpectTopAndBottom(rig, document.layers[0], document.layers[0]);
    EXPECT_EQ(nullptr, rig.globals->topTransparency);
    EXPECT_TRUE(messages.Lines().empty());
}

TEST(LoadPlanes, NoLayersAskForTwoAndGoOn) {
    MessageLog messages;
    Document document = PatternDocument(4, 3, 8, 0);
    ShellRig rig(document);
    ASSERT_TRUE(LoadPlanes(rig.globals, false));
    ExpectTopAndBottom(rig, *document.flat, *document.flat);
    EXPECT_EQ(
        std::vector<std::string>{"Problem: To use this plugin you need two layers. The bottom layer is the "
                                 "background with the green image as the top layer"},
        messages.Lines());
    EXPECT_EQ(0, rig.result);
}

TEST(LoadPlanes, AMissingTransparencyIsOpaque) {
    for (const std::string how : {"none", "withheld", "without a port"}) {
        for (int depth : {8, 16}) {
            Document document = PatternDocument(4, 3, depth, 2);
            if (how == "none") document.layers[1].transparency.reset();
            if (how == "withheld") document.layers[1].transparency->readable = false;
            ShellRig rig(document);
            if (how == "without a port") {
                rig.globals->docInfo->layersDescriptor->next->transparency->port = nullptr;
            }
            ASSERT_TRUE(LoadPlanes(rig.globals, false));
            const Channel full = MakeChannel(document, depth == 8 ? 255 : 32767);
            EXPECT_EQ(full.bytes, PlaneBytes(rig.globals, rig.globals->topA));
            rig.globals->proxyRect = {0, 0, 3, 4};
            ASSERT_TRUE(LoadPlanes(rig.globals, true));
            const Channel reduced = MakeChannel(document, 255);
            EXPECT_EQ(reduced.bytes, PlaneBytes(rig.globals, rig.globals->topA)) << "on the preview's scale";
        }
    }
}

TEST(LoadPlanes, ReadsReducedAtTheProxysSize) {
    Document document = PatternDocument(8, 6, 16, 2);
    for (std::size_t i = 1; i < document.layers[1].colour[1].bytes.size(); i += 2) {
        document.layers[1].colour[1].bytes[i] = 0;  // a green channel without a sample above 255
    }
    document.selection = PatternChannel(document, 99);
    ShellRig rig(document);
    rig.globals->proxyRect = {2, 2, 5, 6};  // 3 rows of 4: each sample the mean of 2 by 2, or of 1 at zoom 50
    rig.globals->previewZoom = 50;
    rig.globals->previewScrollX = 100;
    rig.globals->previewScrollY = 100;
    ASSERT_TRUE(LoadPlanes(rig.globals, true));
    EXPECT_EQ(255, rig.globals->maxSample);
    EXPECT_EQ(4, rig.globals->planeWidth);
    EXPECT_EQ(3, rig.globals->planeHeight);
    const Layer& top = document.layers[1];
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x) {
            const int red = SampleAt(document, top.colour[0], x + 4, y + 3);
            const int green = SampleAt(document, top.colour[1], x + 4, y + 3);
            EXPECT_EQ(red * 255 / 32767, rig.globals->topR16[y * 4 + x]) << x << ' ' << y;
            EXPECT_EQ(green, rig.globals->topG16[y * 4 + x]) << "taken at face value: " << x << ' ' << y;
        }
    }
    const Bytes& selection = document.selection->bytes;
    EXPECT_EQ(0, std::memcmp(selection.data(), rig.globals->selectionPlane, selection.size()))
        << "the selection at the document's size and on its scale";
}

TEST(LoadPlanes, TellsOfReadsThatFail) {
    const struct {
        HostCall kind;
        bool reduced;
        OSErr result;
        std::vector<std::string> messages;
    } kCases[] = {
        {HostCall::kCanRead, false, errPlugInHostInsufficient, {"Cannot Read Data: gPSChannelPortsSuite"}},
        {HostCall::kCanRead, true, errPlugInHostInsufficient, {"Cannot Read Data: gPSChannelPortsSuite"}},
        {HostCall::kReadPixels, false, errPlugInHostInsufficient, {}},
        {HostCall::kReadScaledPixels, true, 0, {"Error Reading Scaled Data: Error"}},
    };
    for (const auto& failing : kCases) {
        MessageLog messages;
        std::vector<std::string> trace;
        HostOptions options;
        options.failKindEnabled = true;
        options.failKind = failing.kind;
        options.failKindAt = 2;  // the top layer's green
        options.trace = [&trace](const std::string& line) {
            trace.push_back(line.substr(0, line.find(' ')));
        };
        ShellRig rig(PatternDocument(4, 3, 8, 2), options);
        rig.globals->proxyRect = {0, 0, 3, 4};
        trace.clear();
        EXPECT_TRUE(LoadPlanes(rig.globals, failing.reduced)) << "the planes exist, whatever they hold";
        EXPECT_EQ(failing.result, rig.result);
        EXPECT_EQ(failing.messages, messages.Lines());
        if (failing.kind == HostCall::kReadScaledPixels) {
            EXPECT_EQ(Bytes(12, 0), PlaneBytes(rig.globals, rig.globals->topG)) << "cleared before the read";
        }
        // After a code the colours are read no further, but the transparency is.
        EXPECT_EQ(failing.result == 0 ? 7 : 3, std::count(trace.begin(), trace.end(), "CanRead"));
    }

    MessageLog messages;
    HostOptions options;
    options.shrinkScaledReads = true;
    ShellRig rig(PatternDocument(4, 3, 8, 2), options);
    rig.globals->proxyRect = {0, 0, 3, 4};
    EXPECT_TRUE(LoadPlanes(rig.globals, true));
    EXPECT_EQ(std::vector<std::string>(7, "Error Reading Scaled Data: Error"), messages.Lines());
    EXPECT_EQ(0, rig.result);
}

TEST(LoadPlanes, GivesBackWhatItMadeWhenMemoryEnds) {
    for (int n = 1; n <= kPlaneCount; ++n) {
        HostOptions options;
        options.failKindEnabled = true;
        options.failKind = HostCall::kNewBuffer;
        options.failKindAt = n;
        ShellRig rig(PatternDocument(4, 3, 8, 2), options);
        EXPECT_FALSE(LoadPlanes(rig.globals, false)) << n;
        EXPECT_EQ(memFullErr, rig.result) << n;
        EXPECT_EQ(0, CountLive(*rig.host).buffers) << n;
        for (auto plane : kPlanes) EXPECT_EQ(nullptr, rig.globals->*plane) << n;
    }
}

// What no document should be like.
TEST(LoadPlanes, RefusesWhatCannotBeWorkedWith) {
    MessageLog messages;
    ShellRig rig(PatternDocument(4, 3, 8, 2));
    const ReadImageDocumentDesc sound = *rig.record->documentInfo;
    ReadImageDocumentDesc document = sound;
    rig.globals->docInfo = &document;
    const auto codeOf = [&rig](bool reduced) {
        rig.result = 0;
        EXPECT_FALSE(LoadPlanes(rig.globals, reduced));
        EXPECT_EQ(0, CountLive(*rig.host).buffers);
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
    document = sound;
    document.targetCompositeChannels = nullptr;
    EXPECT_EQ(errPlugInHostInsufficient, codeOf(false));
    ReadChannelDesc bitmap = *sound.targetCompositeChannels;
    bitmap.depth = 1;
    document.targetCompositeChannels = &bitmap;
    EXPECT_EQ(errPlugInHostInsufficient, codeOf(false));
    document = sound;
    rig.globals->proxyRect = {2, 2, 1, 100};
    EXPECT_EQ(0, codeOf(true)) << "a preview without pixels is no failure of the run";
    rig.globals->docInfo = nullptr;
    EXPECT_EQ(errPlugInHostInsufficient, codeOf(false));

    // A channel of deeper samples than the planes would be read past their ends.
    rig.globals->docInfo = rig.record->documentInfo;
    rig.globals->docInfo->layersDescriptor->next->compositeChannelsList->depth = 16;
    rig.result = 0;
    EXPECT_TRUE(LoadPlanes(rig.globals, false));
    EXPECT_EQ(errPlugInHostInsufficient, rig.result);
}

TEST(ViewOf, FollowsZoomAndScroll) {
    ReadImageDocumentDesc document = {};
    document.bounds = {10, -20, 10 + 333, -20 + 1001};
    Globals globals = {};
    globals.docInfo = &document;
    const struct {
        int zoom, scrollX, scrollY;
        PreviewView view;
    } kCases[] = {
        {0, 0, 0, {10, -20, 333, 1001}},   {0, 70, 30, {10, -20, 333, 1001}},
        {50, 0, 0, {10, -20, 166, 500}},   {50, 100, 100, {177, 481, 166, 500}},
        {33, 50, 25, {37, 145, 223, 670}}, {100, 0, 0, {10, -20, 0, 0}},
        {100, 100, 100, {343, 981, 0, 0}},
    };
    for (const auto& c : kCases) {
        globals.previewZoom = c.zoom;
        globals.previewScrollX = c.scrollX;
        globals.previewScrollY = c.scrollY;
        const PreviewView view = ViewOf(&globals);
        EXPECT_EQ(c.view.top, view.top) << "zoom " << c.zoom;
        EXPECT_EQ(c.view.left, view.left) << "zoom " << c.zoom;
        EXPECT_EQ(c.view.spanH, view.spanH) << "zoom " << c.zoom;
        EXPECT_EQ(c.view.spanW, view.spanW) << "zoom " << c.zoom;
    }
}

}  // namespace

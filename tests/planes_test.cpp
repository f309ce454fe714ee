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
        for (int layers : {2, 3}) {
            Document document = PatternDocument(7, 5, depth, layers);
            document.layers[1].colour.push_back(PatternChannel(document, 77));
            document.selection = PatternChannel(document, 99);
            ShellRig rig(document);
            for (int load = 1; load <= 2; ++load) ASSERT_TRUE(LoadPlanes(rig.globals, false));
            EXPECT_EQ(kPlaneCount, CountLive(*rig.host).buffers) << "those of the first load were given back";
            EXPECT_EQ(0, rig.result);
            EXPECT_EQ(depth / 8, rig.globals->depthBytes);
            EXPECT_EQ(depth == 8 ? 255 : 32767, rig.globals->maxSample);
            ASSERT_TRUE(rig.globals->planeWidth == 7 && rig.globals->planeHeight == 5);
            ExpectColours(rig.globals, document.layers[1], document.layers[0]);
            EXPECT_EQ(document.layers[1].transparency->bytes, PlaneBytes(rig.globals, rig.globals->topA));
            EXPECT_EQ(document.selection->bytes, PlaneBytes(rig.globals, rig.globals->selectionPlane));
            for (int i = 0; i < kPlaneCount; ++i) {
                EXPECT_EQ(static_cast<void*>(rig.globals->*kPlanes[i]), rig.globals->*kPlanes16[i]);
            }
        }
    }
}

// The ports are asked from 0, 0 wherever the document's corner lies.
TEST(LoadPlanes, CountsFromTheCorner) {
    int reads = 0;
    HostOptions options;
    options.trace = [&reads](const std::string& line) {
        if (line.find("ReadPixelsFromLevel") != 0) return;
        EXPECT_NE(line.npos, line.find(" (0 0 5 7) ")) << line;
        EXPECT_NE(line.npos, line.find(" row 112 col 16 offset 0 depth 16 ")) << line;
        ++reads;
    };
    Document document = PatternDocument(7, 5, 16, 2);
    document.bounds = {-3, 2, 2, 9};
    ShellRig rig(document, options);
    ASSERT_TRUE(LoadPlanes(rig.globals, false));
    EXPECT_EQ(7, reads);
}

TEST(LoadPlanes, OneLayerServesAsBothAndNoneAsksForTwo) {
    MessageLog messages;
    {
        Document document = PatternDocument(4, 3, 8, 1);
        ShellRig rig(document);
        ReadChannelDesc ofAnEarlierDocument = {};
        rig.globals->topTransparency = &ofAnEarlierDocument;
        ASSERT_TRUE(LoadPlanes(rig.globals, false));
        ExpectColours(rig.globals, document.layers[0], document.layers[0]);
        EXPECT_EQ(nullptr, rig.globals->topTransparency);
        EXPECT_TRUE(messages.Lines().empty());
    }
    Document document = PatternDocument(4, 3, 8, 0);
    ShellRig rig(document);
    ASSERT_TRUE(LoadPlanes(rig.globals, false));
    ExpectColours(rig.globals, *document.flat, *document.flat);
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
            rig.globals->proxyRect = {0, 0, 3, 4};
            for (const bool reduced : {false, true}) {
                ASSERT_TRUE(LoadPlanes(rig.globals, reduced));
                const Channel opaque = MakeChannel(document, depth == 8 || reduced ? 255 : 32767);
                EXPECT_EQ(opaque.bytes, PlaneBytes(rig.globals, rig.globals->topA)) << how << ' ' << depth;
            }
        }
    }
}

TEST(LoadPlanes, ReadsReducedAtTheProxysSize) {
    Document document = PatternDocument(8, 6, 16, 2);
    document.bounds = {30, -20, 36, -12};
    const Layer& top = document.layers[1];
    for (std::size_t i = 1; i < top.colour[1].bytes.size(); i += 2) {
        document.layers[1].colour[1].bytes[i] = 0;  // a green channel without a sample above 255
    }
    ShellRig rig(document);
    rig.globals->proxyRect = {2, 2, 5, 6};  // 3 rows of 4: the lower right quarter as it stands
    rig.globals->previewZoom = 50;
    rig.globals->previewScrollX = rig.globals->previewScrollY = 100;
    ASSERT_TRUE(LoadPlanes(rig.globals, true));
    EXPECT_EQ(255, rig.globals->maxSample);
    ASSERT_TRUE(rig.globals->planeWidth == 4 && rig.globals->planeHeight == 3);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x) {
            const int red = SampleAt(document, top.colour[0], x + 4, y + 3);
            const int green = SampleAt(document, top.colour[1], x + 4, y + 3);
            EXPECT_EQ(red * 255 / 32767, rig.globals->topR16[y * 4 + x]) << x << ' ' << y;
            EXPECT_EQ(green, rig.globals->topG16[y * 4 + x]) << "taken at face value: " << x << ' ' << y;
        }
    }
}

TEST(LoadPlanes, TellsOfReadsThatFail) {
    const std::string unreadable = "Cannot Read Data: gPSChannelPortsSuite",
                      unscaled = "Error Reading Scaled Data: Error";
    HostOptions shrinking;
    shrinking.shrinkScaledReads = true;
    const struct {
        HostOptions options;
        bool reduced;
        OSErr result;
        int questions;  // after a code the colours are read no further, but the transparency is
        std::vector<std::string> messages;
    } kCases[] = {
        {FailingAt(HostCall::kCanRead, 2), false, errPlugInHostInsufficient, 3, {unreadable}},
        {FailingAt(HostCall::kCanRead, 2), true, errPlugInHostInsufficient, 3, {unreadable}},
        {FailingAt(HostCall::kReadPixels, 2), false, errPlugInHostInsufficient, 3, {}},
        {FailingAt(HostCall::kReadScaledPixels, 2), true, 0, 7, {unscaled}},
        {shrinking, true, 0, 7, std::vector<std::string>(7, unscaled)},
    };
    for (const auto& failing : kCases) {
        MessageLog messages;
        int questions = 0;
        HostOptions options = failing.options;
        options.trace = [&](const std::string& line) { questions += line.find("CanRead") == 0; };
        ShellRig rig(PatternDocument(4, 3, 8, 2), options);
        rig.globals->proxyRect = {0, 0, 3, 4};
        EXPECT_TRUE(LoadPlanes(rig.globals, failing.reduced)) << "the planes exist, whatever they hold";
        EXPECT_EQ(failing.result, rig.result);
        EXPECT_EQ(failing.questions, questions);
        EXPECT_EQ(failing.messages, messages.Lines());
        if (options.failKind == HostCall::kReadScaledPixels) {
            EXPECT_EQ(Bytes(12, 0), PlaneBytes(rig.globals, rig.globals->topG)) << "cleared before the read";
        }
    }
}

// What no document should be like.
TEST(LoadPlanes, RefusesWhatCannotBeWorkedWith) {
    MessageLog messages;
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

// The full-size run: what reaches which channel of the document, and what a failure at any call leaves.
#include "shell/render.h"

#include <algorithm>

#include "engine/keying.h"
#include "shell/planes.h"
#include "tests/host_faults.h"
#include "tests/shell_rig.h"

namespace {

void ExpectSameLayer(const Layer& expected, const Layer& actual) {
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(expected.colour[i].bytes == actual.colour[i].bytes) << "channel " << i;
    ASSERT_EQ(expected.transparency.has_value(), actual.transparency.has_value());
    if (!expected.transparency) return;
    EXPECT_TRUE(expected.transparency->bytes == actual.transparency->bytes) << "transparency";
}

// The target layer with what the engine by itself makes of the document, in every channel that can be
// written.
Layer Keyed(const Document& document, bool blend) {
    ShellRig rig(document);
    rig.globals->FlagRealityInteg = blend;
    EXPECT_TRUE(LoadPlanes(rig.globals, false));
    AnalyseBackdrop(rig.globals);
    rig.globals->finalRender = 1;
    KeyPicture(rig.globals);
    Layer layer = document.layers[document.targetLayer];
    const auto take = [](Channel& channel, const std::uint8_t* plane) {
        if (!channel.writable || !channel.hasWritePort) return;
        std::copy_n(plane, channel.bytes.size(), channel.bytes.begin());
    };
    take(layer.colour[0], rig.globals->outR);
    take(layer.colour[1], rig.globals->outG);
    take(layer.colour[2], rig.globals->outB);
    if (layer.transparency) take(*layer.transparency, rig.globals->outA);
    return layer;
}

// A run writes that, and nothing else.
void ExpectKeyed(const Document& original, bool blend) {
    Document document = original;
    std::vector<Layer> expected = original.layers;
    expected[original.targetLayer] = Keyed(original, blend);
    EXPECT_EQ(0, RunStrictly(document, {}, {{FourCC("RInt"), kTypeBoolean, blend}}).result);
    for (std::size_t i = 0; i < expected.size(); ++i) ExpectSameLayer(expected[i], document.layers[i]);
    const Channel& before = original.layers[original.targetLayer].colour[1];
    EXPECT_FALSE(before.bytes == expected[original.targetLayer].colour[1].bytes) << "nothing was keyed";
}

TEST(RunFullRender, WritesWhatCanBeWrittenOfTheTargetWhateverItIs) {
    for (int depth : {8, 16}) {
        for (int target : {0, 1, 2}) {
            SCOPED_TRACE("depth " + std::to_string(depth) + " target " + std::to_string(target));
            Document document = GreenDocument(11, 9, depth, 3);
            document.targetLayer = target;
            document.layers[2].colour[0].writable = false;
            document.layers[2].colour[2].hasWritePort = false;
            ExpectKeyed(document, true);
        }
    }
}

TEST(RunFullRender, TakesDocumentsOfOnePixelAndOfOneLine) {
    const std::pair<int, int> sizes[] = {{1, 1}, {1, 30000}, {30000, 1}};
    for (const auto& [width, height] : sizes) {
        for (int choice = 0; choice < 8; ++choice) {
            SCOPED_TRACE(std::to_string(width) + " wide, choice " + std::to_string(choice));
            Document document = GreenDocument(width, height, (choice & 2) != 0 ? 16 : 8, 2);
            if ((choice & 4) != 0) document.selection = PatternChannel(document, 90);
            ExpectKeyed(document, (choice & 1) != 0);
        }
    }
}

TEST(RunFullRender, RefusesToWritePastAPlane) {
    ShellRig rig(PatternDocument(4, 3, 8, 2));
    rig.globals->depthBytes = 1;
    std::uint8_t plane[12] = {};
    ReadChannelDesc deep = *rig.record->documentInfo->targetCompositeChannels;
    deep.depth = 16;
    WriteChannelPlane(rig.globals, &deep, plane);
    EXPECT_EQ(errPlugInHostInsufficient, rig.result);
}

// An abort is no failure: what was keyed and what was not is written alike.
TEST(RunFullRender, AnAbortedRunIsWritten) {
    Document document = PatternDocument(5, 90, 8, 2);
    HostOptions options;
    options.abortAt = 2;
    // With blended edges the output goes row by row, without a flush.
    EXPECT_EQ(0, RunStrictly(document, options, {{FourCC("OutA"), kTypeBoolean, 1}}).result);
    const std::vector<std::uint8_t>& red = document.layers[1].colour[0].bytes;
    EXPECT_EQ(std::vector<std::uint8_t>(5, options.fillByte),
              std::vector<std::uint8_t>(red.end() - 5, red.end()));
}

const Descriptor kSomething = {{FourCC("RGre"), kTypeInteger, 90}, {FourCC("RInt"), kTypeBoolean, 0}};

// Every call that can fail does so once. Nothing leaks, the code is right, a run without memory leaves the
// document as it was, and the next run is as good as ever.
TEST(RunFullRender, SurvivesTheFailureOfAnyCall) {
    Document original = PatternDocument(7, 6, 8, 2);
    original.selection = PatternChannel(original, 90);
    Document clean = original;
    for (int call = 0;; ++call) {  // none at first
        SCOPED_TRACE("call " + std::to_string(call));
        const MessageLog messages;
        HostOptions options;
        options.failAt = call;
        HostPtr host = CreateHost(options);
        const auto runOn = [&host](Document& on) {
            GiveDescriptor(*host, kSomething);
            return RunFilter(*host, PluginMain, on, AskForParameters::kYes);
        };
        Document document = original;
        const RunResult run = runOn(document);
        const std::vector<HostCall> failures = ReportOf(*host).failures;
        const HostCall failed = failures.empty() ? HostCall::kBrowseUrl : failures[0];
        EXPECT_EQ(CodeAfterFailureOf(failed), run.result);
        EXPECT_EQ(failed == HostCall::kCanRead ? 1u : 0u, MessageLog::Lines().size());
        const bool mayTouch = run.lastSelector == filterSelectorFinish || IsPortCall(failed);
        if (!mayTouch) ExpectSameLayer(original.layers[1], document.layers[1]);
        if (call == 0) clean = document;
        OptionsOf(*host).failAt = 0;
        document = original;
        EXPECT_EQ(0, runOn(document).result);
        ExpectSameLayer(clean.layers[1], document.layers[1]);
        CloseHost(*host);
        EXPECT_EQ("", ViolationText(*host));
        if (call > 0 && failures.empty()) break;
    }
}

TEST(RunFullRender, NamesWhatTheHostLacks) {
    const struct {
        const char* what;
        OSErr result;
        void (*change)(FilterRecord&);
    } kCases[] = {
        {"broker", errPlugInHostInsufficient, [](FilterRecord& r) { r.sSPBasic = nullptr; }},
        {"document", errPlugInHostInsufficient, [](FilterRecord& r) { r.documentInfo = nullptr; }},
        {"descriptors", noErr, [](FilterRecord& r) { r.descriptorParameters = nullptr; }},
    };
    for (const auto& lacking : kCases) {
        HostOptions options;
        options.adjustRecord = lacking.change;
        Document document = PatternDocument(7, 6, 8, 2);
        EXPECT_EQ(lacking.result, RunStrictly(document, options).result) << lacking.what;
    }
    Document document = PatternDocument(7, 6, 8, 2);
    HostOptions options;
    options.allocateBlockGivesNull = true;
    EXPECT_EQ(memFullErr, RunStrictly(document, options).result) << "no block, and no code either";
}

}  // namespace

// The full-size run: what reaches which channel of the document, and what a failure at any call leaves.
#include "shell/render.h"

#include "engine/keying.h"
#include "shell/planes.h"
#include "shell/plugin_main.h"
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

// What the engine by itself makes of the document: red, green, blue and alpha.
std::vector<std::vector<std::uint8_t>> Keyed(const Document& document, bool blend = true) {
    ShellRig rig(document);
    rig.globals->FlagRealityInteg = blend;
    EXPECT_TRUE(LoadPlanes(rig.globals, false));
    AnalyseBackdrop(rig.globals);
    rig.globals->finalRender = 1;
    KeyPicture(rig.globals);
    std::vector<std::vector<std::uint8_t>> planes;
    const std::size_t size = document.layers[0].colour[0].bytes.size();
    for (auto plane : {&Globals::outR, &Globals::outG, &Globals::outB, &Globals::outA}) {
        planes.emplace_back(rig.globals->*plane, rig.globals->*plane + size);
    }
    return planes;
}

RunResult RunOn(Host& host, Document& document) {
    return RunFilter(host, PluginMain, document, AskForParameters::kYes);
}

TEST(RunFullRender, WritesToTheTargetWhateverItIs) {
    for (int depth : {8, 16}) {
        for (int target : {0, 1, 2}) {
            Document document = GreenDocument(11, 9, depth, 3);
            document.targetLayer = target;
            const Document before = document;
            const auto keyed = Keyed(document);
            HostPtr host = CreateHost();
            EXPECT_EQ(0, RunOn(*host, document).result);
            CloseHost(*host);
            EXPECT_EQ("", ViolationText(*host));
            for (int layer = 0; layer < 3; ++layer) {
                SCOPED_TRACE("depth " + std::to_string(depth) + " target " + std::to_string(target) +
                             " layer " + std::to_string(layer));
                Layer expected = before.layers[layer];
                if (layer == target) {
                    for (int i = 0; i < 3; ++i) expected.colour[i].bytes = keyed[i];
                    if (expected.transparency) expected.transparency->bytes = keyed[3];
                }
                ExpectSameLayer(expected, document.layers[layer]);
            }
        }
    }
}

TEST(RunFullRender, TakesDocumentsOfOnePixelAndOfOneLine) {
    const struct { int width, height; } kSizes[] = {{1, 1}, {1, 30000}, {30000, 1}};
    for (const auto& size : kSizes) {
        for (int choice = 0; choice < 8; ++choice) {
            SCOPED_TRACE(std::to_string(size.width) + " wide, choice " + std::to_string(choice));
            const bool blend = (choice & 1) != 0;
            Document document = GreenDocument(size.width, size.height, (choice & 2) != 0 ? 16 : 8, 2);
            if ((choice & 4) != 0) document.selection = PatternChannel(document, 90);
            const Document before = document;
            const auto keyed = Keyed(document, blend);
            HostPtr host = CreateHost();
            GiveDescriptor(*host, {{FourCC("RInt"), kTypeBoolean, blend}});
            EXPECT_EQ(0, RunOn(*host, document).result);
            const Layer& layer = document.layers[1];
            for (int i = 0; i < 3; ++i) EXPECT_TRUE(keyed[i] == layer.colour[i].bytes) << "channel " << i;
            EXPECT_NE(before.layers[1].colour[1].bytes, layer.colour[1].bytes) << "nothing was keyed";
            CloseHost(*host);
            EXPECT_EQ("", ViolationText(*host));
        }
    }
}

TEST(RunFullRender, PassesOverWhatCannotBeWritten) {
    Document document = PatternDocument(11, 9, 8, 2);
    document.layers[1].colour[0].writable = false;
    document.layers[1].colour[2].hasWritePort = false;
    Layer expected = document.layers[1];
    const auto keyed = Keyed(document);
    expected.colour[1].bytes = keyed[1];
    expected.transparency->bytes = keyed[3];
    HostPtr host = CreateHost();
    EXPECT_EQ(0, RunOn(*host, document).result);
    ExpectSameLayer(expected, document.layers[1]);
    CloseHost(*host);
    EXPECT_EQ("", ViolationText(*host));
}

TEST(RunFullRender, RefusesToWritePastAPlane) {
    ShellRig rig(PatternDocument(4, 3, 8, 2));
    rig.globals->depthBytes = 1;
    rig.globals->planeWidth = 4;
    rig.globals->planeHeight = 3;
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
    HostPtr host = CreateHost(options);
    GiveDescriptor(*host, {{FourCC("OutA"), kTypeBoolean, 1}});  // with blended edges: row by row, no flush
    EXPECT_EQ(0, RunOn(*host, document).result);
    EXPECT_TRUE(ReportOf(*host).aborted);
    const std::vector<std::uint8_t>& red = document.layers[1].colour[0].bytes;
    EXPECT_EQ(std::vector<std::uint8_t>(5, options.fillByte),
              std::vector<std::uint8_t>(red.end() - 5, red.end()));
    CloseHost(*host);
    EXPECT_EQ("", ViolationText(*host));
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
        Document document = original;
        GiveDescriptor(*host, kSomething);
        const RunResult run = RunOn(*host, document);
        const std::vector<HostCall> failures = ReportOf(*host).failures;
        const HostCall failed = failures.empty() ? HostCall::kBrowseUrl : failures[0];
        EXPECT_EQ(CodeAfterFailureOf(failed), run.result);
        EXPECT_EQ(failed == HostCall::kCanRead ? 1u : 0u, MessageLog::Lines().size());
        const bool mayTouch = run.lastSelector == filterSelectorFinish || IsPortCall(failed);
        if (!mayTouch) ExpectSameLayer(original.layers[1], document.layers[1]);
        if (call == 0) clean = document;
        OptionsOf(*host).failAt = 0;
        document = original;
        GiveDescriptor(*host, kSomething);
        EXPECT_EQ(0, RunOn(*host, document).result);
        ExpectSameLayer(clean.layers[1], document.layers[1]);
        CloseHost(*host);
        EXPECT_EQ("", ViolationText(*host));
        if (call > 0 && failures.empty()) break;
    }
}

TEST(RunFullRender, NamesWhatTheHostLacks) {
    const struct {
        const char* what;
        void (*change)(HostOptions&);
        OSErr result;
    } kCases[] = {
        {"ports", [](HostOptions& o) { o.missingSuites = {kPSChannelPortsSuite}; },
         errPlugInHostInsufficient},
        {"buffers", [](HostOptions& o) { o.missingSuites = {kPSBufferSuite}; }, errPlugInHostInsufficient},
        {"broker", [](HostOptions& o) { o.adjustRecord = [](FilterRecord& r) { r.sSPBasic = nullptr; }; },
         errPlugInHostInsufficient},
        {"document",
         [](HostOptions& o) { o.adjustRecord = [](FilterRecord& r) { r.documentInfo = nullptr; }; },
         errPlugInHostInsufficient},
        {"descriptors",
         [](HostOptions& o) { o.adjustRecord = [](FilterRecord& r) { r.descriptorParameters = nullptr; }; },
         noErr},
        {"blocks", [](HostOptions& o) { o.allocateBlockGivesNull = true; }, memFullErr},
    };
    for (const auto& lacking : kCases) {
        SCOPED_TRACE(lacking.what);
        HostOptions options;
        lacking.change(options);
        HostPtr host = CreateHost(options);
        Document document = PatternDocument(7, 6, 8, 2);
        const Document before = document;
        EXPECT_EQ(lacking.result, RunFilter(*host, PluginMain, document, AskForParameters::kNo).result);
        if (lacking.result != noErr) ExpectSameLayer(before.layers[1], document.layers[1]);
        CloseHost(*host);
        EXPECT_EQ("", ViolationText(*host));
    }
}

}  // namespace

// The full-size run: what reaches which channel of the document, and what a failure at any call leaves.
#include "shell/render.h"

#include <algorithm>

#include "engine/keying.h"
#include "shell/planes.h"
#include "shell/plugin_main.h"
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
std::vector<std::vector<std::uint8_t>> Keyed(const Document& document) {
    ShellRig rig(document);
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
    return RunFilter(host, PluginMain, document, AskForParameters::kNo);
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

struct Failing {
    HostCall kind;
    const char* name;  // in the trace
    OSErr result;
    bool touchesDocument;
};

constexpr Failing kFailing[] = {
    {HostCall::kNewHandle, "NewHandle", memFullErr, false},
    {HostCall::kLockHandle, "LockHandle", memFullErr, false},
    {HostCall::kAcquireSuite, "AcquireSuite", errPlugInHostInsufficient, false},
    {HostCall::kNewBuffer, "New ", memFullErr, false},
    {HostCall::kAllocateBlock, "AllocateBlock", memFullErr, false},
    {HostCall::kCanRead, "CanRead", errPlugInHostInsufficient, true},
    {HostCall::kReadPixels, "ReadPixelsFromLevel", errPlugInHostInsufficient, true},
    {HostCall::kCanWrite, "CanWrite", errPlugInHostInsufficient, true},
    {HostCall::kWritePixels, "WritePixelsToBaseLevel", errPlugInHostInsufficient, true},
    {HostCall::kOpenReadDescriptor, "openReadDescriptorProc", noErr, true},
    {HostCall::kGetValue, "get", noErr, true},
    {HostCall::kOpenWriteDescriptor, "openWriteDescriptorProc", noErr, true},
    {HostCall::kPutValue, "put", noErr, true},
    {HostCall::kCloseWriteDescriptor, "closeWriteDescriptorProc", noErr, true},
};

// Each call of each kind fails once. Nothing leaks, the code is right, a run without memory leaves the
// document as it was, and the next run is as good as ever.
TEST(RunFullRender, SurvivesTheFailureOfAnyCall) {
    const MessageLog messages;
    Document original = PatternDocument(7, 6, 8, 2);
    original.selection = PatternChannel(original, 90);
    std::vector<std::string> trace;
    Document clean = original;
    {
        HostOptions options;
        options.trace = [&trace](const std::string& line) { trace.push_back(line); };
        HostPtr host = CreateHost(options);
        GiveDescriptor(*host, kSomething);
        ASSERT_EQ(0, RunOn(*host, clean).result);
        CloseHost(*host);
    }
    for (const Failing& failing : kFailing) {
        const auto calls = std::count_if(trace.begin(), trace.end(), [&failing](const std::string& line) {
            return line.find(failing.name) == 0 && line.find("getKeyProc") != 0;
        });
        ASSERT_GT(calls, 0) << failing.name;
        for (int n = 1; n <= calls; ++n) {
            SCOPED_TRACE(std::string(failing.name) + ", call " + std::to_string(n));
            HostOptions options;
            options.failKindEnabled = true;
            options.failKind = failing.kind;
            options.failKindAt = n;
            HostPtr host = CreateHost(options);
            Document document = original;
            GiveDescriptor(*host, kSomething);
            const RunResult run = RunOn(*host, document);
            EXPECT_EQ(failing.result, run.result);
            const bool written = failing.touchesDocument || run.lastSelector == filterSelectorFinish;
            if (!written) ExpectSameLayer(original.layers[1], document.layers[1]);
            OptionsOf(*host).failKindEnabled = false;
            document = original;
            GiveDescriptor(*host, kSomething);
            EXPECT_EQ(0, RunOn(*host, document).result);
            ExpectSameLayer(clean.layers[1], document.layers[1]);
            CloseHost(*host);
            EXPECT_EQ("", ViolationText(*host));
        }
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

// The full-size run: what reaches which channel of the document, and what a failure at any call leaves.
#include "shell/render.h"

#include <algorithm>
#include <sstream>

#include "engine/keying.h"
#include "shell/planes.h"
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

const Descriptor kSomething = {{FourCC("RGre"), kTypeInteger, 90}, {FourCC("RInt"), kTypeBoolean, 0}};

// The failing call, the boxes shown, what was written all the same, and the result.
std::string Summary(const std::string& trace) {
    std::istringstream lines(trace);
    std::string line, summary, result;
    while (std::getline(lines, line)) {
        const bool isWrite = line.compare(0, 11, "WritePixels") == 0;
        if (line == "the next call fails") {
            std::getline(lines, line);
            summary += line + "; ";
        } else if (isWrite) {
            const std::size_t name = line.find("target ");
            summary += line.substr(name, line.find(" (") - name) + line.substr(line.rfind(' ')) + "; ";
        } else if (line.compare(0, 7, "message") == 0 || line[0] == '!') {
            summary += line + "; ";
        } else if (line[0] == '<') {
            result = line.substr(0, line.find(','));
        }
    }
    return summary + result;
}

// Every call that can fail does so once. Nothing leaks, each failure has its line in the trace, no memory of
// the host's gets into the document, and the next run is unaffected.
TEST(RunFullRender, SurvivesTheFailureOfAnyCall) {
    Document original = PatternDocument(7, 6, 8, 2);
    original.selection = PatternChannel(original, 90);
    Document clean = original;
    Trace table;
    for (int call = 0;; ++call) {  // none at first
        SCOPED_TRACE("call " + std::to_string(call));
        std::string summaries[2];
        bool hasFailed = false;
        for (const std::uint8_t fill : {0x00, 0xA5}) {
            Trace trace;
            HostOptions options = trace.Listen();
            options.failAt = call;
            options.fillByte = fill;
            HostPtr host = CreateHost(options);
            const auto runOn = [&host](Document& on) {
                GiveDescriptor(*host, kSomething);
                return RunFilter(*host, PluginMain, on, AskForParameters::kYes).result;
            };
            Document document = original;
            runOn(document);
            summaries[fill != 0] = Summary(trace.text);
            hasFailed = !ReportOf(*host).failures.empty();
            if (call == 0) clean = document;
            OptionsOf(*host).failAt = 0;
            document = original;
            EXPECT_EQ(0, runOn(document));
            ExpectSameLayer(clean.layers[1], document.layers[1]);
            CloseHost(*host);
            EXPECT_EQ("", ViolationText(*host));
        }
        EXPECT_EQ(summaries[0], summaries[1]);
        table.Add(std::to_string(call) + ' ' + summaries[0]);
        if (call > 0 && !hasFailed) break;
    }
    EXPECT_TRUE(MatchesTrace(table.text, "failing_calls"));
}

}  // namespace

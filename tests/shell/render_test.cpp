// The full-size run: the samples written to each channel, and the result after a failure at any call.
#include "shell/render.h"

#include <sstream>

#include "tests/support/test_shell.h"

namespace {

using namespace test_support;

// The failing call, the message boxes, the channels written and the result.
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

TEST(RunFullRender, WritesTheExpectedSamples) {
    Trace table;
    const auto addRun = [&table](const std::string&, std::istream& words) {
        int width = 0, height = 0, depth = 0, layers = 0, target = 0;
        std::string blend, selection;
        words >> width >> height >> depth >> layers >> target >> blend >> selection;
        Document document = GreenDocument(width, height, depth, layers);
        document.targetLayer = target;
        if (!selection.empty()) document.selection = PatternChannel(document, 90);
        Trace trace;
        const Descriptor items = {{FourCC("RInt"), kTypeBoolean, blend == "blended"}};
        EXPECT_EQ(RunStrictly(document, trace.Listen(), items).result, 0);
        table.Add(Summary(trace.text));
    };
    EXPECT_TRUE(table.Follow("shell/pictures", addRun));
}

TEST(RunFullRender, RefusesAChannelDeeperThanThePlane) {
    TestShell shell(PatternDocument(4, 3, 8, 2));
    shell.globals->depthBytes = 1;
    std::uint8_t plane[12] = {};
    ReadChannelDesc deep = *shell.record->documentInfo->targetCompositeChannels;
    deep.depth = 16;
    WriteChannelPlane(shell.globals, &deep, plane);
    EXPECT_EQ(shell.result, errPlugInHostInsufficient);
}

const Descriptor kItems = {{FourCC("RGre"), kTypeInteger, 90}, {FourCC("RInt"), kTypeBoolean, 0}};

// Each call that can fail does so once. Nothing leaks, each failure has its line in the trace, the host's
// uninitialised memory does not reach the document, and the next run is unaffected.
TEST(RunFullRender, SurvivesTheFailureOfAnyCall) {
    Document original = PatternDocument(7, 6, 8, 2);
    original.selection = PatternChannel(original, 90);
    Document clean = original;
    Trace table;
    for (int call = 0;; ++call) {  // 0: no failure
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
                SetDescriptor(*host, kItems);
                return RunFilter(*host, PluginMain, on, AskForParameters::kYes).result;
            };
            Document document = original;
            runOn(document);
            summaries[fill != 0] = Summary(trace.text);
            hasFailed = !ReportOf(*host).failures.empty();
            if (call == 0) clean = document;
            OptionsOf(*host).failAt = 0;
            document = original;
            EXPECT_EQ(runOn(document), 0);
            for (int i = 0; i < 3; ++i) {
                EXPECT_EQ(document.layers[1].colour[i].bytes, clean.layers[1].colour[i].bytes) << i;
            }
            EXPECT_EQ(document.layers[1].transparency->bytes, clean.layers[1].transparency->bytes);
            CloseHost(*host);
            EXPECT_EQ(ViolationText(*host), "");
        }
        EXPECT_EQ(summaries[0], summaries[1]);
        table.Add(std::to_string(call) + ' ' + summaries[0]);
        if (call > 0 && !hasFailed) break;
    }
    EXPECT_TRUE(MatchesTrace(table.text, "shell/failing_calls"));
}

}  // namespace

// The full-size run: what reaches which channel of the document, and what a failure at any call leaves.
#include "shell/render.h"

#include <sstream>

#include "tests/shell_rig.h"

namespace {

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

// What a run from the descriptor writes, in one line.
std::string RunInOneLine(Document document, const Descriptor& items) {
    Trace trace;
    EXPECT_EQ(0, RunStrictly(document, trace.Listen(), items).result);
    return Summary(trace.text);
}

TEST(RunFullRender, WritesWhatItsTableSays) {
    Trace table;
    for (int choice = 0; choice < 12; ++choice) {
        const int depth = choice % 2 == 0 ? 8 : 16, target = choice / 2 % 3;
        const bool blend = choice < 6;
        Document document = GreenDocument(11, 9, depth, 3);
        document.targetLayer = target;
        table.Add(std::to_string(depth) + " bits, layer " + std::to_string(target + 1) +
                  (blend ? ", blended: " : ": ") +
                  RunInOneLine(document, {{FourCC("RInt"), kTypeBoolean, blend}}));
    }
    const std::pair<int, int> sizes[] = {{1, 1}, {1, 30000}, {30000, 1}};
    for (const auto& [width, height] : sizes) {
        for (int choice = 0; choice < 8; ++choice) {
            Document document = GreenDocument(width, height, (choice & 2) != 0 ? 16 : 8, 2);
            if ((choice & 4) != 0) document.selection = PatternChannel(document, 90);
            table.Add(std::to_string(width) + " by " + std::to_string(height) + ", choice " +
                      std::to_string(choice) + ": " +
                      RunInOneLine(document, {{FourCC("RInt"), kTypeBoolean, choice & 1}}));
        }
    }
    EXPECT_TRUE(MatchesTrace(table.text, "pictures"));
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
            for (int i = 0; i < 3; ++i) {
                EXPECT_EQ(clean.layers[1].colour[i].bytes, document.layers[1].colour[i].bytes) << i;
            }
            EXPECT_EQ(clean.layers[1].transparency->bytes, document.layers[1].transparency->bytes);
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

// The shell against the strict host: selectors, the state across calls and runs, and a whole run's calls in
// their order. The host's own checks (leaks, locks, guards, rectangles) hold in every test.
#include <algorithm>
#include <cstring>

#include "tests/shell_rig.h"
#include "tests/trace.h"

namespace {

using Lines = std::vector<std::string>;

// An open document and the module called step by step through its entry point.
struct Session {
    explicit Session(HostOptions options = {}) {
        document.selection = PatternChannel(document, 90);
        options.trace = [this](const std::string& line) { trace.push_back(line); };
        host = CreateHost(std::move(options));
        OpenDocument(*host, document);
    }
    ~Session() {
        EndRun(*host);
        CloseHost(*host);
        EXPECT_EQ("", ViolationText(*host));
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    int Call(std::int16_t selector) {
        trace.clear();
        return CallSelector(*host, PluginMain, selector);
    }

    // What the module called, without the checked heap's blocks, which are the engine's affair. A line counts
    // by its beginning.
    void ExpectCalls(const Lines& expected) {
        const auto isNone = [](const std::string& line) {
            return line.find("eBlock ") != line.npos || line.find("PluginMain") != line.npos;
        };
        trace.erase(std::remove_if(trace.begin(), trace.end(), isNone), trace.end());
        ASSERT_EQ(expected.size(), trace.size()) << testing::PrintToString(trace);
        for (std::size_t i = 0; i < trace.size(); ++i) {
            ASSERT_EQ(expected[i], trace[i].substr(0, expected[i].size()))
                << "call " << i << ": " << trace[i];
        }
    }

    // The present record, by its handle; unlocked, and good until the next call.
    Globals* State() const { return reinterpret_cast<Globals*>(*reinterpret_cast<Handle>(DataWord(*host))); }
    PluginParameters Parameters() const {
        PluginParameters parameters;
        std::memcpy(&parameters, *ParametersHandle(*host), sizeof parameters);
        return parameters;
    }

    Document document = PatternDocument(9, 7, 8, 2);
    Lines trace;
    HostPtr host;
};

void ExpectDefaults(const Globals& g) {
    const int found[] = {g.SliderRemoveGreen, g.SliderRestoreBlack, g.SliderAlterGreen, g.SliderSelectTransp,
                         g.SliderScaleTransp, g.SliderAdjBGLevel,   g.FlagRealityInteg, g.FlagShowSelect,
                         g.FlagOutputAlpha,   g.FlagBlueLogic,      g.FlagOrgPhoto,     g.reservedSlider,
                         g.previewZoom,       g.previewScrollX,     g.previewScrollY,   g.mustAnalyse,
                         g.mustReload};
    const int expected[] = {40, 20, 100, 100, 70, 100, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1};
    for (std::size_t i = 0; i < std::size(found); ++i) EXPECT_EQ(expected[i], found[i]) << "field " << i;
    EXPECT_EQ(1.0f, g.scaleFactor);
}

TEST(Selectors, MakeTheStateOnceAndKeepIt) {
    Session session;
    EXPECT_EQ(0, session.Call(filterSelectorPrepare));
    ExpectDefaults(*session.State());
    const PluginParameters created = session.Parameters();
    const unsigned char bytes[12] = {0, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0xA5, 0xA5};
    EXPECT_EQ(0, std::memcmp(bytes, &created, sizeof created)) << "the block as the host keeps it";

    session.State()->SliderRemoveGreen = 3;
    for (std::int16_t selector : {-1, 4, 6, 99}) {
        EXPECT_EQ(0, session.Call(selector)) << selector;
        session.ExpectCalls({"LockHandle handle 1 1", "UnlockHandle handle 1"});
    }
    EXPECT_EQ(3, session.State()->SliderRemoveGreen);
    EXPECT_EQ(0, session.Call(filterSelectorParameters));
    EXPECT_EQ(1, session.Parameters().showDialog);
}

// What a step left in the result cell ends the run in front of the document; the next start is a new one.
TEST(Selectors, EveryStartBeginsFromTheDefaults) {
    HostOptions options;
    options.closeReadCode = -43;
    Session session(options);
    GiveDescriptor(*session.host, {{FourCC("RGre"), kTypeInteger, 7}, {FourCC("OrgP"), kTypeBoolean, 1}});
    EXPECT_EQ(-43, session.Call(filterSelectorStart));
    EXPECT_EQ(7, session.State()->SliderRemoveGreen) << "what was read stands";
    EXPECT_EQ(1, session.State()->FlagOrgPhoto);
    EXPECT_EQ(0, session.State()->finalRender);
    EXPECT_EQ(0, session.Call(filterSelectorStart)) << "the descriptor went with the first";
    ExpectDefaults(*session.State());
    EXPECT_EQ(1, session.State()->finalRender);
}

#ifndef _WIN32
// Where the dialog cannot open the run goes on, and the wish is used up.
TEST(Selectors, ADialogThatCannotOpenIsNone) {
    HostOptions options;
    options.descriptorsUsable = false;
    Session session(options);
    EXPECT_EQ(0, session.Call(filterSelectorParameters));
    EXPECT_EQ(1, session.Parameters().showDialog);
    EXPECT_EQ(0, session.Call(filterSelectorStart));
    EXPECT_EQ(0, session.Parameters().showDialog);
    EXPECT_EQ(1, session.State()->finalRender);
}
#endif

TEST(Globals, ResetDropsPointersAndKeepsWhatAWriterRenews) {
    ShellRig rig(PatternDocument(5, 4, 8, 2));
    Globals& globals = *rig.globals;
    const Globals sound = globals;
    std::memset(static_cast<void*>(&globals), 0x11, sizeof globals);
    const Globals dirty = globals;
    globals.result = sound.result;
    globals.filterParamBlock = sound.filterParamBlock;
    ResetGlobals(&globals);
    ExpectDefaults(globals);
    for (auto plane : kPlanes) EXPECT_EQ(nullptr, globals.*plane);
    EXPECT_TRUE(globals.previewPixels == nullptr && globals.previewMask == nullptr);
    EXPECT_EQ(dirty.previewAlpha, globals.previewAlpha);
    EXPECT_TRUE(globals.planeWidth == dirty.planeWidth && globals.depthBytes == dirty.depthBytes &&
                globals.maxSample == dirty.maxSample && globals.finalRender == dirty.finalRender);
    EXPECT_EQ(0, globals.proxyRect.bottom);
    EXPECT_EQ(sound.docInfo, globals.docInfo);
}

TEST(Globals, CountsTheTargetsChannelsOrTheAlphaChannels) {
    Document document = PatternDocument(5, 4, 8, 2);
    document.alphaChannels.assign(2, PatternChannel(document, 1));
    ShellRig rig(document);
    EXPECT_EQ(3, CountTargetChannels(rig.globals));
    rig.globals->docInfo->targetCompositeChannels = nullptr;
    EXPECT_EQ(2, CountTargetChannels(rig.globals));
}

// A host with no handles for us, or with newer ones: the process's memory serves.
TEST(Handles, FallBackOnTheProcessWhereTheHostsAreUnknown) {
    void (*const kChanges[])(HandleProcs&) = {
        [](HandleProcs& procs) { procs.handleProcsVersion = 0; },
        [](HandleProcs& procs) { procs.handleProcsVersion = 2; },
        [](HandleProcs& procs) { procs.numHandleProcs = 7; },
        [](HandleProcs& procs) { procs.newProc = nullptr; },
        [](HandleProcs& procs) { procs.disposeProc = nullptr; },
        [](HandleProcs& procs) { procs.getSizeProc = nullptr; },
        [](HandleProcs& procs) { procs.setSizeProc = nullptr; },
    };
    ShellRig rig(PatternDocument(5, 4, 8, 2));
    EXPECT_TRUE(HandleProcsUsable(rig.record->handleProcs));
    EXPECT_FALSE(HandleProcsUsable(nullptr));
    const int handles = CountLive(*rig.host).handles;
    for (const auto& change : kChanges) {
        HandleProcs procs = *rig.record->handleProcs;
        change(procs);
        const Handle handle = NewHandle(&procs, 300);
        char* block = LockHandle(&procs, handle);
        EXPECT_EQ(std::string(300, '\0'), std::string(block, 300));
        FourCharCode tag;
        std::memcpy(&tag, handle + 1, sizeof tag);
        EXPECT_EQ(0x4F544F46u, tag);
        UnlockHandle(&procs, handle);
        DisposeHandle(&procs, handle);
        EXPECT_EQ(0, gProcessHandleError);
        DisposeHandle(&procs, nullptr);
        EXPECT_EQ(-109, gProcessHandleError);
        DisposeHandle(&procs, rig.record->parameters);
        EXPECT_EQ(0, gProcessHandleError) << "the host's handle is not ours to free";
        EXPECT_EQ(handles, CountLive(*rig.host).handles);
    }
    HandleProcs noLock = *rig.record->handleProcs;
    noLock.lockProc = nullptr;
    noLock.unlockProc = nullptr;
    std::int16_t result = 0;
    std::intptr_t data = 0;
    EXPECT_EQ(nullptr, AllocateGlobals(&result, rig.record, &noLock, sizeof(Globals), &data, ResetGlobals));
    EXPECT_EQ(0, data);
    EXPECT_EQ(handles, CountLive(*rig.host).handles) << "what cannot be locked is disposed of";
}

// A run from the menu, and one that an action replays.
TEST(Run, CallsTheHostInOrder) {
    Trace trace;
    Document document = PatternDocument(9, 7, 8, 2);
    document.selection = PatternChannel(document, 90);
    HostPtr host = CreateHost(trace.Listen());
    for (const char* run : {"from the menu", "replayed"}) {
        trace.Begin(run);
        EXPECT_EQ(0, RunFilter(*host, PluginMain, document, AskForParameters::kYes).result);
    }
    CloseHost(*host);
    EXPECT_EQ("", ViolationText(*host));
    EXPECT_TRUE(MatchesTrace(trace.text, "run"));
}

}  // namespace

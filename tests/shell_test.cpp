// The shell against the strict host: selectors, the state across calls and runs, and a whole run's calls in
// their order. The host's own checks (leaks, locks, guards, rectangles) hold in every test.
#include <algorithm>
#include <cstring>

#include "shell/handles.h"
#include "shell/plugin_main.h"
#include "tests/shell_rig.h"

namespace {

// An open document and the module called step by step through its entry point.
struct Session {
    explicit Session(HostOptions options = {}, Document theDocument = PatternDocument(9, 7, 8, 2))
        : document(std::move(theDocument)) {
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

    // The present record, by its handle; unlocked, and good until the next call.
    Globals* State() const { return reinterpret_cast<Globals*>(*reinterpret_cast<Handle>(DataWord(*host))); }
    PluginParameters Parameters() const {
        PluginParameters parameters;
        std::memcpy(&parameters, *ParametersHandle(*host), sizeof parameters);
        return parameters;
    }
    int Traced(const std::string& call) const {
        return static_cast<int>(std::count_if(trace.begin(), trace.end(), [&call](const std::string& line) {
            return line.compare(0, call.size(), call) == 0;
        }));
    }

    Document document;
    std::vector<std::string> trace;
    HostPtr host;
};

void ExpectDefaults(const Globals& globals) {
    const std::int32_t sliders[] = {globals.SliderAdjBGLevel,   globals.SliderRemoveGreen,
                                    globals.SliderRestoreBlack, globals.SliderAlterGreen,
                                    globals.SliderSelectTransp, globals.SliderScaleTransp,
                                    globals.reservedSlider,     globals.previewZoom,
                                    globals.previewScrollX,     globals.previewScrollY};
    const std::int32_t expected[] = {100, 40, 20, 100, 100, 70, 0, 0, 0, 0};
    for (int i = 0; i < 10; ++i) EXPECT_EQ(expected[i], sliders[i]) << "slider " << i;
    EXPECT_EQ(0, globals.FlagBlueLogic);
    EXPECT_EQ(0, globals.FlagOrgPhoto);
    EXPECT_EQ(0, globals.FlagShowSelect);
    EXPECT_EQ(1, globals.FlagRealityInteg);
    EXPECT_EQ(0, globals.FlagOutputAlpha);
    EXPECT_EQ(1, globals.mustAnalyse);
    EXPECT_EQ(1, globals.mustReload);
    EXPECT_EQ(1.0f, globals.scaleFactor);
}

TEST(Selectors, MakeTheStateOnceAndKeepIt) {
    Session session;
    EXPECT_EQ(0, session.Call(filterSelectorPrepare));
    EXPECT_EQ(2, session.Traced("NewHandle"));
    const std::intptr_t word = DataWord(*session.host);
    EXPECT_NE(0, word);
    ExpectDefaults(*session.State());
    const PluginParameters created = session.Parameters();
    const unsigned char bytes[12] = {0, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(0, std::memcmp(bytes, &created, sizeof created)) << "the block as the host keeps it";

    session.State()->SliderRemoveGreen = 3;
    for (std::int16_t selector : {-1, 4, 6, 99}) {
        EXPECT_EQ(0, session.Call(selector)) << selector;
        EXPECT_EQ(1, session.Traced("LockHandle")) << selector;
        EXPECT_EQ(1, session.Traced("UnlockHandle")) << selector;
        EXPECT_EQ(0, session.Traced("NewHandle") + session.Traced("AcquireSuite")) << selector;
    }
    EXPECT_EQ(3, session.State()->SliderRemoveGreen);
    EXPECT_EQ(word, DataWord(*session.host));
    EXPECT_EQ(0, session.Parameters().showDialog);
    EXPECT_EQ(0, session.Call(filterSelectorParameters));
    EXPECT_EQ(1, session.Parameters().showDialog);
}

TEST(Selectors, EveryStartBeginsFromTheDefaults) {
    Session session;
    GiveDescriptor(*session.host, {{FourCC("RGre"), kTypeInteger, 7}, {FourCC("OrgP"), kTypeBoolean, 1}});
    EXPECT_EQ(0, session.Call(filterSelectorStart));
    EXPECT_EQ(7, session.State()->SliderRemoveGreen);
    EXPECT_EQ(1, session.State()->FlagOrgPhoto);
    EXPECT_EQ(0, session.Call(filterSelectorStart)) << "the descriptor went with the first";
    ExpectDefaults(*session.State());
    EXPECT_EQ(1, session.State()->finalRender);
}

// What a step left in the result cell ends the run in front of the document.
TEST(Selectors, AFailedStartReadsNothing) {
    HostOptions options;
    options.closeReadCode = -43;
    Session session(options);
    GiveDescriptor(*session.host, {{FourCC("RGre"), kTypeInteger, 7}});
    EXPECT_EQ(-43, session.Call(filterSelectorStart));
    EXPECT_EQ(0, session.Traced("New "));
    EXPECT_EQ(7, session.State()->SliderRemoveGreen) << "what was read stands";
}

#ifndef _WIN32
TEST(Selectors, AboutTouchesNoState) {
    Session session;
    ShowAbout(*session.host, PluginMain);
    EXPECT_EQ(0, DataWord(*session.host));
    EXPECT_EQ(0, session.Traced("NewHandle"));
}

// Where the dialog cannot open the run goes on, and the wish is used up.
TEST(Selectors, ADialogThatCannotOpenIsNone) {
    HostOptions options;
    options.descriptorsUsable = false;
    Session session(options);
    EXPECT_EQ(0, session.Call(filterSelectorParameters));
    EXPECT_EQ(1, session.Parameters().showDialog);
    EXPECT_EQ(0, session.Call(filterSelectorStart));
    EXPECT_EQ(0, session.Parameters().showDialog);
    EXPECT_EQ(4, session.Traced("WritePixelsToBaseLevel"));
}
#endif

TEST(Globals, ResetDropsPointersAndKeepsWhatAWriterRenews) {
    ShellRig rig(PatternDocument(5, 4, 8, 2));
    Globals& globals = *rig.globals;
    std::uint8_t byte = 0;
    for (auto plane : kPlanes) globals.*plane = &byte;
    globals.previewPixels = globals.previewMask = globals.previewAlpha = &byte;
    globals.planeWidth = 11;
    globals.depthBytes = 2;
    globals.maxSample = 32767;
    globals.finalRender = 1;
    globals.proxyRect = {1, 2, 3, 4};
    globals.SliderScaleTransp = 1;
    globals.reservedSlider = 1;
    globals.FlagBlueLogic = 1;
    globals.mustAnalyse = globals.mustReload = 0;
    globals.docInfo = nullptr;
    ResetGlobals(&globals);
    ExpectDefaults(globals);
    for (auto plane : kPlanes) EXPECT_EQ(nullptr, globals.*plane);
    EXPECT_EQ(nullptr, globals.previewPixels);
    EXPECT_EQ(nullptr, globals.previewMask);
    EXPECT_EQ(&byte, globals.previewAlpha);
    EXPECT_EQ(11, globals.planeWidth);
    EXPECT_EQ(2, globals.depthBytes);
    EXPECT_EQ(32767, globals.maxSample);
    EXPECT_EQ(1, globals.finalRender);
    EXPECT_EQ(0, globals.proxyRect.bottom);
    EXPECT_EQ(rig.record->documentInfo, globals.docInfo);
}

TEST(Globals, CountsTheTargetsChannelsOrTheAlphaChannels) {
    Document document = PatternDocument(5, 4, 8, 2);
    document.alphaChannels.assign(2, PatternChannel(document, 1));
    ShellRig rig(document);
    EXPECT_EQ(3, CountTargetChannels(rig.globals));
    ReadImageDocumentDesc description = *rig.record->documentInfo;
    description.targetCompositeChannels = nullptr;
    rig.globals->docInfo = &description;
    EXPECT_EQ(2, CountTargetChannels(rig.globals));
}

TEST(Globals, PreviewBuffersAreReleasedTogether) {
    ShellRig rig(PatternDocument(5, 4, 8, 2));
    ReleasePreviewBuffers(rig.globals);
    rig.globals->previewPixels = NewBuffer(rig.globals, 60);
    rig.globals->previewAlpha = NewBuffer(rig.globals, 20);
    ReleasePreviewBuffers(rig.globals);
    EXPECT_EQ(0, CountLive(*rig.host).buffers);
    ReleasePreviewBuffers(rig.globals);  // the host would notice a second release
}

// A host with no handles for us, or with newer ones: the process's memory serves.
TEST(Handles, FallBackOnTheProcessWhereTheHostsAreUnknown) {
    const struct {
        const char* what;
        void (*change)(HandleProcs&);
    } kCases[] = {
        {"version 0", [](HandleProcs& procs) { procs.handleProcsVersion = 0; }},
        {"version 2", [](HandleProcs& procs) { procs.handleProcsVersion = 2; }},
        {"too few", [](HandleProcs& procs) { procs.numHandleProcs = 7; }},
        {"no new", [](HandleProcs& procs) { procs.newProc = nullptr; }},
        {"no dispose", [](HandleProcs& procs) { procs.disposeProc = nullptr; }},
        {"no size", [](HandleProcs& procs) { procs.getSizeProc = nullptr; }},
        {"no resize", [](HandleProcs& procs) { procs.setSizeProc = nullptr; }},
    };
    ShellRig rig(PatternDocument(5, 4, 8, 2));
    EXPECT_TRUE(HandleProcsUsable(rig.record->handleProcs));
    EXPECT_FALSE(HandleProcsUsable(nullptr));
    const int handles = CountLive(*rig.host).handles;
    for (const auto& unusable : kCases) {
        HandleProcs procs = *rig.record->handleProcs;
        unusable.change(procs);
        const Handle handle = NewHandle(&procs, 300);
        ASSERT_NE(nullptr, handle) << unusable.what;
        char* block = LockHandle(&procs, handle);
        EXPECT_EQ(block, *handle);
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
        EXPECT_EQ(memWZErr, gProcessHandleError) << "the host's handle is not ours to free";
    }
    EXPECT_EQ(handles, CountLive(*rig.host).handles);

    HandleProcs noLock = *rig.record->handleProcs;
    noLock.lockProc = nullptr;
    noLock.unlockProc = nullptr;
    std::int16_t result = 0;
    std::intptr_t data = 0;
    EXPECT_EQ(nullptr, AllocateGlobals(&result, rig.record, &noLock, sizeof(Globals), &data, ResetGlobals));
    EXPECT_EQ(0, data);
    EXPECT_EQ(handles, CountLive(*rig.host).handles) << "what cannot be locked is disposed of";
}

// A first word that the trace's line must begin with, in the order of a run. Samples go through the checked
// heap's blocks inside the engine, whose calls are not this test's.
TEST(Run, CallsTheHostInOrder) {
    Document document = PatternDocument(9, 7, 8, 2);
    document.selection = PatternChannel(document, 90);
    Session session({}, document);
    const auto expectCalls = [&session](const std::vector<std::string>& expected) {
        std::vector<std::string> calls;
        for (const std::string& line : session.trace) {
            if (line.find("AllocateBlock") == 0 || line.find("FreeBlock") == 0 ||
                line.find("PluginMain") == 2)
                continue;
            calls.push_back(line);
        }
        for (std::size_t i = 0; i < std::max(calls.size(), expected.size()); ++i) {
            const std::string call = i < calls.size() ? calls[i] : "(none)";
            const std::string& wanted = i < expected.size() ? expected[i] : "(none)";
            ASSERT_EQ(wanted, call.substr(0, wanted.size())) << "call " << i << ": " << call;
        }
    };
    const std::string ports = "AcquireSuite \"Photoshop ChannelPorts Suite for Plug-ins\" 2";
    const std::string buffers = "AcquireSuite \"Photoshop Buffer Suite for Plug-ins\" 1";

    EXPECT_EQ(0, session.Call(filterSelectorPrepare));
    expectCalls({"NewHandle " + std::to_string(sizeof(Globals)), "LockHandle handle 1 1", ports, buffers,
                 "NewHandle 12", "UnlockHandle handle 1"});

    const auto startCalls = [&](std::vector<std::string> calls) {
        calls.insert(calls.begin(), {"LockHandle handle 1 1", ports, buffers});
        calls.insert(calls.end(), kPlaneCount, "New 63 ");
        for (int channel = 0; channel < 8; ++channel) {
            calls.insert(calls.end(), {"CanRead ", "ReadPixelsFromLevel "});
        }
        for (int channel = 0; channel < 4; ++channel) {
            calls.insert(calls.end(), {"CanWrite ", "WritePixelsToBaseLevel "});
        }
        calls.insert(calls.end(), kPlaneCount, "Dispose buffer ");
        calls.push_back("UnlockHandle handle 1");
        return calls;
    };
    EXPECT_EQ(0, session.Call(filterSelectorStart));
    expectCalls(startCalls({"openReadDescriptorProc "}));

    std::vector<std::string> puts;
    for (const char* key : {"RGre", "RBlk", "AGre", "STsp", "SKTp", "ABGl"}) {
        puts.push_back("putIntegerProc token 1 " + std::string(key));
    }
    for (const char* key : {"RInt", "SSel", "OutA", "Blog", "OrgP"}) {
        puts.push_back("putBooleanProc token 1 " + std::string(key));
    }
    const auto finishCalls = [&puts](std::vector<std::string> closing) {
        std::vector<std::string> calls = {"LockHandle handle 1 1", "openWriteDescriptorProc"};
        calls.insert(calls.end(), puts.begin(), puts.end());
        calls.insert(calls.end(), closing.begin(), closing.end());
        calls.push_back("UnlockHandle handle 1");
        return calls;
    };
    EXPECT_EQ(0, session.Call(filterSelectorFinish));
    expectCalls(finishCalls({"closeWriteDescriptorProc token 1"}));
    for (std::string& put : puts) put.replace(put.find("token 1"), 7, "token 2");
    EXPECT_EQ(0, session.Call(filterSelectorFinish));
    expectCalls(finishCalls({"DisposeHandle handle ", "closeWriteDescriptorProc token 2"}));

    std::vector<std::string> reading = {"openReadDescriptorProc handle"};
    for (int i = 0; i < 11; ++i) {
        reading.insert(reading.end(), {"getKeyProc token 3", i < 6 ? "getIntegerProc " : "getBooleanProc "});
    }
    reading.insert(reading.end(),
                   {"getKeyProc token 3 -> none", "closeReadDescriptorProc ", "DisposeHandle handle "});
    EXPECT_EQ(0, session.Call(filterSelectorStart));
    expectCalls(startCalls(reading));
}

}  // namespace

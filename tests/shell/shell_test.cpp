// The shell in the strict host: sessions of calls of the entry point, each compared with its trace, and the
// parts of the state that no trace shows. The host checks leaks, locks, guards and rectangles in every test.
#include <cstring>

#include "shell/scripting.h"
#include "support/message_box.h"
#include "tests/support/test_shell.h"
#include "ui/parameter_dialog.h"
#include "ui/preview.h"

namespace {

using namespace test_support;

SPErr GiveNullSuite(const char*, std::int32_t, const void** suite) {
    *suite = nullptr;
    return noErr;
}

// The module loses its suite broker after it has acquired its suites.
SPErr LoseBroker(const char* name, std::int32_t version, const void** suite) {
    const SPErr code = BasicSuite()->AcquireSuite(name, version, suite);
    if (std::strstr(name, "Buffer") != nullptr) gSPBasicSuite = nullptr;
    return code;
}

template <SPErr (*acquireSuite)(const char*, std::int32_t, const void**)>
void ReplaceBroker(FilterRecord& record) {
    static SPBasicSuite broker;
    broker = *BasicSuite();
    broker.AcquireSuite = acquireSuite;
    record.sSPBasic = &broker;
}

// Unusual hosts. The name is a command of the traces.
const std::map<std::string, void (*)(HostOptions&)> kHosts = {
    {"aborting", [](HostOptions& o) { o.abortAt = 2; }},
    {"no-suite-of-ports",
     [](HostOptions& o) { o.missingSuites = {"Photoshop ChannelPorts Suite for Plug-ins"}; }},
    {"null-blocks", [](HostOptions& o) { o.allocateBlockGivesNull = true; }},
    {"handles-too-new", [](HostOptions& o) { o.handleProcsVersion = 2; }},
    {"descriptors-too-new", [](HostOptions& o) { o.descriptorsUsable = false; }},
    {"closing-code", [](HostOptions& o) { o.closeReadCode = -43; }},
    {"dialog", [](HostOptions& o) { o.playInfo = plugInDialogDisplay; }},
    {"no-broker", [](HostOptions& o) { o.adjustRecord = [](FilterRecord& r) { r.sSPBasic = nullptr; }; }},
    {"null-suites", [](HostOptions& o) { o.adjustRecord = ReplaceBroker<GiveNullSuite>; }},
    {"broker-lost", [](HostOptions& o) { o.adjustRecord = ReplaceBroker<LoseBroker>; }},
    {"no-document",
     [](HostOptions& o) { o.adjustRecord = [](FilterRecord& r) { r.documentInfo = nullptr; }; }},
    {"no-descriptors",
     [](HostOptions& o) { o.adjustRecord = [](FilterRecord& r) { r.descriptorParameters = nullptr; }; }},
    {"recordInfo-none",
     [](HostOptions& o) {
         o.adjustRecord = [](FilterRecord& r) { r.descriptorParameters->recordInfo = plugInDialogNone; };
     }},
    {"parameters-filled",
     [](HostOptions& o) {
         o.adjustRecord = [](FilterRecord& r) {
             if (r.parameters != nullptr) std::memset(*r.parameters, 0x77, sizeof(PluginParameters));
         };
     }},
    {"parameters-dropped",
     [](HostOptions& o) {
         o.adjustRecord = [](FilterRecord& r) {
             if (r.parameters != nullptr) DisposeHandle(r.handleProcs, r.parameters);
             r.parameters = nullptr;
         };
     }},
};

// Calls the entry point with each selector on one host with an open document.
void CallSelectors(std::istream& selectors, RunSetup setup, Trace* trace) {
    const HostPtr host = CreateHost(trace->Listen(setup.options));
    if (!setup.descriptor.empty()) SetDescriptor(*host, setup.descriptor);
    OpenDocument(*host, setup.document);
    for (std::int16_t selector; selectors >> selector;) {
        if (selector == filterSelectorAbout) {
            gSPBasicSuite = nullptr;
            ShowAbout(*host, PluginMain);
            EXPECT_EQ(gSPBasicSuite, BasicSuite());
        } else if (CallSelector(*host, PluginMain, selector) != noErr) {
            OptionsOf(*host).closeReadCode = noErr;
        }
    }
    EndRun(*host);
    CloseHost(*host);
    EXPECT_EQ(ViolationText(*host), "") << trace->text;
}

void ExpectSessions(const char* name) {
    Trace trace;
    RunSetup setup;
    EXPECT_TRUE(trace.Follow(std::string("shell/") + name, [&](const std::string& word, std::istream& words) {
        const auto host = kHosts.find(word);
        if (host != kHosts.end()) {
            host->second(setup.options);
        } else if (word == "call") {
            CallSelectors(words, setup, &trace);
        } else {
            ChangeSetup(word, words, &setup);
        }
    }));
}

TEST(Sessions, MatchTheirTraces) {
    for (const char* name : {"runs", "values", "failures"}) ExpectSessions(name);
}

#ifndef _WIN32
// A dialog that composes a preview, or one that cannot open, as on Linux.
bool gDialogOpens = false;

}  // namespace

bool filter::ShowParameterDialog(Globals* globals) {
    if (!gDialogOpens) return false;
    ShowMessage("the dialog", "opened");
    globals->proxyRect = {0, 0, 3, 4};
    globals->previewWidth = 4;
    globals->previewHeight = 3;
    ComposePreview(globals);
    return true;
}

namespace {

TEST(Sessions, WithADialogMatchTheirTraces) {
    ExpectSessions("no_dialog");
    gDialogOpens = true;
    ExpectSessions("preview_in_dialog");
    gDialogOpens = false;
}
#endif

TEST(Globals, ResetSetsDefaultsAndClearsPointers) {
    Document document = PatternDocument(5, 4, 8, 2);
    document.alphaChannels.assign(2, PatternChannel(document, 1));
    TestShell shell(document);
    Globals& g = *shell.globals;
    const Globals sound = g;
    std::memset(static_cast<void*>(&g), 0x11, sizeof g);
    const Globals dirty = g;
    g.result = sound.result;
    g.filterParamBlock = sound.filterParamBlock;
    ResetGlobals(&g);
    const int found[] = {g.SliderRemoveGreen, g.SliderRestoreBlack, g.SliderAlterGreen, g.SliderSelectTransp,
                         g.SliderScaleTransp, g.SliderAdjBGLevel,   g.FlagRealityInteg, g.FlagShowSelect,
                         g.FlagOutputAlpha,   g.FlagBlueLogic,      g.FlagOrgPhoto,     g.reservedSlider,
                         g.previewZoom,       g.previewScrollX,     g.previewScrollY,   g.proxyRect.bottom,
                         g.reservedWord,      g.mustAnalyse,        g.mustReload};
    const int expected[] = {40, 20, 100, 100, 70, 100, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1};
    for (std::size_t i = 0; i < std::size(found); ++i) EXPECT_EQ(found[i], expected[i]) << "field " << i;
    EXPECT_EQ(g.scaleFactor, 1.0f);
    for (auto plane : kPlanes) EXPECT_EQ(g.*plane, nullptr);
    EXPECT_TRUE(g.previewPixels == nullptr && g.previewMask == nullptr && sound.docInfo == g.docInfo);
    EXPECT_TRUE(g.previewAlpha == dirty.previewAlpha && g.planeWidth == dirty.planeWidth &&
                g.depthBytes == dirty.depthBytes && g.maxSample == dirty.maxSample &&
                g.finalRender == dirty.finalRender);

    EXPECT_EQ(CountTargetChannels(&g), 3);
    g.docInfo->targetCompositeChannels = nullptr;
    EXPECT_EQ(CountTargetChannels(&g), 2) << "the alpha channels, where the target has no colour";
}

TEST(Handles, UseProcessMemoryWithoutUsableHandleProcs) {
    void (*const kChanges[])(HandleProcs&) = {
        [](HandleProcs& procs) { procs.handleProcsVersion = 0; },
        [](HandleProcs& procs) { procs.handleProcsVersion = 2; },
        [](HandleProcs& procs) { procs.numHandleProcs = 7; },
        [](HandleProcs& procs) { procs.newProc = nullptr; },
        [](HandleProcs& procs) { procs.disposeProc = nullptr; },
        [](HandleProcs& procs) { procs.getSizeProc = nullptr; },
        [](HandleProcs& procs) { procs.setSizeProc = nullptr; },
    };
    TestShell shell(PatternDocument(5, 4, 8, 2));
    EXPECT_TRUE(HandleProcsUsable(shell.record->handleProcs));
    EXPECT_FALSE(HandleProcsUsable(nullptr));
    const int handles = CountLive(*shell.host).handles;
    for (const auto& change : kChanges) {
        HandleProcs procs = *shell.record->handleProcs;
        change(procs);
        const Handle first = NewHandle(&procs, 300), second = NewHandle(&procs, 1);
        EXPECT_EQ(std::string(LockHandle(&procs, first), 300), std::string(300, '\0'));
        FourCharCode tag;
        std::memcpy(&tag, first + 1, sizeof tag);
        EXPECT_EQ(tag, 0x4F544F46u);
        UnlockHandle(&procs, first);
        DisposeHandle(&procs, first);
        EXPECT_EQ(gProcessHandleError, 0);
        const Handle third = NewHandle(&procs, 1);
        EXPECT_NE(third, second) << "the memory of a live handle was allocated again";
        DisposeHandle(&procs, nullptr);
        EXPECT_EQ(gProcessHandleError, -109);
        char* block = nullptr;  // a host's handle is one word long and must not be freed here
        const auto foreign = std::make_unique<char*>(block);
        DisposeHandle(&procs, foreign.get());
        std::memcpy(&tag, second + 1, sizeof tag);
        EXPECT_EQ(tag, 0x4F544F46u) << "the other handle was damaged";
        DisposeHandle(&procs, second);
        DisposeHandle(&procs, third);
        EXPECT_EQ(gProcessHandleError, 0);
        EXPECT_EQ(CountLive(*shell.host).handles, handles);
    }
    HandleProcs noLock = *shell.record->handleProcs;
    noLock.lockProc = nullptr;
    noLock.unlockProc = nullptr;
    std::int16_t result = 0;
    std::intptr_t data = 0;
    EXPECT_EQ(AllocateGlobals(&result, shell.record, &noLock, sizeof(Globals), &data, ResetGlobals), nullptr);
    EXPECT_EQ(data, 0);
    EXPECT_EQ(CountLive(*shell.host).handles, handles)
        << "a handle that cannot be locked was not disposed of";
}

TEST(ReadScriptParameters, DecidesWhetherToShowTheDialog) {
    for (bool usable : {true, false}) {
        for (std::int16_t playInfo : {plugInDialogDontDisplay, plugInDialogDisplay, plugInDialogSilent}) {
            for (std::uint8_t before : {0, 1}) {
                TestShell shell(PatternDocument(4, 3, 8, 2), {}, {{FourCC("RGre"), kTypeInteger, 5}});
                PIDescriptorParameters& parameters = *shell.record->descriptorParameters;
                parameters.playInfo = playInfo;
                if (!usable) parameters.descriptorParametersVersion = 1;
                ParametersOf(shell.globals)->showDialog = before;
                shell.globals->SliderRestoreBlack = 99;
                ReadScriptParameters(shell.globals);
                EXPECT_EQ(shell.globals->SliderRestoreBlack, 20)
                    << "a parameter without an item has its default";
                EXPECT_EQ(ParametersOf(shell.globals)->showDialog,
                          usable ? playInfo == plugInDialogDisplay : before)
                    << usable << ' ' << playInfo << ' ' << int{before};
                EXPECT_EQ(parameters.descriptor == nullptr, usable) << "reading disposes of the descriptor";
            }
        }
    }
}

TEST(DescriptorParameters, RequireEveryProcAndVersion) {
    TestShell shell(PatternDocument(4, 3, 8, 2));
    const PIDescriptorParameters sound = *shell.record->descriptorParameters;
    PIDescriptorParameters parameters;
    ReadDescriptorProcs read;
    WriteDescriptorProcs write;
    const auto usableAfter = [&](auto change) {
        read = *sound.readDescriptorProcs;
        write = *sound.writeDescriptorProcs;
        parameters = sound;
        parameters.readDescriptorProcs = &read;
        parameters.writeDescriptorProcs = &write;
        change();
        return DescriptorParametersUsable(&parameters);
    };
    const auto clear = [](void* firstProc, int index) {
        std::memset(static_cast<char*>(firstProc) + index * sizeof(void*), 0, sizeof(void*));
    };
    EXPECT_FALSE(DescriptorParametersUsable(nullptr));
    EXPECT_TRUE(usableAfter([&] { read.numReadDescriptorProcs = write.numWriteDescriptorProcs = 19; }));
    for (int i = 0; i < kReadDescriptorProcsCount; ++i) {
        EXPECT_FALSE(usableAfter([&] { clear(&read.openReadDescriptorProc, i); })) << "read proc " << i;
    }
    for (int i = 0; i < kWriteDescriptorProcsCount; ++i) {
        EXPECT_FALSE(usableAfter([&] { clear(&write.openWriteDescriptorProc, i); })) << "write proc " << i;
    }
    EXPECT_FALSE(usableAfter([&] { parameters.readDescriptorProcs = nullptr; }));
    EXPECT_FALSE(usableAfter([&] { parameters.writeDescriptorProcs = nullptr; }));
    EXPECT_FALSE(usableAfter([&] { read.readDescriptorProcsVersion = 1; }));
    EXPECT_FALSE(usableAfter([&] { read.numReadDescriptorProcs = 17; }));
    EXPECT_FALSE(usableAfter([&] { write.writeDescriptorProcsVersion = -1; }));
    EXPECT_FALSE(usableAfter([&] { write.numWriteDescriptorProcs = 15; }));
}

}  // namespace

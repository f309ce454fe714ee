// The shell against the strict host: sessions of calls through the entry point, each compared by its whole
// trace, and the parts of the state that no trace shows. The host's own checks (leaks, locks, guards,
// rectangles) hold in every test.
#include <cstring>
#include <functional>

#include "tests/shell_rig.h"

namespace {

using Selectors = std::vector<std::int16_t>;

// One host and one document, and what is done with them. PluginMain is called once for each selector.
struct Session {
    const char* title;
    std::function<void(Document&, HostOptions&)> change = {};
    Descriptor descriptor = {};
    Selectors selectors = {filterSelectorParameters, filterSelectorPrepare, filterSelectorStart,
                           filterSelectorFinish};
};

const Descriptor kRed = {{FourCC("RGre"), kTypeInteger, 7}};

void FailOn(HostOptions& options, HostCall kind, int number) {
    options.failKindEnabled = true;
    options.failKind = kind;
    options.failKindAt = number;
}

const Session kRuns[] = {
    {"from the menu, and repeated by an action", {}, {}, {1, 2, 3, 5, 1, 2, 3, 5}},
    {"16 bits, three layers, the third is the target, four channels, transparency of 8 bits",
     [](Document& d, HostOptions&) {
         d = PatternDocument(9, 7, 16, 3);
         d.layers[1].colour.push_back(PatternChannel(d, 77));
         d.layers[2].transparency = PatternChannel(d, 80, 8);
         d.selection = PatternChannel(d, 90, 8);
         d.targetLayer = 2;
     }},
    {"one layer, bounds away from 0, neither transparency nor selection",
     [](Document& d, HostOptions&) {
         d = PatternDocument(9, 7, 16, 1);
         d.bounds = {-3, 2, 4, 11};
     }},
    {"no layer", [](Document& d, HostOptions&) { d = PatternDocument(9, 7, 8, 0); }},
    {"channels that cannot be read or written",
     [](Document& d, HostOptions&) {
         d.layers[1].transparency->readable = d.selection->readable = false;
         d.layers[1].colour[0].writable = d.layers[1].colour[2].hasWritePort = false;
     }},
    {"aborted, without blended edges",
     [](Document& d, HostOptions& o) {
         d = PatternDocument(5, 90, 8, 2);
         o.abortAt = 2;
     },
     {{FourCC("OutA"), kTypeBoolean, 1}, {FourCC("RInt"), kTypeBoolean, 0}}},
};

const Session kValues[] = {
    {"values as they come: any number, any flag byte, another type, a key of somebody else",
     [](Document&, HostOptions& o) {
         o.adjustRecord = [](FilterRecord& r) { r.descriptorParameters->recordInfo = plugInDialogNone; };
     },
     {{FourCC("RGre"), kTypeInteger, 500},
      {FourCC("what"), kTypeInteger, 9},
      {FourCC("SKTp"), kTypeInteger, -5},
      {FourCC("AGre"), kTypeBoolean, 1},
      {FourCC("OrgP"), kTypeBoolean, 2}}},
    {"all eleven parameters, backwards, and repeated",
     {},
     {{FourCC("OrgP"), kTypeBoolean, 1},
      {FourCC("Blog"), kTypeBoolean, 1},
      {FourCC("OutA"), kTypeBoolean, 1},
      {FourCC("SSel"), kTypeBoolean, 1},
      {FourCC("RInt"), kTypeBoolean, 0},
      {FourCC("ABGl"), kTypeInteger, 16},
      {FourCC("SKTp"), kTypeInteger, 15},
      {FourCC("STsp"), kTypeInteger, 14},
      {FourCC("AGre"), kTypeInteger, 13},
      {FourCC("RBlk"), kTypeInteger, 12},
      {FourCC("RGre"), kTypeInteger, 11}},
     {3, 5, 3, 5}},
    {"no token: the descriptor stays",
     [](Document&, HostOptions& o) { FailOn(o, HostCall::kOpenReadDescriptor, 1); },
     kRed,
     {3}},
    {"another closing code ends the run; the next begins from the defaults",
     [](Document&, HostOptions& o) { o.closeReadCode = -43; },
     kRed,
     {3, 3, 5}},
    {"no token to write", [](Document&, HostOptions& o) { FailOn(o, HostCall::kOpenWriteDescriptor, 1); },
     kRed},
    {"descriptors too new, and a dialog asked for without a document",
     [](Document&, HostOptions& o) {
         o.descriptorsUsable = false;
         o.adjustRecord = [](FilterRecord& r) { r.documentInfo = nullptr; };
     },
     kRed},
    {"About before all else, and selectors without a meaning", {}, {}, {0, -1, 4, 6, 99, 0}},
    {"parameters that are there already",
     [](Document&, HostOptions& o) {
         o.adjustRecord = [](FilterRecord& r) {
             if (r.parameters != nullptr) std::memset(*r.parameters, 0x77, sizeof(PluginParameters));
         };
     },
     {},
     {2, 1, 2, 3}},
};

const Session kFailures[] = {
    {"the first suite is missing",
     [](Document&, HostOptions& o) { o.missingSuites = {"Photoshop ChannelPorts Suite for Plug-ins"}; }},
    {"no broker",
     [](Document&, HostOptions& o) { o.adjustRecord = [](FilterRecord& r) { r.sSPBasic = nullptr; }; }},
    {"no descriptors",
     [](Document&, HostOptions& o) {
         o.adjustRecord = [](FilterRecord& r) { r.descriptorParameters = nullptr; };
     }},
    {"the engine gets a null block", [](Document&, HostOptions& o) { o.allocateBlockGivesNull = true; }},
    {"handles too new", [](Document&, HostOptions& o) { o.handleProcsVersion = 2; }, {}, {3}},
};

void ExpectTraces(const Session* first, const Session* end, const char* name) {
    Trace trace;
    for (const Session* session = first; session < end; ++session) {
        trace.Begin(session->title);
        Document document = PatternDocument(9, 7, 8, 2);
        document.selection = PatternChannel(document, 90);
        HostOptions options;
        if (session->change) session->change(document, options);
        const HostPtr host = CreateHost(trace.Listen(options));
        if (!session->descriptor.empty()) GiveDescriptor(*host, session->descriptor);
        OpenDocument(*host, document);
        for (const std::int16_t selector : session->selectors) {
            if (selector == filterSelectorAbout) {
                ShowAbout(*host, PluginMain);
            } else if (CallSelector(*host, PluginMain, selector) != noErr) {
                OptionsOf(*host).closeReadCode = noErr;
            }
        }
        EndRun(*host);
        CloseHost(*host);
        EXPECT_EQ("", ViolationText(*host)) << session->title;
    }
    EXPECT_TRUE(MatchesTrace(trace.text, name));
}

TEST(Sessions, CallTheHostAsTheirTracesSay) {
    ExpectTraces(std::begin(kRuns), std::end(kRuns), "runs");
    ExpectTraces(std::begin(kValues), std::end(kValues), "values");
    ExpectTraces(std::begin(kFailures), std::end(kFailures), "failures");
}

#ifndef _WIN32
// Where the dialog cannot open the run goes on, and the wish is used up.
TEST(Sessions, GoOnWithoutADialog) {
    const Session session = {"the parameters are asked for",
                             [](Document&, HostOptions& o) { o.descriptorsUsable = false; }};
    ExpectTraces(&session, &session + 1, "no_dialog");
}
#endif

TEST(Globals, ResetDropsPointersAndKeepsWhatAWriterRenews) {
    Document document = PatternDocument(5, 4, 8, 2);
    document.alphaChannels.assign(2, PatternChannel(document, 1));
    ShellRig rig(document);
    Globals& g = *rig.globals;
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
    for (std::size_t i = 0; i < std::size(found); ++i) EXPECT_EQ(expected[i], found[i]) << "field " << i;
    EXPECT_EQ(1.0f, g.scaleFactor);
    for (auto plane : kPlanes) EXPECT_EQ(nullptr, g.*plane);
    EXPECT_TRUE(g.previewPixels == nullptr && g.previewMask == nullptr && sound.docInfo == g.docInfo);
    EXPECT_TRUE(g.previewAlpha == dirty.previewAlpha && g.planeWidth == dirty.planeWidth &&
                g.depthBytes == dirty.depthBytes && g.maxSample == dirty.maxSample &&
                g.finalRender == dirty.finalRender);

    EXPECT_EQ(3, CountTargetChannels(&g));
    g.docInfo->targetCompositeChannels = nullptr;
    EXPECT_EQ(2, CountTargetChannels(&g)) << "the alpha channels, where the target has no colour";
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
        const Handle first = NewHandle(&procs, 300), second = NewHandle(&procs, 1);
        EXPECT_EQ(std::string(300, '\0'), std::string(LockHandle(&procs, first), 300));
        FourCharCode tag;
        std::memcpy(&tag, first + 1, sizeof tag);
        EXPECT_EQ(0x4F544F46u, tag);
        UnlockHandle(&procs, first);
        DisposeHandle(&procs, first);
        EXPECT_EQ(0, gProcessHandleError);
        DisposeHandle(&procs, nullptr);
        EXPECT_EQ(-109, gProcessHandleError);
        char* block = nullptr;  // a host's handle is one word long, and not ours to look behind or to free
        const auto foreign = std::make_unique<char*>(block);
        DisposeHandle(&procs, foreign.get());
        std::memcpy(&tag, second + 1, sizeof tag);
        EXPECT_EQ(0x4F544F46u, tag) << "the other handle is still there";
        DisposeHandle(&procs, second);
        EXPECT_EQ(0, gProcessHandleError);
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

}  // namespace

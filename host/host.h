// The stand-in host: offers the services that the module asks of its host, walks it through a filter run, and
// watches what it does with them.
//
// It is strict. Whatever the interface forbids or leaves undefined (a second free, a handle it never made, an
// unlock without a lock, a write past a block, a rectangle outside the document, a port used the wrong way
// round, a token used after its closing, a buffer kept past the run ...) is recorded as a violation, and
// answered as harmlessly as can be, so that the run goes on.
//
// The host's callbacks carry no context, so a process has one host at a time, the current one; it is not safe
// for threads, and calls from another thread than the one that runs the module are violations too.
//
// Usual course:
//     HostPtr host = CreateHost(options);
//     ModulePtr module = OpenModule(path, &error);       // or any PluginMainProc, for logic linked in
//     RunResult run = RunFilter(*host, module->pluginMain, document, AskForParameters::kNo);
//     CloseHost(*host);                                  // drops what the host kept for the module
//     module.reset();                                    // unloads, while the host still is there to listen
//     for (const Violation& v : ReportOf(*host).violations) ...
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/descriptor.h"
#include "host/document.h"
#include "hostapi/hostapi.h"

namespace host {

// ---- Findings ---------------------------------------------------------------------------------------------

enum class ViolationKind {
    kBadHandle,     // unknown, foreign or disposed handle
    kBadPointer,    // unknown, foreign or disposed buffer or block
    kLocking,       // unlock without lock, resized or disposed while locked, left locked after a call
    kOverrun,       // guard bytes round a block were changed
    kUseAfterFree,  // memory was written or named after it was given back
    kLeak,          // kept past the end of a run or of the host
    kBadMemory,     // a PixelMemoryDesc or pixel map that does not fit its buffer or its channel
    kBadRectangle,  // outside the document, or empty
    kBadPort,       // unknown port, or reading and writing exchanged
    kBadToken,      // unknown or closed descriptor token, or an illegal order of calls on it
    kBadArgument,   // null or senseless arguments elsewhere
    kSuite,         // released without being acquired
    kThread,        // called from a thread that does not run the module
    kCall,          // the module broke the rules of the walk: left an exception, asked for tiles
};

struct Violation {
    ViolationKind kind;
    std::string text;  // one line
};

// A displayPixels call: the record's numbers and copies of the bytes that it pointed to.
struct DisplayCall {
    PSPixelMap map;      // baseAddr and masks are the module's and no longer valid; whether null still counts
    PSPixelMask mask{};  // the first mask, if there was one
    VRect sourceRect;
    std::int32_t row = 0, column = 0;
    void* context = nullptr;
    std::vector<std::uint8_t> pixels;     // red, green and blue planes of the bounds, without padding
    std::vector<std::uint8_t> maskBytes;  // one plane; empty without a mask
};

// The calls that can fail, for fault injection.
enum class HostCall {
    kNewHandle,
    kLockHandle,
    kAcquireSuite,
    kAllocateBlock,
    kNewBuffer,
    kCanRead,
    kCanWrite,
    kReadPixels,
    kReadScaledPixels,
    kWritePixels,
    kOpenReadDescriptor,
    kGetValue,
    kCloseReadDescriptor,
    kOpenWriteDescriptor,
    kPutValue,
    kCloseWriteDescriptor,
    kBrowseUrl,
    kDisplayPixels,
};

struct HostReport {
    std::vector<Violation> violations;
    std::vector<DisplayCall> displays;                            // see HostOptions::keepDisplays
    std::vector<std::string> urls;                                // given to BrowseUrl
    std::vector<std::pair<std::int32_t, std::int32_t>> progress;  // done, total
    int abortCalls = 0;
    int fallibleCalls = 0;           // since the host was made; see HostOptions::failAt
    std::vector<HostCall> failures;  // the calls that were made to fail
    bool aborted = false;            // abortProc has said true
};

// ---- Options ----------------------------------------------------------------------------------------------

struct HostOptions {
    // What the module meets.
    void* mainWindow = nullptr;  // the first field of platformData; an HWND on Windows
    std::int16_t playInfo = plugInDialogDontDisplay;
    bool offersDisplayPixels = true;

    // Answers. Where none is given: never abort, ignore progress, record the page and report success.
    std::function<bool()> abortRequested;
    std::function<void(std::int32_t done, std::int32_t total)> progress;
    std::function<SPErr(const char* url)> browseUrl;
    std::function<void(const DisplayCall&)> displayed;  // called at each displayPixels, after the painting
    bool keepDisplays = true;  // false: HostReport::displays holds the last call only

    // One line for each call of the module to the host and of the host to the module, without its line end:
    // the arguments as they were given, " -> ", and the answer. Handles, buffers, blocks, ports and tokens
    // are named by small numbers in the order in which they were made, and pixels by a hash of their samples,
    // so that the traces of two platforms can be compared.
    std::function<void(const std::string& line)> trace;

    // Memory. New blocks are filled with fillByte.
    std::uint8_t fillByte = 0xA5;
    bool moveHandles = true;  // an unlocked handle's block moves at every lock, creation and call
    std::size_t quarantineBytes = 16u << 20;  // how much freed memory is held back to catch late writes

    // What Dispose of the buffer suite leaves in the caller's pointer: null, or what stood there.
    bool disposeClearsPointer = true;

    // Faults. Calls are counted from 1 since the host was made, over all that HostCall lists; 0 stands for
    // none.
    int failAt = 0;  // this one call of all fails
    bool failKindEnabled = false;
    HostCall failKind = HostCall::kNewHandle;
    int failKindAt = 0;  // with failKindEnabled: the call of this number of that kind; 0: all of them
    int abortAt = 0;     // this call of abortProc, and all later ones, say true
    std::vector<std::string> missingSuites;  // by name
    bool allocateBlockGivesNull = false;     // AllocateBlock reports success and a null block
    bool shrinkScaledReads = false;          // ReadScaledPixels delivers one row and column less than asked
    OSErr closeReadCode = noErr;             // given by closeReadDescriptorProc when not 0
    OSErr closeWriteCode = noErr;            // likewise; the descriptor is handed over all the same
    std::int16_t handleProcsVersion = kHandleProcsVersion;
    std::int16_t numHandleProcs = kHandleProcsCount;
    bool descriptorsUsable = true;  // false: the record of the descriptor procs is too new

    // Last touch to the FilterRecord before each call; the procs records that it points to are made anew for
    // each call and may be changed too.
    std::function<void(FilterRecord&)> adjustRecord;
};

// A hash of bytes, for a trace to tell one picture from another.
struct ByteHash {
    std::uint32_t value = 2166136261u;

    void Add(const std::uint8_t* bytes, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) value = (value ^ bytes[i]) * 16777619u;
    }
};

// ---- The host ---------------------------------------------------------------------------------------------

struct Host;

struct HostDeleter {
    void operator()(Host* host) const;
};

using HostPtr = std::unique_ptr<Host, HostDeleter>;

// Makes the current host. Throws std::logic_error when there is one already.
HostPtr CreateHost(HostOptions options = {});

// The options may be changed between two calls into the module.
HostOptions& OptionsOf(Host& host);
const HostReport& ReportOf(const Host& host);

// Forgets all that the report holds, counts included.
void ClearReport(Host& host);

// All violations, one a line; empty when there are none.
std::string ViolationText(const Host& host);

enum class AskForParameters { kNo, kYes };

struct RunResult {
    OSErr result = noErr;           // of the last selector called
    std::int16_t lastSelector = 0;  // 5 when the run went through
};

// Walks the module through one run on the document: selector 1 if asked for, then 2, 3 and 5; a result other
// than 0 ends the run. The data word, the parameters and the descriptor stay with the host for the next run.
// At the end no buffer and no block may be left. The document is changed in place; throws
// std::invalid_argument when ValidateDocument finds one.
RunResult RunFilter(Host& host, PluginMainProc pluginMain, Document& document, AskForParameters ask);

// One run in single steps: OpenDocument, any number of calls, EndRun, which makes the checks of a run's end.
// Each call passes a FilterRecord and a result cell at another address than the call before. CallSelector
// gives what the module left in the result cell, which holds kUnwrittenResult at its head.
constexpr OSErr kUnwrittenResult = 0x5555;
void OpenDocument(Host& host, Document& document);
OSErr CallSelector(Host& host, PluginMainProc pluginMain, std::int16_t selector);
void EndRun(Host& host);

// Selector 0.
void ShowAbout(Host& host, PluginMainProc pluginMain);

// Drops the data word, the parameters and the descriptor, as at the host's end, and reports whatever handle,
// buffer or block is left and whatever guard was hurt. The module may be unloaded afterwards.
void CloseHost(Host& host);

// ---- What the host keeps for the module -------------------------------------------------------------------

// Replaces the descriptor that the next run finds; an empty list is a descriptor without keys.
void GiveDescriptor(Host& host, const Descriptor& descriptor);
void DropDescriptor(Host& host);

// The descriptor that the host holds now; nothing when there is none.
std::optional<Descriptor> KeptDescriptor(const Host& host);

std::intptr_t DataWord(const Host& host);
Handle ParametersHandle(const Host& host);

struct LiveCounts {
    int handles = 0, buffers = 0, blocks = 0, readTokens = 0, writeTokens = 0;
};

LiveCounts CountLive(const Host& host);

// The broker itself, of the life of the process, for logic that is tested outside a call.
SPBasicSuite* BasicSuite();

// The record that the next call would pass, without a call: for parts of the logic that are tested by
// themselves. Needs an open document; valid until EndRun.
FilterRecord* PrepareRecord(Host& host);

}  // namespace host

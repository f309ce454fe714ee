// The stand-in host: provides the services that the module needs, runs the module as a filter, and checks its
// calls.
//
// It is strict. Anything that the interface forbids or leaves undefined is recorded as a violation: a double
// free, an unknown handle, an unlock without a lock, a write past a block, a rectangle outside the document,
// a port used in the wrong direction, a closed token, a buffer kept after the run. The run continues. A lean
// host (LeanOptions) omits the checks whose time grows with the picture.
//
// The host's callbacks have no context argument, so a process has one host at a time, the current one. It is
// not thread-safe; a call from a thread that does not run the module is a violation.
//
// Use:
//     HostPtr host = CreateHost(options);
//     ModulePtr module = OpenModule(path, &error);       // or any PluginMainProc
//     RunResult run = RunFilter(*host, module->pluginMain, document, AskForParameters::kNo);
//     CloseHost(*host);                                  // frees what the host kept for the module
//     module.reset();                                    // unloads while the host exists
//     for (const Violation& v : ReportOf(*host).violations) ...
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/descriptor.h"
#include "host/document.h"
#include "hostapi/hostapi.h"

namespace host {

// ---- Violations -------------------------------------------------------------------------------------------

enum class ViolationKind {
    kBadHandle,     // unknown, foreign or disposed handle
    kBadPointer,    // unknown, foreign or disposed buffer or block
    kLocking,       // unlocked without a lock, disposed while locked, or still locked after a call
    kOverrun,       // a block's guard bytes were changed
    kUseAfterFree,  // memory was written or passed after it was freed
    kLeak,          // not freed at the end of a run or of the host
    kBadMemory,     // a PixelMemoryDesc or pixel map that does not fit its buffer or its channel
    kBadRectangle,  // outside the document, or empty
    kBadPort,       // unknown port, or wrong direction
    kBadToken,      // unknown or closed descriptor token, or a wrong order of calls
    kBadArgument,   // other null or invalid arguments
    kSuite,         // released without being acquired
    kThread,        // called from a thread that does not run the module
    kCall,          // the module threw, asked for tiles, or called an unavailable service
};

struct Violation {
    ViolationKind kind;
    std::string text;  // one line
};

// A displayPixels call, with copies of the pixels.
struct DisplayCall {
    PSPixelMap map;      // baseAddr and masks are dangling, except for being null or not
    PSPixelMask mask{};  // the first mask, if any
    VRect sourceRect;
    std::int32_t row = 0, column = 0;
    void* context = nullptr;
    std::vector<std::uint8_t> pixels;     // red, green and blue planes of the bounds, without padding
    std::vector<std::uint8_t> maskBytes;  // one plane; empty without a mask
};

// The calls that fault injection can make fail.
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
    std::vector<std::string> urls;                                // passed to BrowseUrl
    std::vector<std::pair<std::int32_t, std::int32_t>> progress;  // done, total
    int abortCalls = 0;
    int fallibleCalls = 0;           // since the host was created; see HostOptions::failAt
    std::vector<HostCall> failures;  // injected failures
    bool aborted = false;            // abortProc has returned true
};

// ---- Options ----------------------------------------------------------------------------------------------

struct HostOptions {
    // What the module receives.
    void* mainWindow = nullptr;  // the first field of platformData; an HWND on Windows
    std::int16_t playInfo = plugInDialogDontDisplay;
    bool offersDisplayPixels = true;

    // Callbacks. Defaults: never abort, ignore progress, BrowseUrl succeeds.
    std::function<bool()> abortRequested;
    std::function<void(std::int32_t done, std::int32_t total)> progress;
    std::function<SPErr(const char* url)> browseUrl;
    std::function<void(const DisplayCall&)> displayed;  // called by each displayPixels, after it has painted
    bool keepDisplays = true;                           // false: HostReport::displays has only the last call

    // Receives one line, without line end, for each call between module and host: the arguments, " -> ", and
    // the result. Handles, buffers, blocks, ports and tokens have numbers in the order of their creation, and
    // pixels a hash: traces are the same on all platforms.
    std::function<void(const std::string& line)> trace;

    // Memory. New blocks are filled with fillByte; empty: they are not filled.
    std::optional<std::uint8_t> fillByte = 0xA5;
    bool moveHandles = true;  // the blocks of unlocked handles move at every lock, creation and call
    std::size_t quarantineBytes = 16u << 20;  // freed memory that is kept to detect writes to it

    // Whether the buffer suite's Dispose sets the caller's pointer to null.
    bool disposeClearsPointer = true;

    // Faults. Calls of all kinds in HostCall are counted from 1 since the host was created; 0: none.
    int failAt = 0;  // this call fails
    bool failKindEnabled = false;
    HostCall failKind = HostCall::kNewHandle;
    int failKindAt = 0;  // with failKindEnabled: this call of that kind fails; 0: all of them
    int abortAt = 0;     // this call of abortProc and all later ones return true
    std::vector<std::string> missingSuites;  // by name
    bool allocateBlockGivesNull = false;     // AllocateBlock returns success and a null block
    bool shrinkScaledReads = false;  // ReadScaledPixels delivers one row and one column less than requested
    OSErr closeReadCode = noErr;     // the result of closeReadDescriptorProc if not 0
    OSErr closeWriteCode = noErr;    // of closeWriteDescriptorProc, which still returns the descriptor
    std::int16_t handleProcsVersion = kHandleProcsVersion;
    std::int16_t numHandleProcs = kHandleProcsCount;
    bool descriptorsUsable = true;  // false: the version of the descriptor procs is too new

    // Changes the FilterRecord before each call. The records that it points to are new for each call and may
    // be changed.
    std::function<void(FilterRecord&)> adjustRecord;
};

// The options of a lean host: it does not fill freed memory, detects no writes to it, and moves no handles.
// New memory is filled: with the flag "FlagShowSelect" the filter uses bytes that it has not written. Guards,
// bounds, rectangles, handles, ports, tokens and leaks are checked as always.
HostOptions LeanOptions();

// A 32-bit FNV-1a hash for traces.
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

// Creates the current host. Throws std::logic_error when the process has one.
HostPtr CreateHost(HostOptions options = {});

// Options may be changed between calls into the module.
HostOptions& OptionsOf(Host& host);
const HostReport& ReportOf(const Host& host);

// Clears the report and its counts.
void ClearReport(Host& host);

// All violations, one per line.
std::string ViolationText(const Host& host);

enum class AskForParameters { kNo, kYes };

struct RunResult {
    OSErr result = noErr;           // of the last selector called
    std::int16_t lastSelector = 0;  // filterSelectorFinish after a complete run
};

// Runs the module on the document: selectors 1 (only with kYes), 2, 3 and 5. A result other than 0 ends the
// run. The host keeps the data word, the parameters and the descriptor for the next run. Buffers and blocks
// that are left at the end are violations. Changes the document in place. Throws std::invalid_argument for an
// invalid document (ValidateDocument).
RunResult RunFilter(Host& host, PluginMainProc pluginMain, Document& document, AskForParameters ask);

// A run in single steps: OpenDocument, any number of calls, EndRun, which makes the final checks.
// FilterRecord and result have other addresses in each call. The result is kUnwrittenResult before the call;
// CallSelector returns it after the call.
constexpr OSErr kUnwrittenResult = 0x5555;
void OpenDocument(Host& host, Document& document);
OSErr CallSelector(Host& host, PluginMainProc pluginMain, std::int16_t selector);
void EndRun(Host& host);

// Calls selector 0, which shows the About box.
void ShowAbout(Host& host, PluginMainProc pluginMain);

// Frees the data word, the parameters and the descriptor, and reports remaining handles, buffers and blocks,
// and damaged guards. The module may be unloaded afterwards.
void CloseHost(Host& host);

// ---- What the host keeps for the module -------------------------------------------------------------------

// Replaces the descriptor for the next run; an empty list is a descriptor without keys.
void SetDescriptor(Host& host, const Descriptor& descriptor);
void RemoveDescriptor(Host& host);

// The current descriptor, if any.
std::optional<Descriptor> StoredDescriptor(const Host& host);

std::intptr_t DataWord(const Host& host);
Handle ParametersHandle(const Host& host);

struct LiveCounts {
    int handles = 0, buffers = 0, blocks = 0, readTokens = 0, writeTokens = 0;
};

LiveCounts CountLive(const Host& host);

// The basic suite, for tests outside a call. Valid for the life of the process.
SPBasicSuite* BasicSuite();

// Returns the record of the next call without a call, for tests of single functions. Needs an open document.
// Valid until EndRun.
FilterRecord* PrepareRecord(Host& host);

}  // namespace host

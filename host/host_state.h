// The host from within: its state, and what every service does first (find the current host, count the call,
// perhaps fail) and last (leave a line in the trace).
#pragma once

#include <array>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "host/guarded_memory.h"
#include "host/host.h"

namespace host {

// What services answer when no published code says it better.
constexpr SPErr kServiceFailed = -1;
constexpr OSErr kWrongDescriptorType = -1700;

// How many disposed handles the host remembers.
constexpr std::size_t kRememberedHandles = 1000;

// The master pointer of a handle, at the address that is the handle. Records of disposed handles stay for
// long, so that an old handle is not taken for a new one; the word behind the pointer tells a handle of this
// host.
struct HandleRecord {
    char* address = nullptr;  // null once disposed
    std::uint32_t tag = FourCC("frnd");
    int id = 0;
    int locks = 0;
    bool leakReported = false;
};

struct Port {
    int id = 0;
    std::string name;  // "layer 2 Green", "target Red"
    Channel* channel = nullptr;
    bool forWriting = false;
};

struct ReadToken {
    int id = 0;
    Handle source = nullptr;
    Descriptor items;
    std::size_t next = 0;              // item that getKey gives next
    bool valuePending = false;         // the item before `next` was named and its value not yet fetched
    FourCharCode* expected = nullptr;  // the module's array, which ends with 0
    std::set<FourCharCode> missing;    // expected and not yet seen
};

struct WriteToken {
    int id = 0;
    Descriptor items;
};

// The document as the module sees it; built when it is opened, gone at the end of the run.
struct DocumentRecords {
    ReadImageDocumentDesc document{};
    std::vector<std::unique_ptr<ReadLayerDesc>> layers;
    std::vector<std::unique_ptr<ReadChannelDesc>> channels;
    std::map<PIChannelPort, std::unique_ptr<Port>> ports;
};

// What one call into the module passes; made anew for each.
struct CallRecords {
    FilterRecord filter;
    HandleProcs handleProcs;
    PIDescriptorParameters descriptorParameters;
    ReadDescriptorProcs readProcs;
    WriteDescriptorProcs writeProcs;
    PlatformData platformData;
    OSErr result;
};

struct Host {
    HostOptions options;
    HostReport report;
    std::array<int, static_cast<std::size_t>(HostCall::kDisplayPixels) + 1> callsOfKind{};

    GuardedMemory memory;
    std::map<Handle, std::unique_ptr<HandleRecord>> handles;
    std::deque<Handle> disposedHandles;  // oldest first
    int handlesMade = 0, buffersMade = 0, blocksMade = 0, portsMade = 0, tokensMade = 0;
    std::map<std::string, int> acquired;  // suites by name, how often
    std::map<PIReadDescriptor, std::unique_ptr<ReadToken>> readTokens;
    std::map<PIWriteDescriptor, std::unique_ptr<WriteToken>> writeTokens;

    Document* openDocument = nullptr;
    std::unique_ptr<DocumentRecords> records;
    std::unique_ptr<CallRecords> call, previousCall;  // the previous one stays, so that addresses differ
    bool insideModule = false;
    std::thread::id moduleThread;

    // Kept for the module between calls and runs.
    std::intptr_t dataWord = 0;
    Handle parameters = nullptr;
    Handle descriptor = nullptr;
    std::int16_t recordInfo = 0;
};

// The current host at the head of a service; null when there is none, and the service then does nothing but
// fail. Watches the thread.
Host* EnterService();

// Counts a call that can fail, and says whether it is to.
bool FailsNow(Host& host, HostCall call);

void AddViolation(Host& host, ViolationKind kind, const std::string& text);
void AddTrace(Host& host, const std::string& line);

template <typename... Parts>
std::string Joined(const Parts&... parts) {
    std::ostringstream line;
    (line << ... << parts);
    return line.str();
}

template <typename... Parts>
void Trace(Host& host, const Parts&... parts) {
    if (host.options.trace) AddTrace(host, Joined(parts...));
}

template <typename... Parts>
void ReportViolation(Host& host, ViolationKind kind, const Parts&... parts) {
    AddViolation(host, kind, Joined(parts...));
}

// Fills the slots that the module has no use for: a call of one fails and is a violation.
template <typename Result, typename... Arguments>
Result NotOffered(Arguments...) {
    Host* host = EnterService();
    if (host != nullptr)
        ReportViolation(*host, ViolationKind::kCall, "a service was called that this host lacks");
    return static_cast<Result>(kServiceFailed);
}

std::string RectText(const VRect& rect);

// ---- Memory (host_state.cpp) ------------------------------------------------------------------------------

// Ends a block after a look at its guards; reports what it finds under the block's name.
void Retire(Host& host, const GuardedBlock& block);

// Reports hurt guards of all live blocks, and late writes into the quarantine, which is emptied.
void CheckAllMemory(Host& host);

// ---- Handles (handle_procs.cpp) ---------------------------------------------------------------------------

void FillHandleProcs(const HostOptions& options, HandleProcs* procs);
Handle MakeHandle(Host& host, std::size_t size);            // null without memory
void DropHandle(Host& host, Handle handle);                 // a live one
HandleRecord* FindHandle(const Host& host, Handle handle);  // null unless it is a live handle of this host
void MoveUnlockedHandles(Host& host);
std::string HandleText(const Host& host, Handle handle);

// ---- Suites -----------------------------------------------------------------------------------------------

const PSBufferSuite* BufferSuite();
const PSChannelPortsSuite* ChannelPortsSuite();
const PSGetFileListSuite* GetFileListSuite();

// ---- Document, descriptors, painting ----------------------------------------------------------------------

std::unique_ptr<DocumentRecords> DescribeDocument(Host& host, Document& document);

void FillDescriptorProcs(const HostOptions& options, CallRecords* call);
Handle HandleOfDescriptor(Host& host, const Descriptor& descriptor);

OSErr DisplayPixels(const PSPixelMap* map, const VRect* sourceRect, std::int32_t row, std::int32_t column,
                    void* context);

// The rows, columns and distances of pixels that the module names, in bytes.
struct PixelArea {
    const void* data;
    std::int64_t rows, columns;
    std::int64_t rowBytes, columnBytes, sampleBytes;
};

// Whether all samples lie in the block that the data points into; a violation under the call's name if not.
// Memory that is not the host's passes.
bool AreaFits(Host& host, const char* call, const PixelArea& area);

}  // namespace host

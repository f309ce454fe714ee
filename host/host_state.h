// The host's state, and what every service does: find the current host, count the call, fail on request,
// write the trace.
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

// The services' results where no published code fits.
constexpr SPErr kServiceFailed = -1;
constexpr OSErr kWrongDescriptorType = -1700;

// The number of disposed handles that the host remembers.
constexpr std::size_t kRememberedHandles = 1000;

// A handle is the address of its record's master pointer. Records of disposed handles are kept: a new handle
// must not have the address of a recently disposed one. The tag follows the pointer and marks the host's
// handles.
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
    std::size_t next = 0;              // the item that getKey returns next
    bool valuePending = false;         // getKey returned the item before `next`, whose value is not read yet
    FourCharCode* expected = nullptr;  // the module's array, terminated by 0
    std::set<FourCharCode> missing;    // expected keys not found yet
};

struct WriteToken {
    int id = 0;
    Descriptor items;
};

// The open document's records and ports for the module.
struct DocumentRecords {
    ReadImageDocumentDesc document{};
    std::vector<std::unique_ptr<ReadLayerDesc>> layers;
    std::vector<std::unique_ptr<ReadChannelDesc>> channels;
    std::map<PIChannelPort, std::unique_ptr<Port>> ports;
};

// The records of one call into the module.
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
    std::map<std::string, int> acquired;  // count by suite name
    std::map<PIReadDescriptor, std::unique_ptr<ReadToken>> readTokens;
    std::map<PIWriteDescriptor, std::unique_ptr<WriteToken>> writeTokens;

    Document* openDocument = nullptr;
    std::unique_ptr<DocumentRecords> records;
    // The previous call's records are kept: the next call's have another address.
    std::unique_ptr<CallRecords> call, previousCall;
    bool insideModule = false;
    std::thread::id moduleThread;

    // Kept for the module between calls and runs.
    std::intptr_t dataWord = 0;
    Handle parameters = nullptr;
    Handle descriptor = nullptr;
    std::int16_t recordInfo = 0;
};

// Returns the current host at the start of a service, and checks the thread. Null without a host; the service
// then fails.
Host* EnterService();

// Counts a call and returns whether it must fail.
bool ShouldFail(Host& host, HostCall call);

void AddViolation(Host& host, ViolationKind kind, const std::string& text);
void AddTrace(Host& host, const std::string& line);

template <typename... Parts>
std::string Concat(const Parts&... parts) {
    std::ostringstream line;
    (line << ... << parts);
    return line.str();
}

template <typename... Parts>
void Trace(Host& host, const Parts&... parts) {
    if (host.options.trace) AddTrace(host, Concat(parts...));
}

template <typename... Parts>
void ReportViolation(Host& host, ViolationKind kind, const Parts&... parts) {
    AddViolation(host, kind, Concat(parts...));
}

// For services that the module does not use: fails and records a violation.
template <typename Result, typename... Arguments>
Result NotOffered(Arguments...) {
    Host* host = EnterService();
    if (host != nullptr)
        ReportViolation(*host, ViolationKind::kCall,
                        "the module called a service that this host does not have");
    return static_cast<Result>(kServiceFailed);
}

std::string RectText(const VRect& rect);

// ---- Memory ----------------------------------------------------------------------------------------------

// Frees a block after a check of its guards.
void ReleaseBlock(Host& host, const GuardedBlock& block);

// Checks the guards of all live blocks; checks and empties the quarantine.
void CheckAllMemory(Host& host);

// ---- Handles (handle_procs.cpp) ---------------------------------------------------------------------------

void FillHandleProcs(const HostOptions& options, HandleProcs* procs);
Handle MakeHandle(Host& host, std::size_t size);            // null without memory
void FreeHandle(Host& host, Handle handle);                 // must be live
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

// Pixels in the module's memory; strides in bytes.
struct PixelArea {
    const void* data;
    std::int64_t rows, columns;
    std::int64_t rowBytes, columnBytes, sampleBytes;
};

// Returns whether all samples are inside the block that `data` points into; records a violation if not.
// Accepts memory that is not the host's.
bool RequireArea(Host& host, const char* call, const PixelArea& area);

}  // namespace host

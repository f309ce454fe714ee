// Runs the module: the calls, the checks after each call, and the checks at the end.
#include <algorithm>
#include <cstring>
#include <iomanip>
#include <stdexcept>

#include "host/host_state.h"

namespace host {

namespace {

constexpr std::int32_t kReportedMemory = 0x40000000;  // bytes

Boolean AnswerAbort() {
    Host* host = EnterService();
    if (host == nullptr) return 0;
    HostReport& report = host->report;
    ++report.abortCalls;
    const HostOptions& options = host->options;
    const bool stop = (options.abortAt != 0 && report.abortCalls >= options.abortAt) ||
                      (options.abortRequested && options.abortRequested());
    report.aborted = report.aborted || stop;
    Trace(*host, "abortProc -> ", stop ? "true" : "false");
    return stop;
}

void RecordProgress(std::int32_t done, std::int32_t total) {
    Host* host = EnterService();
    if (host == nullptr) return;
    host->report.progress.emplace_back(done, total);
    Trace(*host, "progressProc ", done, ' ', total);
    if (host->options.progress) host->options.progress(done, total);
}

std::int16_t Clamp16(std::int32_t value) {
    return static_cast<std::int16_t>(std::clamp(value, -32768, 32767));
}

// filterCase: a flat target, or one with transparency, each without and with a selection.
std::int16_t FilterCaseOf(const ReadImageDocumentDesc& document) {
    return static_cast<std::int16_t>((document.targetTransparency != nullptr ? 4 : 1) +
                                     (document.selection != nullptr));
}

// The fields that describe the document.
void FillDocumentFields(const ReadImageDocumentDesc& document, FilterRecord* record) {
    const std::int32_t width = WidthOf(document.bounds);
    const std::int32_t height = HeightOf(document.bounds);
    record->imageSize = record->wholeSize = {Clamp16(height), Clamp16(width)};
    record->planes = document.targetTransparency != nullptr ? 4 : 3;
    record->filterRect = {0, 0, Clamp16(height), Clamp16(width)};
    record->background = {65535, 65535, 65535};
    record->imageMode = static_cast<std::int16_t>(document.imageMode);
    record->imageHRes = document.hResolution;
    record->imageVRes = document.vResolution;
    record->haveMask = document.selection != nullptr;
    record->filterCase = FilterCaseOf(document);
    record->depth = document.depth;
    record->inLayers.layerPlanes = record->outLayers.layerPlanes = record->absLayers.layerPlanes = 3;
    if (document.targetTransparency != nullptr) {
        record->inLayers.transparencyMask = record->outLayers.transparencyMask =
            record->absLayers.transparencyMask = 1;
    }
}

std::unique_ptr<CallRecords> MakeCallRecords(Host& host) {
    auto call = std::make_unique<CallRecords>();
    std::memset(static_cast<void*>(call.get()), 0, sizeof *call);
    FillHandleProcs(host.options, &call->handleProcs);
    FillDescriptorProcs(host.options, call.get());
    call->descriptorParameters.descriptor = host.descriptor;
    call->descriptorParameters.recordInfo = host.recordInfo;
    call->platformData.hwnd = host.options.mainWindow;
    call->result = kUnwrittenResult;

    FilterRecord& record = call->filter;
    FillDocumentFields(host.records->document, &record);
    record.abortProc = AnswerAbort;
    record.progressProc = RecordProgress;
    record.parameters = host.parameters;
    record.maxSpace = record.bufferSpace = kReportedMemory;
    record.hostSig = FourCC("frnd");
    record.platformData = &call->platformData;
    record.displayPixels = host.options.offersDisplayPixels ? DisplayPixels : nullptr;
    record.handleProcs = &call->handleProcs;
    record.descriptorParameters = &call->descriptorParameters;
    record.documentInfo = &host.records->document;
    record.sSPBasic = BasicSuite();
    if (host.options.adjustRecord) host.options.adjustRecord(record);
    return call;
}

// Makes the records of the next call, at another address than the last. Overwrites the last call's memory,
// which detects pointers kept by the module, and frees the memory of the call before it.
FilterRecord* BeginCall(Host& host) {
    if (host.openDocument == nullptr) throw std::logic_error("no document is open");
    std::unique_ptr<CallRecords> fresh = MakeCallRecords(host);
    if (host.call != nullptr) std::memset(static_cast<void*>(host.call.get()), 0xDB, sizeof *host.call);
    host.previousCall = std::move(host.call);
    host.call = std::move(fresh);
    return &host.call->filter;
}

bool UsesHostHandles(const CallRecords& call) {
    const HandleProcs* procs = call.filter.handleProcs;
    return procs != nullptr && procs->handleProcsVersion == kHandleProcsVersion &&
           procs->numHandleProcs >= kHandleProcsCount;
}

void CheckKeptHandle(Host& host, const char* name, Handle handle) {
    if (handle == nullptr || FindHandle(host, handle) != nullptr) return;
    ReportViolation(host, ViolationKind::kBadHandle, name, " holds ", HandleText(host, handle));
}

// After a call all handles are unlocked, all tokens closed, and no tiles requested.
void CheckAfterCall(Host& host, const CallRecords& call) {
    if (UsesHostHandles(call)) {
        CheckKeptHandle(host, "the data word", reinterpret_cast<Handle>(host.dataWord));
        CheckKeptHandle(host, "FilterRecord.parameters", host.parameters);
        CheckKeptHandle(host, "the descriptor's field", host.descriptor);
    }
    for (const auto& [handle, record] : host.handles) {
        if (record->address != nullptr && record->locks > 0) {
            ReportViolation(host, ViolationKind::kLocking, "handle ", record->id,
                            " is still locked after the call");
            record->locks = 0;
        }
    }
    if (!host.readTokens.empty() || !host.writeTokens.empty()) {
        ReportViolation(host, ViolationKind::kLeak, "a descriptor token was left open");
        host.readTokens.clear();
        host.writeTokens.clear();
    }
    const auto isEmpty = [](const Rect& r) { return r.right <= r.left || r.bottom <= r.top; };
    const FilterRecord& record = call.filter;
    if (!isEmpty(record.inRect) || !isEmpty(record.outRect) || !isEmpty(record.maskRect)) {
        ReportViolation(host, ViolationKind::kCall, "the module asked for tiles");
    }
}

// What the host keeps for the module, as text.
std::string KeptStateText(const Host& host) {
    std::string parameters;
    const HandleRecord* record = FindHandle(host, host.parameters);
    const GuardedBlock* block = record == nullptr ? nullptr : FindContaining(host.memory, record->address);
    for (std::size_t i = 0; block != nullptr && i < block->size; ++i) {
        parameters +=
            Concat(i % 4 == 0 ? " " : "", std::hex, std::setw(2), std::setfill('0'), int{BytesOf(*block)[i]});
    }
    return Concat("data ", HandleText(host, reinterpret_cast<Handle>(host.dataWord)), ", parameters ",
                  HandleText(host, host.parameters), parameters, ", descriptor ",
                  HandleText(host, host.descriptor), ", recordInfo ", host.recordInfo);
}

std::string ResultText(OSErr result) {
    return result == kUnwrittenResult ? "unwritten" : std::to_string(result);
}

// Calls the module. An exception is a violation.
void CallModule(Host& host, PluginMainProc pluginMain, std::int16_t selector, void* block, OSErr* result) {
    host.insideModule = true;
    host.moduleThread = std::this_thread::get_id();
    try {
        pluginMain(selector, block, &host.dataWord, result);
    } catch (...) {
        ReportViolation(host, ViolationKind::kCall, "the module threw an exception at selector ", selector);
    }
    host.insideModule = false;
}

// Reports in the order of creation, which is the same in each run.
void ReportLeaks(Host& host, const char* when) {
    std::map<std::pair<std::string, int>, std::size_t> leaks;  // sizes by kind and number
    for (auto& [address, block] : host.memory.live) {
        if (block.kind == BlockKind::kHandle || block.leakReported) continue;
        block.leakReported = true;
        leaks[{NameOfKind(block.kind), block.id}] = block.size;
    }
    for (const auto& [handle, record] : host.handles) {
        const bool kept = handle == host.parameters || handle == host.descriptor ||
                          handle == reinterpret_cast<Handle>(host.dataWord);
        if (record->address == nullptr || kept || record->leakReported) continue;
        record->leakReported = true;
        leaks[{"handle", record->id}] = FindContaining(host.memory, record->address)->size;
    }
    for (const auto& [name, size] : leaks) {
        ReportViolation(host, ViolationKind::kLeak, name.first, ' ', name.second, " of ", size,
                        " bytes is left at ", when);
    }
}

}  // namespace

void OpenDocument(Host& host, Document& document) {
    if (host.openDocument != nullptr) throw std::logic_error("a document is already open");
    const std::string fault = ValidateDocument(document);
    if (!fault.empty()) throw std::invalid_argument(fault);
    host.openDocument = &document;
    host.records = DescribeDocument(host, document);
}

FilterRecord* PrepareRecord(Host& host) {
    return BeginCall(host);
}

OSErr CallSelector(Host& host, PluginMainProc pluginMain, std::int16_t selector) {
    FilterRecord* record = BeginCall(host);
    CallRecords& call = *host.call;
    MoveUnlockedHandles(host);
    Trace(host, "> PluginMain ", selector);
    CallModule(host, pluginMain, selector, record, &call.result);
    host.parameters = record->parameters;
    host.descriptor = call.descriptorParameters.descriptor;
    host.recordInfo = call.descriptorParameters.recordInfo;
    Trace(host, "< PluginMain ", selector, " -> ", ResultText(call.result), ", ", KeptStateText(host));
    CheckAfterCall(host, call);
    return call.result;
}

void EndRun(Host& host) {
    CheckAllMemory(host);
    ReportLeaks(host, "the end of the run");
    host.call.reset();
    host.previousCall.reset();
    host.records.reset();
    host.openDocument = nullptr;
}

RunResult RunFilter(Host& host, PluginMainProc pluginMain, Document& document, AskForParameters ask) {
    OpenDocument(host, document);
    RunResult run;
    for (const std::int16_t selector :
         {filterSelectorParameters, filterSelectorPrepare, filterSelectorStart, filterSelectorFinish}) {
        if (selector == filterSelectorParameters && ask == AskForParameters::kNo) continue;
        run.lastSelector = selector;
        run.result = CallSelector(host, pluginMain, selector);
        if (run.result != noErr) break;
    }
    EndRun(host);
    return run;
}

void ShowAbout(Host& host, PluginMainProc pluginMain) {
    AboutRecord record{};
    PlatformData platform{host.options.mainWindow};
    record.platformData = &platform;
    record.sSPBasic = BasicSuite();
    OSErr result = kUnwrittenResult;
    Trace(host, "> PluginMain 0");
    CallModule(host, pluginMain, filterSelectorAbout, &record, &result);
    Trace(host, "< PluginMain 0 -> ", ResultText(result), ", data ",
          HandleText(host, reinterpret_cast<Handle>(host.dataWord)));
    if (result != kUnwrittenResult) ReportViolation(host, ViolationKind::kCall, "About wrote the result");
}

void CloseHost(Host& host) {
    if (host.openDocument != nullptr) EndRun(host);
    RemoveDescriptor(host);
    if (FindHandle(host, host.parameters) != nullptr) FreeHandle(host, host.parameters);
    const Handle data = reinterpret_cast<Handle>(host.dataWord);
    if (FindHandle(host, data) != nullptr) FreeHandle(host, data);
    host.parameters = nullptr;
    host.dataWord = 0;
    CheckAllMemory(host);
    ReportLeaks(host, "the host's end");
}

}  // namespace host

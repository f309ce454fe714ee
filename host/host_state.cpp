// The current host: creation, counts of calls, violations and trace.
#include "host/host_state.h"

#include <algorithm>
#include <stdexcept>

namespace host {

namespace {

Host* gCurrentHost = nullptr;

}  // namespace

HostOptions LeanOptions() {
    HostOptions options;
    options.moveHandles = false;
    options.quarantineBytes = 0;
    return options;
}

HostPtr CreateHost(HostOptions options) {
    if (gCurrentHost != nullptr) throw std::logic_error("the process already has a host");
    HostPtr host(new Host);
    host->options = std::move(options);
    gCurrentHost = host.get();
    return host;
}

void HostDeleter::operator()(Host* host) const {
    if (host == gCurrentHost) gCurrentHost = nullptr;
    delete host;
}

HostOptions& OptionsOf(Host& host) {
    return host.options;
}

const HostReport& ReportOf(const Host& host) {
    return host.report;
}

void ClearReport(Host& host) {
    host.report = {};
    host.callsOfKind = {};
}

std::string ViolationText(const Host& host) {
    std::string text;
    for (const Violation& violation : host.report.violations) text += violation.text + '\n';
    return text;
}

LiveCounts CountLive(const Host& host) {
    LiveCounts counts;
    for (const auto& [handle, record] : host.handles) counts.handles += record->address != nullptr;
    for (const auto& [address, block] : host.memory.live) {
        counts.buffers += block.kind == BlockKind::kBuffer;
        counts.blocks += block.kind == BlockKind::kBlock;
    }
    counts.readTokens = static_cast<int>(host.readTokens.size());
    counts.writeTokens = static_cast<int>(host.writeTokens.size());
    return counts;
}

std::intptr_t DataWord(const Host& host) {
    return host.dataWord;
}

Handle ParametersHandle(const Host& host) {
    return host.parameters;
}

Host* EnterService() {
    Host* host = gCurrentHost;
    if (host != nullptr && host->insideModule && std::this_thread::get_id() != host->moduleThread) {
        ReportViolation(*host, ViolationKind::kThread,
                        "a service was called from a thread that does not run the module");
    }
    return host;
}

bool ShouldFail(Host& host, HostCall call) {
    const int number = ++host.report.fallibleCalls;
    const int numberOfKind = ++host.callsOfKind[static_cast<std::size_t>(call)];
    const HostOptions& options = host.options;
    const bool failsOfKind = options.failKindEnabled && options.failKind == call &&
                             (options.failKindAt == 0 || options.failKindAt == numberOfKind);
    if (options.failAt != number && !failsOfKind) return false;
    host.report.failures.push_back(call);
    AddTrace(host, "the next call fails");
    return true;
}

void AddViolation(Host& host, ViolationKind kind, const std::string& text) {
    host.report.violations.push_back({kind, text});
    AddTrace(host, "! " + text);
}

void AddTrace(Host& host, const std::string& line) {
    if (host.options.trace) host.options.trace(line);
}

std::string RectText(const VRect& rect) {
    return Concat('(', rect.top, ' ', rect.left, ' ', rect.bottom, ' ', rect.right, ')');
}

void ReleaseBlock(Host& host, const GuardedBlock& block) {
    if (!GuardsIntact(block)) {
        ReportViolation(host, ViolationKind::kOverrun, NameOfKind(block.kind), ' ', block.id, " of ",
                        block.size, " bytes was written past its ends");
    }
    const int late = QuarantineBlock(host.memory, BytesOf(block), host.options.quarantineBytes);
    if (late > 0) ReportViolation(host, ViolationKind::kUseAfterFree, "freed memory was written to");
}

void CheckAllMemory(Host& host) {
    for (const auto& [address, block] : host.memory.live) {
        if (!GuardsIntact(block)) {
            ReportViolation(host, ViolationKind::kOverrun, NameOfKind(block.kind), ' ', block.id, " of ",
                            block.size, " bytes was written past its ends");
        }
    }
    if (DrainQuarantine(host.memory, 0) > 0) {
        ReportViolation(host, ViolationKind::kUseAfterFree, "freed memory was written to");
    }
}

bool RequireArea(Host& host, const char* call, const PixelArea& area) {
    if (area.rows <= 0 || area.columns <= 0) return true;
    const GuardedBlock* block = FindContaining(host.memory, area.data);
    if (block == nullptr) {
        if (!IsQuarantined(host.memory, area.data)) return true;
        ReportViolation(host, ViolationKind::kUseAfterFree, call, ": the memory was freed before");
        return false;
    }
    const std::int64_t first = static_cast<const std::uint8_t*>(area.data) - BytesOf(*block);
    const std::int64_t rowSpan = (area.rows - 1) * area.rowBytes;
    const std::int64_t columnSpan = (area.columns - 1) * area.columnBytes;
    const std::int64_t low =
        first + std::min<std::int64_t>(rowSpan, 0) + std::min<std::int64_t>(columnSpan, 0);
    const std::int64_t high =
        first + std::max<std::int64_t>(rowSpan, 0) + std::max<std::int64_t>(columnSpan, 0) + area.sampleBytes;
    if (low >= 0 && high <= static_cast<std::int64_t>(block->size)) return true;
    ReportViolation(host, ViolationKind::kBadMemory, call, ": ", area.rows, " rows of ", area.columns,
                    " samples at ", NameOfAddress(host.memory, area.data), " overrun its ", block->size,
                    " bytes");
    return false;
}

}  // namespace host

#include "tests/support/engine_rig.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>

#include "shell/engine_calls.h"
#include "shell/scripting.h"
#include "support/module_state.h"

namespace {

constexpr std::size_t kAlignment = 64;
constexpr std::size_t kGuardBytes = 256;  // on either side of a plane, also for reads by whole vectors
constexpr std::uint8_t kGuard = 0xE5;

EngineRig* running = nullptr;

Boolean AnswerAbort() {
    ++running->abortCalls;
    return running->abortCalls == running->abortAtCall;
}

void NoteProgress(std::int32_t done, std::int32_t total) {
    running->progress.emplace_back(done, total);
}

}  // namespace

struct EngineRig::Broker {
    static SPErr Allocate(std::size_t size, void** block) {
        running->heapCalls.push_back(static_cast<std::int64_t>(size));
        const bool fails = static_cast<std::int32_t>(running->addresses_.size()) + 1 == running->failBlockAt;
        *block = fails ? nullptr : std::malloc(size);
        running->addresses_.push_back(*block);
        return *block == nullptr ? memFullErr : 0;
    }

    static SPErr Free(void* block) {
        const auto first = running->addresses_.begin(), last = running->addresses_.end();
        const auto found = std::find(first, last, block);
        if (block == nullptr || found == last) std::abort();  // a block that is not the engine's
        running->heapCalls.push_back(first - found - 1);
        *found = nullptr;
        std::free(block);
        return 0;
    }
};

EngineRig::EngineRig(std::int32_t width, std::int32_t height, RunKind kind, std::int32_t offset) {
    const bool deep = kind == RunKind::kFull16 || kind == RunKind::kPreview16;
    globals.result = &result;
    globals.filterParamBlock = &record_;
    globals.docInfo = &document_;
    globals.planeWidth = width;
    globals.planeHeight = height;
    globals.depthBytes = deep ? 2 : 1;
    globals.maxSample = kind == RunKind::kFull16 ? kMaxSample16 : kMaxSample8;
    globals.finalRender = kind == RunKind::kFull8 || kind == RunKind::kFull16;
    SetDefaultParameters(&globals);
    record_.abortProc = AnswerAbort;
    record_.progressProc = NoteProgress;

    const std::size_t shift = static_cast<std::size_t>(offset) * static_cast<std::size_t>(globals.depthBytes);
    for (int plane = 0; plane < kPlaneCount; ++plane) {
        std::vector<std::uint8_t>& memory = memory_[plane];
        memory.assign(kAlignment + 2 * kGuardBytes + shift + PlaneBytes(), kGuard);
        const auto address = reinterpret_cast<std::uintptr_t>(memory.data());
        const std::size_t toAligned = (kAlignment - address % kAlignment) % kAlignment;
        std::uint8_t* first = memory.data() + toAligned + kGuardBytes + shift;
        globals.*kPlanes[plane] = first;
        globals.*kPlanes16[plane] = reinterpret_cast<std::uint16_t*>(first);
        std::memset(first, 0, PlaneBytes());
    }
    Fill(kTopA, static_cast<std::uint16_t>(globals.maxSample));
    ResetOutputs();
}

EngineRig::~EngineRig() {
    for (void* block : addresses_) std::free(block);
}

std::uint16_t EngineRig::Get(Plane plane, std::int64_t i) const {
    return globals.depthBytes == 1 ? (globals.*kPlanes[plane])[i] : (globals.*kPlanes16[plane])[i];
}

void EngineRig::Set(Plane plane, std::int64_t i, std::uint16_t sample) {
    if (globals.depthBytes == 1) {
        (globals.*kPlanes[plane])[i] = static_cast<std::uint8_t>(sample);
    } else {
        (globals.*kPlanes16[plane])[i] = sample;
    }
}

void EngineRig::SetColour(Plane red, std::int64_t i, std::uint16_t r, std::uint16_t g, std::uint16_t b) {
    Set(red, i, r);
    Set(static_cast<Plane>(red + 1), i, g);
    Set(static_cast<Plane>(red + 2), i, b);
}

void EngineRig::Fill(Plane plane, std::uint16_t sample) {
    for (std::int64_t i = 0; i < Pixels(); ++i) Set(plane, i, sample);
}

void EngineRig::CopyPlane(Plane to, Plane from) {
    if (PlaneBytes() != 0) std::memcpy(Bytes(to), Bytes(from), PlaneBytes());
}

void EngineRig::ExchangePlanes(Plane a, Plane b) {
    std::swap_ranges(Bytes(a), Bytes(a) + PlaneBytes(), Bytes(b));
}

void EngineRig::ResetOutputs() {
    for (Plane plane : {kSelection, kOutR, kOutG, kOutB, kOutA}) {
        for (std::int64_t i = 0; i < Pixels(); ++i) {
            Set(plane, i, static_cast<std::uint16_t>(0x5A11 + plane * 0x0307 + i * 0x0125));
        }
    }
}

void EngineRig::SetUniformBackdrop(double r, double g, double b) {
    std::fill_n(gBackdropGrid.gridR, keying::kGridCells, globals.backdropMeanR = r);
    std::fill_n(gBackdropGrid.gridG, keying::kGridCells, globals.backdropMeanG = g);
    std::fill_n(gBackdropGrid.gridB, keying::kGridCells, globals.backdropMeanB = b);
}

void EngineRig::Run(void (*engine)(Globals*)) {
    EngineRig* const lastRunning = running;
    SPBasicSuite* const lastSuite = gSPBasicSuite;
    SPBasicSuite broker{};
    broker.AllocateBlock = Broker::Allocate;
    broker.FreeBlock = Broker::Free;
    running = this;
    gSPBasicSuite = &broker;
    const auto leave = [&] {
        running = lastRunning;
        gSPBasicSuite = lastSuite;
    };
    try {
        engine(&globals);
    } catch (...) {
        leave();
        throw;
    }
    leave();
}

void EngineRig::Analyse() {
    Run(AnalyseBackdrop);
}

void EngineRig::Key() {
    Run(KeyPicture);
}

bool EngineRig::GuardsIntact() const {
    const auto isGuard = [](std::uint8_t byte) { return byte == kGuard; };
    for (int plane = 0; plane < kPlaneCount; ++plane) {
        const std::uint8_t* const first = memory_[plane].data();
        const std::uint8_t* const samples = globals.*kPlanes[plane];
        if (!std::all_of(first, samples, isGuard)) return false;
        if (!std::all_of(samples + PlaneBytes(), first + memory_[plane].size(), isGuard)) return false;
    }
    return true;
}

std::int32_t EngineRig::LiveBlocks() const {
    return static_cast<std::int32_t>(addresses_.size() - static_cast<std::size_t>(std::count(
                                                             addresses_.begin(), addresses_.end(), nullptr)));
}

std::uint64_t HashBytes(const void* bytes, std::size_t size, std::uint64_t hash) {
    const auto* byte = static_cast<const std::uint8_t*>(bytes);
    for (std::size_t i = 0; i < size; ++i) hash = (hash ^ byte[i]) * 0x100000001b3u;
    return hash;
}

std::uint64_t HashOutputs(EngineRig& rig) {
    std::uint64_t hash = kHashStart;
    for (Plane plane : kOutputs) hash = HashBytes(rig.Bytes(plane), rig.PlaneBytes(), hash);
    return hash;
}

std::vector<double> AnalysisOf(const EngineRig& rig) {
    const keying::BackdropGrid& grid = gBackdropGrid;
    std::vector<double> values = {rig.globals.backdropMeanR, rig.globals.backdropMeanG,
                                  rig.globals.backdropMeanB};
    for (const double* table : {grid.gridR, grid.gridG, grid.gridB})
        values.insert(values.end(), table, table + keying::kGridCells);
    values.insert(values.end(), std::begin(grid.gridCount), std::end(grid.gridCount));
    for (double& value : values) {
        if (std::isnan(value)) value = std::numeric_limits<double>::quiet_NaN();
    }
    return values;
}

std::uint64_t HashAnalysis(const EngineRig& rig) {
    const std::vector<double> values = AnalysisOf(rig);
    return HashBytes(values.data(), values.size() * sizeof values[0]);
}

std::string FirstDifference(const EngineRig& expected, const EngineRig& actual) {
    const auto found = [](const std::string& what, std::int64_t want, std::int64_t got) {
        return what + ": " + std::to_string(want) + " expected, " + std::to_string(got) + " found";
    };
    for (int n = 0; n < kPlaneCount; ++n) {
        const Plane plane = static_cast<Plane>(n);
        for (std::int64_t i = 0; i < expected.Pixels(); ++i) {
            const std::uint16_t want = expected.Get(plane, i), got = actual.Get(plane, i);
            if (want == got) continue;
            return found("plane " + std::to_string(n) + " at column " + std::to_string(i % expected.Width()) +
                             ", row " + std::to_string(i / expected.Width()),
                         want, got);
        }
    }
    if (expected.globals.progressPercent != actual.globals.progressPercent)
        return found("progressPercent", expected.globals.progressPercent, actual.globals.progressPercent);
    if (expected.abortCalls != actual.abortCalls || expected.progress != actual.progress)
        return "the host was called differently";
    if (!actual.GuardsIntact()) return "memory beside a plane was written";
    return actual.LiveBlocks() == 0 ? "" : "a block was not given back";
}

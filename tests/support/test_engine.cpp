#include "tests/support/test_engine.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>

namespace test_support {
namespace {

constexpr std::size_t kAlignment = 64;
constexpr std::size_t kGuardBytes = 256;  // on either side of a plane, also for reads by whole vectors
constexpr std::uint8_t kGuard = 0xE5;

}  // namespace

TestEngine::TestEngine(std::int32_t width, std::int32_t height, RunKind kind, std::int32_t offset) {
    const bool deep = kind == RunKind::kFull16 || kind == RunKind::kPreview16;
    settings.fullSize = kind == RunKind::kFull8 || kind == RunKind::kFull16;
    planes.width = width;
    planes.height = height;
    planes.depth = deep ? 2 : 1;
    planes.maxSample = kind == RunKind::kFull16 ? 32767 : 255;
    const std::size_t shift = static_cast<std::size_t>(offset) * static_cast<std::size_t>(planes.depth);
    for (int plane = 0; plane < kPlaneCount; ++plane) {
        std::vector<std::uint8_t>& memory = memory_[plane];
        memory.assign(kAlignment + 2 * kGuardBytes + shift + PlaneBytes(), kGuard);
        const auto address = reinterpret_cast<std::uintptr_t>(memory.data());
        const std::size_t toAligned = (kAlignment - address % kAlignment) % kAlignment;
        samples_[plane] = memory.data() + toAligned + kGuardBytes + shift;
        std::memset(samples_[plane], 0, PlaneBytes());
    }
    planes.topR = Bytes(kTopR);
    planes.topG = Bytes(kTopG);
    planes.topB = Bytes(kTopB);
    planes.topA = Bytes(kTopA);
    planes.bottomR = Bytes(kBottomR);
    planes.bottomG = Bytes(kBottomG);
    planes.bottomB = Bytes(kBottomB);
    planes.outR = Bytes(kOutR);
    planes.outG = Bytes(kOutG);
    planes.outB = Bytes(kOutB);
    planes.outA = Bytes(kOutA);
    Fill(kTopA, static_cast<std::uint16_t>(planes.maxSample));
    ResetOutputs();
}

TestEngine::~TestEngine() {
    for (void* block : addresses_) std::free(block);
}

std::uint16_t TestEngine::Get(Plane plane, std::int64_t i) const {
    if (planes.depth == 1) return Bytes(plane)[i];
    return reinterpret_cast<const std::uint16_t*>(Bytes(plane))[i];
}

void TestEngine::Set(Plane plane, std::int64_t i, std::uint16_t sample) {
    if (planes.depth == 1) {
        Bytes(plane)[i] = static_cast<std::uint8_t>(sample);
    } else {
        reinterpret_cast<std::uint16_t*>(Bytes(plane))[i] = sample;
    }
}

void TestEngine::SetColour(Plane red, std::int64_t i, std::uint16_t r, std::uint16_t g, std::uint16_t b) {
    Set(red, i, r);
    Set(static_cast<Plane>(red + 1), i, g);
    Set(static_cast<Plane>(red + 2), i, b);
}

void TestEngine::Fill(Plane plane, std::uint16_t sample) {
    for (std::int64_t i = 0; i < Pixels(); ++i) Set(plane, i, sample);
}

void TestEngine::CopyPlane(Plane to, Plane from) {
    if (PlaneBytes() != 0) std::memcpy(Bytes(to), Bytes(from), PlaneBytes());
}

void TestEngine::ExchangePlanes(Plane a, Plane b) {
    std::swap_ranges(Bytes(a), Bytes(a) + PlaneBytes(), Bytes(b));
}

void TestEngine::ResetOutputs() {
    for (Plane plane : {kSelection, kOutR, kOutG, kOutB, kOutA}) {
        for (std::int64_t i = 0; i < Pixels(); ++i) {
            Set(plane, i, static_cast<std::uint16_t>(0x5A11 + plane * 0x0307 + i * 0x0125));
        }
    }
}

void TestEngine::SetUniformBackdrop(double r, double g, double b) {
    std::fill_n(backdrop.grid.gridR, keying::kGridCells, backdrop.meanR = r);
    std::fill_n(backdrop.grid.gridG, keying::kGridCells, backdrop.meanG = g);
    std::fill_n(backdrop.grid.gridB, keying::kGridCells, backdrop.meanB = b);
}

bool TestEngine::Report(void* engine, std::int32_t rows, std::int32_t height) {
    TestEngine& self = *static_cast<TestEngine*>(engine);
    if (height != self.Height()) std::abort();
    self.reports.push_back(rows);
    return self.stopFromRow != 0 && rows >= self.stopFromRow;
}

void* TestEngine::Allocate(void* engine, std::size_t bytes) {
    TestEngine& self = *static_cast<TestEngine*>(engine);
    self.heapCalls.push_back(static_cast<std::int64_t>(bytes));
    const bool fails = static_cast<std::int32_t>(self.addresses_.size()) + 1 == self.failBlockAt;
    self.addresses_.push_back(fails ? nullptr : std::malloc(bytes));
    return self.addresses_.back();
}

void TestEngine::Release(void* engine, void* block) {
    TestEngine& self = *static_cast<TestEngine*>(engine);
    const auto first = self.addresses_.begin(), last = self.addresses_.end();
    const auto found = std::find(first, last, block);
    if (block == nullptr || found == last) std::abort();  // a block that is not the engine's
    self.heapCalls.push_back(first - found - 1);
    *found = nullptr;
    std::free(block);
}

void TestEngine::Key() {
    result = keying::KeyPlanes(settings, planes, backdrop, {Report, this}, {Allocate, Release, this});
}

bool TestEngine::GuardsIntact() const {
    const auto isGuard = [](std::uint8_t byte) { return byte == kGuard; };
    for (int plane = 0; plane < kPlaneCount; ++plane) {
        const std::uint8_t* const first = memory_[plane].data();
        const std::uint8_t* const samples = samples_[plane];
        if (!std::all_of(first, samples, isGuard)) return false;
        if (!std::all_of(samples + PlaneBytes(), first + memory_[plane].size(), isGuard)) return false;
    }
    return true;
}

std::int32_t TestEngine::LiveBlocks() const {
    return static_cast<std::int32_t>(addresses_.size() - static_cast<std::size_t>(std::count(
                                                             addresses_.begin(), addresses_.end(), nullptr)));
}

std::uint64_t HashBytes(const void* bytes, std::size_t size, std::uint64_t hash) {
    const auto* byte = static_cast<const std::uint8_t*>(bytes);
    for (std::size_t i = 0; i < size; ++i) hash = (hash ^ byte[i]) * 0x100000001b3u;
    return hash;
}

std::uint64_t HashOutputs(const TestEngine& engine) {
    std::uint64_t hash = kHashStart;
    for (Plane plane : kOutputs) hash = HashBytes(engine.Bytes(plane), engine.PlaneBytes(), hash);
    return hash;
}

std::vector<double> NumbersOfBackdrop(const keying::Backdrop& backdrop) {
    const keying::BackdropGrid& grid = backdrop.grid;
    std::vector<double> values = {backdrop.meanR, backdrop.meanG, backdrop.meanB};
    for (const double* table : {grid.gridR, grid.gridG, grid.gridB})
        values.insert(values.end(), table, table + keying::kGridCells);
    values.insert(values.end(), std::begin(grid.gridCount), std::end(grid.gridCount));
    for (double& value : values) {
        if (std::isnan(value)) value = std::numeric_limits<double>::quiet_NaN();
    }
    return values;
}

std::uint64_t HashBackdrop(const keying::Backdrop& backdrop) {
    const std::vector<double> values = NumbersOfBackdrop(backdrop);
    return HashBytes(values.data(), values.size() * sizeof values[0]);
}

std::string FirstDifference(const TestEngine& expected, const TestEngine& actual) {
    for (int n = 0; n < kPlaneCount; ++n) {
        const Plane plane = static_cast<Plane>(n);
        for (std::int64_t i = 0; i < expected.Pixels(); ++i) {
            const std::uint16_t want = expected.Get(plane, i), got = actual.Get(plane, i);
            if (want == got) continue;
            return "plane " + std::to_string(n) + " at column " + std::to_string(i % expected.Width()) +
                   ", row " + std::to_string(i / expected.Width()) + ": " + std::to_string(want) +
                   " expected, " + std::to_string(got) + " found";
        }
    }
    if (expected.result.status != actual.result.status || expected.result.rows != actual.result.rows)
        return "the results differ";
    if (expected.reports != actual.reports) return "the reports differ";
    if (!actual.GuardsIntact()) return "memory beside a plane was written";
    return actual.LiveBlocks() == 0 ? "" : "a block was not released";
}

}  // namespace test_support

// The engine with planes between guards, and callbacks that record the reports and the ring's blocks. For
// tests, fuzzers and benchmarks of the engine. Uses no test framework.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "engine/keying.h"

namespace test_support {

// Depth and purpose of a run. A preview of a 16-bit document holds samples of 0..255 in 16-bit planes.
enum class RunKind { kFull8, kPreview8, kFull16, kPreview16 };
constexpr RunKind kRunKinds[] = {RunKind::kFull8, RunKind::kPreview8, RunKind::kFull16, RunKind::kPreview16};

enum Plane {
    kTopR,
    kTopG,
    kTopB,
    kTopA,
    kSelection,
    kBottomR,
    kBottomG,
    kBottomB,
    kOutR,
    kOutG,
    kOutB,
    kOutA
};
constexpr int kPlaneCount = 12;
constexpr Plane kOutputs[] = {kOutR, kOutG, kOutB, kOutA};

// The settings by short names; the flags in the order of their bits in SetFlags.
template <class Field>
struct Setting {
    const char* name;
    Field keying::Settings::*field;
};
constexpr Setting<double> kSliders[] = {
    {"adjust", &keying::Settings::backdropLevel},      {"remove", &keying::Settings::removeBackdrop},
    {"black", &keying::Settings::restoreDark},         {"alter", &keying::Settings::alterGreen},
    {"select", &keying::Settings::selectTransparency}, {"scale", &keying::Settings::scaleTransparency}};
constexpr Setting<bool> kFlags[] = {{"blue", &keying::Settings::blueBackdrop},
                                    {"photo", &keying::Settings::showPhoto},
                                    {"view", &keying::Settings::showMatte},
                                    {"blend", &keying::Settings::blendEdges},
                                    {"transparency", &keying::Settings::outputAlpha}};

class TestEngine {
  public:
    // Top and bottom planes start at 0, topA opaque, and the out planes and the selection with a pattern that
    // shows unwritten samples. `offset` moves the planes' first samples by that many samples from an
    // alignment of 64 bytes.
    TestEngine(std::int32_t width, std::int32_t height, RunKind kind, std::int32_t offset = 0);
    ~TestEngine();
    TestEngine(const TestEngine&) = delete;
    TestEngine& operator=(const TestEngine&) = delete;

    std::int32_t Width() const { return planes.width; }
    std::int32_t Height() const { return planes.height; }
    std::int64_t Pixels() const { return std::int64_t{Width()} * Height(); }

    // Samples by index, row-major; at 8 bits the low byte counts.
    std::uint16_t Get(Plane plane, std::int64_t i) const;
    void Set(Plane plane, std::int64_t i, std::uint16_t sample);
    // Three planes at once: kTopR, kBottomR or kOutR and the two behind it.
    void SetColour(Plane red, std::int64_t i, std::uint16_t r, std::uint16_t g, std::uint16_t b);
    void Fill(Plane plane, std::uint16_t sample);
    void CopyPlane(Plane to, Plane from);
    void ExchangePlanes(Plane a, Plane b);
    std::uint8_t* Bytes(Plane plane) const { return samples_[plane]; }
    std::size_t PlaneBytes() const {
        return static_cast<std::size_t>(Pixels()) * static_cast<std::size_t>(planes.depth);
    }
    // The out planes as they were before the first run.
    void ResetOutputs();

    // A backdrop of one colour, in place of an analysis.
    void SetUniformBackdrop(double r, double g, double b);
    void SetHasSelection(bool has) { planes.selection = has ? Bytes(kSelection) : nullptr; }

    void Analyse() { keying::MeasureBackdrop(settings, planes, &backdrop); }
    void Key();
    void AnalyseAndKey() {
        Analyse();
        Key();
    }

    // No byte beside any plane has changed.
    bool GuardsIntact() const;

    keying::Settings settings;
    keying::Planes planes;
    keying::Backdrop backdrop{};
    keying::KeyResult result{};  // of the last keying

    std::int32_t stopFromRow = 0;         // the first report of so many rows or more stops; 0: none
    std::vector<std::int32_t> reports;    // rows of every report
    std::int32_t failBlockAt = 0;         // the allocation, from 1, that fails; 0: none
    std::vector<std::int64_t> heapCalls;  // bytes of every block asked for; -n where the n-th was released
    std::int32_t LiveBlocks() const;

  private:
    static bool Report(void* engine, std::int32_t rows, std::int32_t height);
    static void* Allocate(void* engine, std::size_t bytes);
    static void Release(void* engine, void* block);

    std::vector<std::uint8_t> memory_[kPlaneCount];
    std::uint8_t* samples_[kPlaneCount];
    std::vector<void*> addresses_;  // of the allocations, null after their release
};

// One pixel of the out planes.
inline std::array<int, 4> OutPixel(const TestEngine& engine, std::int64_t i) {
    return {engine.Get(kOutR, i), engine.Get(kOutG, i), engine.Get(kOutB, i), engine.Get(kOutA, i)};
}

// FNV-1a over bytes, 64 bits; continue with the last result.
constexpr std::uint64_t kHashStart = 0xcbf29ce484222325u;
std::uint64_t HashBytes(const void* bytes, std::size_t size, std::uint64_t hash = kHashStart);

// Of the four out planes, end to end.
std::uint64_t HashOutputs(const TestEngine& engine);

// The three means, and gridR, gridG, gridB and gridCount cell by cell. Any two NaNs are the same here.
std::vector<double> NumbersOfBackdrop(const keying::Backdrop& backdrop);
std::uint64_t HashBackdrop(const keying::Backdrop& backdrop);

// The first difference between the planes, results and reports of two engines of the same size, or the damage
// that the second run did to its memory; empty: none.
std::string FirstDifference(const TestEngine& expected, const TestEngine& actual);

}  // namespace test_support

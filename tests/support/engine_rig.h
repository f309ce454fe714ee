// The engine by itself: one set of planes with a Globals round it, a memory broker and a host that counts
// progress and answers the abort test. For tests of the engine and of its vector variants, and for
// benchmarks; it knows no test framework.
//
// One rig at a time may run the engine: the host's callbacks and the broker carry no context.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "shell/globals.h"

using namespace filter;

// Depth and purpose of a run. A preview of a 16-bit document holds samples of 0..255 in 16-bit planes.
enum class RunKind { kFull8, kPreview8, kFull16, kPreview16 };
constexpr RunKind kRunKinds[] = {RunKind::kFull8, RunKind::kPreview8, RunKind::kFull16, RunKind::kPreview16};

// Half the height of the refinement's window, and how many rows it runs behind.
constexpr std::int32_t Radius(RunKind kind) {
    return kind == RunKind::kFull8 || kind == RunKind::kFull16 ? 2 : 1;
}

// The planes of Globals, in their order there.
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
constexpr Plane kOutputs[] = {kOutR, kOutG, kOutB, kOutA};

// The run's parameters by short names; the flags in the order of their bits in SetFlags.
template <class Field>
struct Parameter {
    const char* name;
    Field Globals::*field;
};
constexpr Parameter<std::int32_t> kSliders[] = {
    {"adjust", &Globals::SliderAdjBGLevel},   {"remove", &Globals::SliderRemoveGreen},
    {"black", &Globals::SliderRestoreBlack},  {"alter", &Globals::SliderAlterGreen},
    {"select", &Globals::SliderSelectTransp}, {"scale", &Globals::SliderScaleTransp}};
constexpr Parameter<std::uint8_t> kFlags[] = {{"blue", &Globals::FlagBlueLogic},
                                              {"photo", &Globals::FlagOrgPhoto},
                                              {"view", &Globals::FlagShowSelect},
                                              {"blend", &Globals::FlagRealityInteg},
                                              {"transparency", &Globals::FlagOutputAlpha}};

class EngineRig {
  public:
    // Top and bottom planes start at 0, topA opaque, and the out planes and the selection with a pattern that
    // tells what was never written. Parameters are at their defaults: edge blending is on. `offset` moves the
    // planes' first samples by that many samples from an alignment of 64 bytes.
    EngineRig(std::int32_t width, std::int32_t height, RunKind kind, std::int32_t offset = 0);
    ~EngineRig();
    EngineRig(const EngineRig&) = delete;
    EngineRig& operator=(const EngineRig&) = delete;

    std::int32_t Width() const { return globals.planeWidth; }
    std::int32_t Height() const { return globals.planeHeight; }
    std::int64_t Pixels() const { return std::int64_t{Width()} * Height(); }

    // Samples by index, row-major; at 8 bits the low byte counts.
    std::uint16_t Get(Plane plane, std::int64_t i) const;
    void Set(Plane plane, std::int64_t i, std::uint16_t sample);
    // Three planes at once: kTopR, kBottomR or kOutR and the two behind it.
    void SetColour(Plane red, std::int64_t i, std::uint16_t r, std::uint16_t g, std::uint16_t b);
    void Fill(Plane plane, std::uint16_t sample);
    void CopyPlane(Plane to, Plane from);
    void ExchangePlanes(Plane a, Plane b);
    std::uint8_t* Bytes(Plane plane) const { return globals.*kPlanes[plane]; }
    std::size_t PlaneBytes() const {
        return static_cast<std::size_t>(Pixels()) * static_cast<std::size_t>(globals.depthBytes);
    }
    // The out planes as they were before the first run.
    void ResetOutputs();

    // A backdrop of one colour, in place of an analysis.
    void SetUniformBackdrop(double r, double g, double b);
    // Gives the document a selection, or takes it away.
    void SetHasSelection(bool have) { document_.selection = have ? &selection_ : nullptr; }

    void Analyse();
    void Key();
    void AnalyseAndKey() {
        Analyse();
        Key();
    }

    // No byte round any plane has changed.
    bool GuardsIntact() const;

    Globals globals{};
    std::int16_t result = 0;

    // The host's side of the run.
    std::int32_t abortAtCall = 0;  // the call of abortProc, from 1, that answers true; 0: none
    std::int32_t abortCalls = 0;
    std::vector<std::pair<std::int32_t, std::int32_t>> progress;  // done and total of every report
    std::int32_t failBlockAt = 0;         // the allocation, from 1, that fails; 0: none
    std::vector<std::int64_t> heapCalls;  // bytes of every block asked for; -n where the n-th was given back
    std::int32_t LiveBlocks() const;

  private:
    struct Broker;
    void Run(void (*engine)(Globals*));

    FilterRecord record_{};
    ReadImageDocumentDesc document_{};
    ReadChannelDesc selection_{};
    std::vector<std::uint8_t> memory_[kPlaneCount];
    std::vector<void*> addresses_;  // of the allocations, null after their release
};

// One pixel of the out planes.
inline std::array<int, 4> OutPixel(const EngineRig& rig, std::int64_t i) {
    return {rig.Get(kOutR, i), rig.Get(kOutG, i), rig.Get(kOutB, i), rig.Get(kOutA, i)};
}

// FNV-1a over bytes, 64 bits; continue with the last result.
constexpr std::uint64_t kHashStart = 0xcbf29ce484222325u;
std::uint64_t HashBytes(const void* bytes, std::size_t size, std::uint64_t hash = kHashStart);

// Of the four out planes, end to end.
std::uint64_t HashOutputs(EngineRig& rig);

// What an analysis leaves: the three means, and gridR, gridG, gridB and gridCount cell by cell. Any two
// non-numbers are the same here.
std::vector<double> AnalysisOf(const EngineRig& rig);
std::uint64_t HashAnalysis(const EngineRig& rig);

// Place and both values of the first difference between the planes of two rigs of the same size and what
// their hosts saw of the runs, or a sign that the second run harmed its memory; empty when there is none.
std::string FirstDifference(const EngineRig& expected, const EngineRig& actual);

#include "form_cases.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "engine/forms.h"
#include "engine/keying.h"

Draws::Draws(const std::uint8_t* bytes, std::size_t size)
    : bytes_(bytes), left_(size), random_(HashBytes(bytes, size)) {}

std::uint32_t Draws::Below(std::uint32_t count) {
    if (left_ == 0) return random_.Below(count);
    std::uint32_t number = 0;
    for (std::uint32_t range = count - 1; range != 0 && left_ != 0; range >>= 8, --left_)
        number = number << 8 | *bytes_++;
    return number % count;
}

namespace {

std::int32_t DrawSlider(Draws* draws, std::int32_t byDefault) {
    using Limits = std::numeric_limits<std::int32_t>;
    switch (draws->Below(12)) {
        case 0:
        case 1:
            return byDefault;
        case 2:
            return draws->Between(-1000, 1000);
        case 3:
            return draws->Between(0, 7);
        case 4: {
            const std::int32_t ends[] = {0, 2000000000, Limits::max(), Limits::min(), 1000000, -1};
            return ends[draws->Below(6)];
        }
        default:
            return draws->Between(0, 200);
    }
}

// In 8-bit levels; channels beyond 0..255 are cut off where they are stored.
struct Levels {
    std::int32_t r, g, b;
};

Levels DrawLevels(Draws* draws) {
    const std::int32_t r = draws->Between(0, 255), g = draws->Between(0, 255);
    return {r, g, draws->Between(0, 255)};
}

Levels Mixed(const Levels& a, const Levels& b, std::int32_t percent) {
    const auto mix = [percent](std::int32_t from, std::int32_t to) {
        return from + (to - from) * percent / 100;
    };
    return {mix(a.r, b.r), mix(a.g, b.g), mix(a.b, b.b)};
}

// Colours of a palette before a backdrop: pure, mixed in steps of a twentieth, or the backdrop at another
// level, and some of them a few samples off.
void PaintPalette(Draws* draws, EngineRig* rig) {
    Levels palette[6];
    for (Levels& colour : palette) colour = DrawLevels(draws);
    palette[0].g = std::max(palette[0].g, 60);
    const std::int32_t spread = draws->Between(0, 3), largest = rig->globals.maxSample;
    const auto sample = [&](std::int32_t level) {
        const std::int32_t exact =
            level * largest / 255 + (spread == 0 ? 0 : draws->Between(-spread, spread));
        return static_cast<std::uint16_t>(std::min(std::max(exact, 0), largest));
    };
    const bool blue = rig->globals.FlagBlueLogic != 0;
    for (std::int64_t i = 0; i < rig->Pixels(); ++i) {
        const std::uint32_t kind = draws->Below(8);
        const Levels other = palette[kind < 6 ? kind : 1];
        const Levels c = kind < 4   ? Mixed(palette[0], other, 5 * draws->Between(0, 20))
                         : kind < 6 ? other
                                    : Mixed({0, 0, 0}, palette[0], draws->Between(10, 200));
        const std::uint16_t r = sample(c.r), g = sample(c.g), b = sample(c.b);
        rig->SetColour(kTopR, i, r, blue ? b : g, blue ? g : b);
        rig->SetColour(kBottomR, i, g, r, b);
        if (draws->Below(8) == 0) rig->Set(kTopA, i, sample(draws->Between(0, 255)));
    }
}

std::string Hex(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.17g (%a)", value, value);
    return text;
}

// What an analysis leaves, of which any two non-numbers count as the same.
struct Measured {
    double means[3];
    BackdropGrid grid;
};

Measured MeasuredBy(const EngineRig& rig) {
    return {{rig.globals.backdropMeanR, rig.globals.backdropMeanG, rig.globals.backdropMeanB}, gBackdropGrid};
}

std::string DifferenceIn(const char* name, const double* expected, const double* actual, int count) {
    for (int i = 0; i < count; ++i) {
        if (std::memcmp(expected + i, actual + i, sizeof(double)) == 0) continue;
        if (std::isnan(expected[i]) && std::isnan(actual[i])) continue;
        return name + (" " + std::to_string(i)) + ": " + Hex(expected[i]) + " expected, " + Hex(actual[i]) +
               " found";
    }
    return {};
}

std::string DifferenceInAnalysis(const Measured& expected, const Measured& actual) {
    const BackdropGrid &e = expected.grid, &a = actual.grid;
    for (int i = 0; i < kGridCells; ++i) {
        if (e.gridCount[i] == a.gridCount[i]) continue;
        return "gridCount " + std::to_string(i) + ": " + std::to_string(e.gridCount[i]) + " expected, " +
               std::to_string(a.gridCount[i]) + " found";
    }
    const std::string found[] = {DifferenceIn("backdropMean", expected.means, actual.means, 3),
                                 DifferenceIn("gridR", e.gridR, a.gridR, kGridCells),
                                 DifferenceIn("gridG", e.gridG, a.gridG, kGridCells),
                                 DifferenceIn("gridB", e.gridB, a.gridB, kGridCells)};
    for (const std::string& difference : found) {
        if (!difference.empty()) return difference;
    }
    return {};
}

Measured RunIn(const char* form, EngineRig* rig, Stage stage) {
    if (!SetActiveForm(form)) std::abort();  // the caller asks first
    if (stage == Stage::kAnalysisAndKeying) rig->Analyse();
    const Measured measured = MeasuredBy(*rig);
    rig->Key();
    return measured;
}

std::string DifferenceBeside(EngineRig& expected, EngineRig& actual) {
    if (!actual.GuardsStand()) return "memory beside a plane was written";
    if (actual.LiveBlocks() != 0) return "a block was not given back";
    if (actual.abortCalls != expected.abortCalls || actual.progress.size() != expected.progress.size())
        return "the host was called differently often";
    for (int plane = kTopR; plane < kOutR; ++plane) {
        const Plane p = static_cast<Plane>(plane);
        if (std::memcmp(expected.Bytes(p), actual.Bytes(p), expected.PlaneBytes()) != 0)
            return "an input plane was written";
    }
    return {};
}

}  // namespace

void DrawParameters(Draws* draws, EngineRig* rig) {
    Globals& g = rig->globals;
    SetFlags(rig, draws->Below(32));
    if (draws->Below(3) == 0) SetFlags(rig, 8 | (g.FlagBlueLogic & 1u));  // as most runs are
    if (draws->Below(3) != 0) {
        g.SliderAdjBGLevel = DrawSlider(draws, 100);
        g.SliderRemoveGreen = DrawSlider(draws, 40);
        g.SliderRestoreBlack = DrawSlider(draws, 20);
        g.SliderAlterGreen = DrawSlider(draws, 100);
        g.SliderSelectTransp = DrawSlider(draws, 100);
        g.SliderScaleTransp = DrawSlider(draws, 70);
    }
    rig->HaveSelection(draws->Below(3) == 0);
    rig->abortAtCall = std::max(0, draws->Between(-6, 3));
}

void DrawPicture(Draws* draws, EngineRig* rig) {
    constexpr std::uint32_t kSceneCount = std::size(kScenes);
    const std::uint32_t kind = draws->Below(kSceneCount + 3);
    PaintScene(rig, kScenes[kind % kSceneCount], draws->Below(1u << 31));
    if (kind >= kSceneCount) PaintPalette(draws, rig);
}

std::unique_ptr<EngineRig> DrawRun(Draws draws) {
    std::int32_t width = 0, height = 0;
    switch (draws.Below(8)) {
        case 0:  // past the spans of 256 and the blocks of 1024
            width = draws.Between(200, 2600);
            height = draws.Between(1, 12);
            break;
        case 1:  // so few pixels to so full a cell that a cell's share is infinite
            width = draws.Between(1, 3);
            height = draws.Between(100, 400);
            if (draws.Below(2) == 0) std::swap(width, height);
            break;
        default:
            width = draws.Between(1, 90);
            height = draws.Between(1, 60);
    }
    const RunKind kind = kRunKinds[draws.Below(4)];
    auto rig = std::make_unique<EngineRig>(width, height, kind, draws.Between(0, 33));
    DrawParameters(&draws, rig.get());
    DrawPicture(&draws, rig.get());
    return rig;
}

std::string DifferenceFromPlain(const char* form, const RigMaker& make, Stage stage) {
    const char* const active = ActiveForm() == nullptr ? nullptr : ActiveForm()->name;
    const std::unique_ptr<EngineRig> plain = make(), other = make();
    const Measured expected = RunIn("scalar", plain.get(), stage);
    const Measured actual = RunIn(form, other.get(), stage);
    SetActiveForm(active);
    std::string found = DifferenceInAnalysis(expected, actual);
    if (found.empty()) found = FirstDifference(*plain, *other);
    if (found.empty()) found = DifferenceBeside(*plain, *other);
    if (found.empty()) return {};
    const Globals& g = plain->globals;
    const bool blue = g.FlagBlueLogic, photo = g.FlagOrgPhoto, view = g.FlagShowSelect;
    const bool blend = g.FlagRealityInteg, alpha = g.FlagOutputAlpha;
    return found + "; " + form + ", " + std::to_string(g.planeWidth) + " by " +
           std::to_string(g.planeHeight) + ", " + std::to_string(8 * g.depthBytes) + " bits, samples to " +
           std::to_string(g.maxSample) + (g.finalRender ? ", full size" : ", preview") +
           (blue ? ", blue" : "") + (photo ? ", photo" : "") + (view ? ", view" : "") +
           (blend ? ", blend" : "") + (alpha ? ", transparency" : "");
}

#include "engine/scalar/output.h"

#include "engine/colour.h"
#include "engine/constants.h"
#include "engine/samples.h"
#include "engine/scalar/refinement.h"

namespace {

// The pixel's channels before the store.
using Composite = Rgb;

double LimitToVisible(double f, double maxSample) {
    if (f < kLeastVisible) f = kLeastVisible;
    if (f > maxSample) f = maxSample;
    return f;
}

// The foreground alone, kept away from 0: what goes out with transparency in place of a composite.
Composite ForegroundOf(const RowRing& ring, std::size_t cell, double maxSample) {
    return {LimitToVisible(ring.ringFgR[cell], maxSample), LimitToVisible(ring.ringFgG[cell], maxSample),
            LimitToVisible(ring.ringFgB[cell], maxSample)};
}

// Brings the brightest channel that is out of range down to maxSample and the others with it.
void Rescale(Composite* comp, double M) {
    if (comp->g > M) {
        comp->r = M * comp->r / comp->g;
        comp->b = M * comp->b / comp->g;
        comp->g = M;
    }
    if (comp->r > M) {
        comp->g = M * comp->g / comp->r;
        comp->b = M * comp->b / comp->r;
        comp->r = M;
    }
    if (comp->b > M) {
        comp->g = M * comp->g / comp->b;
        comp->r = M * comp->r / comp->b;
        comp->b = M;
    }
}

// Half-transparent pixels over a bright layer would look too dark. There is no limit at 0 afterwards: a
// negative channel wraps in the store, on purpose.
void LiftSoftEdge(const KeyRun& run, std::size_t newest, Composite* comp) {
    const RowRing& ring = run.ring;
    const double a = ring.ringAlpha[newest];
    if (!(a < kLiftBelow && a > kLiftAbove)) return;

    const double k = run.levelScale;
    const double liftBase = kLiftLevel * k;  // scaled once more in the formula
    // Under blue logic the ring's third channel is the picture's green.
    const double weightG = run.blueLogic ? kLumaBlue : kLumaGreen;
    const double weightB = run.blueLogic ? kLumaGreen : kLumaBlue;
    const double bgLuma = ring.ringBottomB[newest] * weightB + ring.ringBottomG[newest] * weightG +
                          ring.ringBottomR[newest] * kLumaRed;
    std::int32_t liftOffset = CutTowardZero(liftBase - bgLuma);
    if (liftOffset > 0) liftOffset = 0;
    if (liftOffset < -liftBase) liftOffset = CutTowardZero(-liftBase);

    const double q =
        a * kLiftOwnShare + a * kLiftLumaShare * (liftBase * k + liftOffset) / (run.maxSample - liftBase * k);
    const double lift = (a / q - 1) * kLiftStrength * (1 - a);
    comp->r += lift;
    comp->g += lift;
    comp->b += lift;
    Rescale(comp, run.maxSample);
}

template <class Sample>
void StoreColour(const OutPlanes<Sample>& out, std::size_t i, const Composite& comp, bool exchanged) {
    out.r[i] = StoreSample<Sample>(comp.r);
    out.g[i] = StoreSample<Sample>(exchanged ? comp.b : comp.g);
    out.b[i] = StoreSample<Sample>(exchanged ? comp.g : comp.b);
}

// The top layer's planes under their own names.
template <class Sample>
struct TopSamples {
    const Sample *r, *g, *b, *a;
};

template <class Sample>
TopSamples<Sample> TopSamplesOf(const Globals* globals) {
    return {View<Sample>(globals->topR, globals->topR16), View<Sample>(globals->topG, globals->topG16),
            View<Sample>(globals->topB, globals->topB16), View<Sample>(globals->topA, globals->topA16)};
}

// Puts the untouched top pixel back outside the selection. The selection is read as bytes at both depths, on
// purpose.
template <class Sample>
void restoreSelection(const KeyRun& run, const TopSamples<Sample>& top, const OutPlanes<Sample>& out,
                      std::size_t outIndex) {
    if (run.selection == nullptr || run.selection[outIndex] != 0) return;
    out.r[outIndex] = top.r[outIndex];
    out.g[outIndex] = top.g[outIndex];
    out.b[outIndex] = top.b[outIndex];
    out.a[outIndex] = top.a[outIndex];
}

std::size_t FirstOfRow(const KeyRun& run, std::int32_t y) {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(run.width);
}

}  // namespace

template <class Sample>
void WriteRefinedRow(const KeyRun& run, const Globals* globals, std::int32_t y) {
    const RowRing& ring = run.ring;
    const OutPlanes<Sample> out = OutputPlanes<Sample>(globals);
    const TopSamples<Sample> top = TopSamplesOf<Sample>(globals);
    const std::size_t newestRow = RingRow(ring, ring.ringSlot);
    const std::size_t firstOut = FirstOfRow(run, y - ring.ringRadius);
    ColumnWindow window = {};
    for (std::int32_t x = 0; x < run.width; ++x) {
        const std::size_t newest = newestRow + static_cast<std::size_t>(x);
        const std::size_t outIndex = firstOut + static_cast<std::size_t>(x);
        Composite comp = RefinePixel(run, y, x, &window);
        LiftSoftEdge(run, newest, &comp);
        out.a[outIndex] = top.a[outIndex];
        if (run.outputAlpha) {
            comp = ForegroundOf(ring, newest, run.maxSample);
            out.a[outIndex] = StoreSample<Sample>(top.a[outIndex] * ring.ringAlpha[newest]);
        }
        StoreColour(out, outIndex, comp, run.blueLogic);
        restoreSelection(run, top, out, outIndex);
    }
}

template <class Sample>
void WriteDirectRow(const KeyRun& run, const Globals* globals, std::int32_t y) {
    const RowRing& ring = run.ring;
    const OutPlanes<Sample> out = OutputPlanes<Sample>(globals);
    const TopSamples<Sample> top = TopSamplesOf<Sample>(globals);
    const std::size_t newestRow = RingRow(ring, ring.ringSlot);
    const std::size_t firstOut = FirstOfRow(run, y);
    for (std::int32_t x = 0; x < run.width; ++x) {
        const std::size_t newest = newestRow + static_cast<std::size_t>(x);
        const std::size_t outIndex = firstOut + static_cast<std::size_t>(x);
        const double a = ring.ringAlpha[newest];
        Composite comp{ring.ringFgR[newest] * a + (1 - a) * ring.ringBottomR[newest],
                       ring.ringFgG[newest] * a + (1 - a) * ring.ringBottomG[newest],
                       ring.ringFgB[newest] * a + (1 - a) * ring.ringBottomB[newest]};
        out.a[outIndex] = top.a[outIndex];
        if (run.outputAlpha) {
            comp = ForegroundOf(ring, newest, run.maxSample);
            out.a[outIndex] = StoreSample<Sample>(top.a[outIndex] * a);
        } else if (sizeof(Sample) == 1) {
            out.a[outIndex] = StoreSample<Sample>(kOpaqueByte * a);
        }
        StoreColour(out, outIndex, comp, run.blueLogic);
        restoreSelection(run, top, out, outIndex);
    }
}

// No lift, no smoothing, no selection, and the channels are not exchanged back for a blue backdrop. A nearly
// opaque pixel takes bytes of the top planes at every depth, so that at 16 bits it is dark. All of it is
// meant: these rows are as they are.
template <class Sample>
void FlushRows(const KeyRun& run, const Globals* globals) {
    const RowRing& ring = run.ring;
    const OutPlanes<Sample> out = OutputPlanes<Sample>(globals);
    const Sample* bottomR = View<Sample>(globals->bottomR, globals->bottomR16);
    const Sample* bottomG = View<Sample>(globals->bottomG, globals->bottomG16);
    const Sample* bottomB = View<Sample>(globals->bottomB, globals->bottomB16);
    std::int32_t s = ring.ringSlot - ring.ringRadius;
    for (std::int32_t y = run.height - ring.ringRadius; y < run.height; ++y) {
        s = wrapSlot(ring, s + 1);
        if (y < 0) continue;  // a picture of fewer rows than the radius: the slot has advanced all the same
        const std::size_t firstCell = RingRow(ring, s);
        const std::size_t firstOut = FirstOfRow(run, y);
        for (std::int32_t x = 0; x < run.width; ++x) {
            const std::size_t cell = firstCell + static_cast<std::size_t>(x);
            const std::size_t outIndex = firstOut + static_cast<std::size_t>(x);
            const double a = ring.ringAlpha[cell];
            Composite comp{(1 - a) * ring.ringBottomR[cell] + ring.ringFgR[cell] * a,
                           (1 - a) * ring.ringBottomG[cell] + ring.ringFgG[cell] * a,
                           (1 - a) * ring.ringBottomB[cell] + ring.ringFgB[cell] * a};
            if (a > kFlushTopAbove) {
                comp = {static_cast<double>(globals->topR[outIndex]),
                        static_cast<double>(globals->topG[outIndex]),
                        static_cast<double>(globals->topB[outIndex])};
            }
            if (a < kFlushBottomBelow) {
                comp = {static_cast<double>(bottomR[outIndex]), static_cast<double>(bottomG[outIndex]),
                        static_cast<double>(bottomB[outIndex])};
            }
            out.a[outIndex] = StoreSample<Sample>(run.maxSample);
            if (run.outputAlpha) {
                comp = ForegroundOf(ring, cell, run.maxSample);
                out.a[outIndex] = StoreSample<Sample>(run.maxSample * a);
            }
            StoreColour(out, outIndex, comp, false);
        }
    }
}

template void WriteRefinedRow<std::uint8_t>(const KeyRun&, const Globals*, std::int32_t);
template void WriteRefinedRow<std::uint16_t>(const KeyRun&, const Globals*, std::int32_t);
template void WriteDirectRow<std::uint8_t>(const KeyRun&, const Globals*, std::int32_t);
template void WriteDirectRow<std::uint16_t>(const KeyRun&, const Globals*, std::int32_t);
template void FlushRows<std::uint8_t>(const KeyRun&, const Globals*);
template void FlushRows<std::uint16_t>(const KeyRun&, const Globals*);

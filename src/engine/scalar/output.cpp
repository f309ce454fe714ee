#include "engine/scalar/output.h"

#include "engine/colour.h"
#include "engine/constants.h"
#include "engine/samples.h"
#include "engine/scalar/refinement.h"

namespace keying {

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
void StoreColour(const Channels<Sample>& out, std::size_t i, const Composite& comp) {
    out.r[i] = StoreSample<Sample>(comp.r);
    out.g[i] = StoreSample<Sample>(comp.g);
    out.b[i] = StoreSample<Sample>(comp.b);
}

std::size_t FirstOfRow(const KeyRun& run, std::int32_t y) {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(run.width);
}

}  // namespace

template <class Sample>
void WriteRefinedRow(const KeyRun& run, const PlaneView<Sample>& row, std::int32_t y) {
    const RowRing& ring = run.ring;
    const Channels<const Sample>& top = row.top;
    const Channels<Sample>& out = row.out;
    const std::size_t newestRow = RingRow(ring, ring.ringSlot);
    ColumnWindow window = {};
    for (std::int32_t x = 0; x < run.width; ++x) {
        const std::size_t outIndex = static_cast<std::size_t>(x);
        const std::size_t newest = newestRow + outIndex;
        Composite comp = RefinePixel(run, y, x, &window);
        LiftSoftEdge(run, newest, &comp);
        out.a[outIndex] = top.a[outIndex];
        if (run.outputAlpha) {
            comp = ForegroundOf(ring, newest, run.maxSample);
            out.a[outIndex] = StoreSample<Sample>(top.a[outIndex] * ring.ringAlpha[newest]);
        }
        StoreColour(out, outIndex, comp);
    }
}

template <class Sample>
void WriteDirectRow(const KeyRun& run, const PlaneView<Sample>& row) {
    const RowRing& ring = run.ring;
    const Channels<const Sample>& top = row.top;
    const Channels<Sample>& out = row.out;
    const std::size_t newestRow = RingRow(ring, ring.ringSlot);
    for (std::int32_t x = 0; x < run.width; ++x) {
        const std::size_t outIndex = static_cast<std::size_t>(x);
        const std::size_t newest = newestRow + outIndex;
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
        StoreColour(out, outIndex, comp);
    }
}

template <class Sample>
void restoreSelection(const KeyRun& run, const PlaneView<Sample>& planes, std::int32_t y) {
    if (run.selection == nullptr) return;
    const std::size_t first = FirstOfRow(run, y), width = static_cast<std::size_t>(run.width);
    for (std::size_t i = first; i < first + width; ++i) {
        if (run.selection[i] != 0) continue;
        planes.out.r[i] = planes.top.r[i];
        planes.out.g[i] = planes.top.g[i];
        planes.out.b[i] = planes.top.b[i];
        planes.out.a[i] = planes.top.a[i];
    }
}

// No lift, no smoothing, no selection, and the channels are not exchanged back for a blue backdrop. A nearly
// opaque pixel takes bytes of the top planes at both depths and is dark at 16 bits. All of it is intended.
template <class Sample>
void FlushRows(const KeyRun& run, const PlaneView<Sample>& planes) {
    const RowRing& ring = run.ring;
    const Channels<const Sample>& bottom = planes.bottom;
    const Channels<Sample>& out = planes.out;
    const auto topByte = [&](const Sample* plane, std::size_t i) {
        return static_cast<double>(reinterpret_cast<const std::uint8_t*>(plane)[i]);
    };
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
                comp = {topByte(planes.top.r, outIndex), topByte(planes.top.g, outIndex),
                        topByte(planes.top.b, outIndex)};
            }
            if (a < kFlushBottomBelow) {
                comp = {static_cast<double>(bottom.r[outIndex]), static_cast<double>(bottom.g[outIndex]),
                        static_cast<double>(bottom.b[outIndex])};
            }
            out.a[outIndex] = StoreSample<Sample>(run.maxSample);
            if (run.outputAlpha) {
                comp = ForegroundOf(ring, cell, run.maxSample);
                out.a[outIndex] = StoreSample<Sample>(run.maxSample * a);
            }
            StoreColour(out, outIndex, comp);
        }
    }
}

template void WriteRefinedRow(const KeyRun&, const PlaneView<std::uint8_t>&, std::int32_t);
template void WriteRefinedRow(const KeyRun&, const PlaneView<std::uint16_t>&, std::int32_t);
template void WriteDirectRow(const KeyRun&, const PlaneView<std::uint8_t>&);
template void WriteDirectRow(const KeyRun&, const PlaneView<std::uint16_t>&);
template void restoreSelection(const KeyRun&, const PlaneView<std::uint8_t>&, std::int32_t);
template void restoreSelection(const KeyRun&, const PlaneView<std::uint16_t>&, std::int32_t);
template void FlushRows(const KeyRun&, const PlaneView<std::uint8_t>&);
template void FlushRows(const KeyRun&, const PlaneView<std::uint16_t>&);

}  // namespace keying

#include "engine/scalar/fetch_and_key.h"

#include "engine/colour.h"
#include "engine/constants.h"
#include "engine/keying.h"
#include "engine/scalar/alpha_search.h"
#include "engine/scalar/corrections.h"

namespace {

double Interpolate(const double* table, const GridPlace& row, const GridPlace& column) {
    const double* c = table + row.cell * kGridSide + column.cell;
    return c[0] * column.low * row.low + c[1] * column.high * row.low + c[kGridSide] * column.low * row.high +
           c[kGridSide + 1] * column.high * row.high;
}

// Limited to 255 levels and not to the largest sample, and not limited from below.
double BackdropLevel(const KeyRun& run, const double* table, const GridPlace& row, const GridPlace& column) {
    const double level = Interpolate(table, row, column) * run.sAdjust / kAdjustUnit;
    const double limit = kBackdropLimit * run.levelScale;
    return level > limit ? limit : level;
}

}  // namespace

GridPlace PlaceOnGrid(std::int64_t position, std::int64_t size) {
    double g = static_cast<double>(position * kGridSide) / static_cast<double>(size) - 0.5;
    if (g < 0) g = 0;
    if (g > kGridSide - 2) g = kGridSide - 2;
    const std::int32_t cell = static_cast<std::int32_t>(g);
    const double high = g - cell;
    return {cell, 1 - high, high};
}

template <class Sample>
void FetchRow(const KeyRun& run, const Globals* globals, std::int32_t y) {
    const RowRing& ring = run.ring;
    const LogicalPlanes<Sample> top = TopPlanes<Sample>(globals);
    const LogicalPlanes<Sample> bottom = BottomPlanes<Sample>(globals);
    const Sample* topAlpha = View<Sample>(globals->topA, globals->topA16);
    const OutPlanes<Sample> out = OutputPlanes<Sample>(globals);
    Sample* outKey = run.blueLogic ? out.b : out.g;
    Sample* outThird = run.blueLogic ? out.g : out.b;

    const std::int64_t first = std::int64_t{y} * run.width;
    const std::size_t newest = RingRow(ring, ring.ringSlot);
    for (std::int32_t x = 0; x < run.width; ++x) {
        const std::int64_t p = first + x;
        const std::size_t cell = newest + static_cast<std::size_t>(x);
        const double R = top.r[p];
        double G = top.g[p];
        double B = top.b[p];
        if (B > run.maxSample) B = run.maxSample;
        if (G == 0) G = 1;  // the pass's only guard of a division; it reaches the picture
        out.r[p] = StoreSample<Sample>(R);
        outKey[p] = StoreSample<Sample>(G);
        outThird[p] = StoreSample<Sample>(B);

        ring.ringBottomR[cell] = bottom.r[p];
        ring.ringBottomG[cell] = bottom.g[p];
        ring.ringBottomB[cell] = bottom.b[p];
        ring.ringFgR[cell] = R;
        ring.ringFgG[cell] = G;
        ring.ringFgB[cell] = B;
        ring.ringAlpha[cell] = topAlpha[p] / run.maxSample;
    }
}

template void FetchRow<std::uint8_t>(const KeyRun&, const Globals*, std::int32_t);
template void FetchRow<std::uint16_t>(const KeyRun&, const Globals*, std::int32_t);

void KeyRow(const KeyRun& run, std::int32_t y) {
    if (run.orgPhoto) return;
    const RowRing& ring = run.ring;
    const GridPlace row = PlaceOnGrid(y, run.height);
    const std::size_t newest = RingRow(ring, ring.ringSlot);
    GridPlace column = {};
    for (std::int32_t x = 0; x < run.width; ++x) {
        const std::size_t cell = newest + static_cast<std::size_t>(x);
        if (ring.ringAlpha[cell] < kGateAlpha) continue;

        while (x >= run.columns.firstColumn[column.cell + 1]) ++column.cell;
        column.low = run.columns.low[x];
        column.high = run.columns.high[x];

        Pixel p;
        p.R = p.fgR = ring.ringFgR[cell];
        p.G = p.fgG = ring.ringFgG[cell];
        p.B = p.fgB = ring.ringFgB[cell];
        p.alpha = ring.ringAlpha[cell];
        p.maxC = Largest(p.R, p.G, p.B);
        p.bgR = BackdropLevel(run, gBackdropGrid.gridR, row, column);
        p.bgG = BackdropLevel(run, gBackdropGrid.gridG, row, column);
        p.bgB = BackdropLevel(run, gBackdropGrid.gridB, row, column);

        SearchAlpha(run, &p);
        CorrectPixel(run, &p);

        ring.ringFgR[cell] = p.fgR;
        ring.ringFgG[cell] = p.fgG;
        ring.ringFgB[cell] = p.fgB;
        ring.ringAlpha[cell] = p.alpha;
    }
}

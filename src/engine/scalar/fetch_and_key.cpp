#include "engine/scalar/fetch_and_key.h"

#include "engine/colour.h"
#include "engine/constants.h"
#include "engine/keying.h"
#include "engine/scalar/alpha_search.h"
#include "engine/scalar/corrections.h"

namespace keying {

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
void FetchRow(const KeyRun& run, const PlaneView<Sample>& row) {
    const RowRing& ring = run.ring;
    const std::size_t newest = RingRow(ring, ring.ringSlot);
    for (std::int32_t x = 0; x < run.width; ++x) {
        const std::size_t cell = newest + static_cast<std::size_t>(x);
        const Rgb seen = FetchGuarded(row.top, x, run.maxSample);
        row.out.r[x] = StoreSample<Sample>(seen.r);
        row.out.g[x] = StoreSample<Sample>(seen.g);
        row.out.b[x] = StoreSample<Sample>(seen.b);

        ring.ringBottomR[cell] = row.bottom.r[x];
        ring.ringBottomG[cell] = row.bottom.g[x];
        ring.ringBottomB[cell] = row.bottom.b[x];
        ring.ringFgR[cell] = seen.r;
        ring.ringFgG[cell] = seen.g;
        ring.ringFgB[cell] = seen.b;
        ring.ringAlpha[cell] = row.top.a[x] / run.maxSample;
    }
}

template void FetchRow<std::uint8_t>(const KeyRun&, const PlaneView<std::uint8_t>&);
template void FetchRow<std::uint16_t>(const KeyRun&, const PlaneView<std::uint16_t>&);

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
        p.bgR = BackdropLevel(run, run.grid->gridR, row, column);
        p.bgG = BackdropLevel(run, run.grid->gridG, row, column);
        p.bgB = BackdropLevel(run, run.grid->gridB, row, column);

        SearchAlpha(run, &p);
        CorrectPixel(run, &p);

        ring.ringFgR[cell] = p.fgR;
        ring.ringFgG[cell] = p.fgG;
        ring.ringFgB[cell] = p.fgB;
        ring.ringAlpha[cell] = p.alpha;
    }
}

}  // namespace keying

#include "engine/scalar/refinement.h"

#include <cmath>
#include <initializer_list>

#include "engine/constants.h"

namespace keying {

namespace {

// Read by row offset from the middle tap, and by window column from kernelBase upward.
constexpr const double* kRowTaps = kWeightTaps + kMiddleTap;
constexpr const double* kColumnTaps = kWeightTaps;

// The column kernel of a preview, 5, 10, 30, is lopsided, and that of a full-size render loads its first
// column one cell past the middle. Both are intended; the first pixels of each row depend on it.
struct ColumnKernel {
    std::int32_t firstCellOffset;
    std::int32_t kernelBase;  // firstCellOffset - ringRadius
    double kernelSum;
};

constexpr ColumnKernel kPreviewKernel{1, kPreviewFirstTap, kPreviewKernelSum};
constexpr ColumnKernel kFinalKernel{3, kFinalFirstTap, kFinalKernelSum};

// One sample of the window: a row's cell at one column.
struct WindowSample {
    double d, w;
    double vR, vG, vB;
};

// The foreground comes from the neighbour's own row, the layer below always from the centre row: the mixture
// is intended. neighbour and centreColumn are ring indices of the same column.
WindowSample TakeSample(const RowRing& ring, std::size_t neighbour, std::size_t centreColumn,
                        double centreAlpha, double rowTap) {
    const double a = ring.ringAlpha[neighbour];
    const double w = (a * kAlphaWeight + 1) * rowTap;
    return {std::fabs(a - centreAlpha), w,
            (ring.ringFgR[neighbour] * a + ring.ringBottomR[centreColumn] * (1 - a)) * w,
            (ring.ringFgG[neighbour] * a + ring.ringBottomG[centreColumn] * (1 - a)) * w,
            (ring.ringFgB[neighbour] * a + ring.ringBottomB[centreColumn] * (1 - a)) * w};
}

void AddSample(ColumnWindow* window, std::int32_t cell, const WindowSample& s, double intoR) {
    window->cellDiff[cell] += s.d;
    window->cellWeight[cell] += s.w;
    window->cellR[cell] += intoR;
    window->cellG[cell] += s.vG;
    window->cellB[cell] += s.vB;
}

// Loads the window's columns of a row's first pixel, or its newest column later on. At the first pixel the
// red sum is fed the green value, and a column past the window is dropped: both are intended. On
// a picture narrower than the window the first pixel reads on into the next ring row.
void LoadColumns(const KeyRun& run, std::int32_t y, std::int32_t x, std::size_t centreRow,
                 ColumnWindow* window) {
    const RowRing& ring = run.ring;
    const std::int32_t radius = ring.ringRadius;
    const std::int32_t firstCellOffset =
        run.finalRender ? kFinalKernel.firstCellOffset : kPreviewKernel.firstCellOffset;
    const double centreAlpha = ring.ringAlpha[centreRow + static_cast<std::size_t>(x)];
    for (std::int32_t dy = -radius; dy <= radius; ++dy) {
        const std::int32_t pictureRow = y + dy - radius;
        if (pictureRow < 0 || pictureRow >= run.height) continue;
        const std::size_t row = RingRow(ring, wrapSlot(ring, ring.ringSlot + dy - radius));
        if (x == 0) {
            for (std::int32_t c = 0; c <= radius; ++c) {
                const std::size_t column = static_cast<std::size_t>(c);
                const WindowSample s =
                    TakeSample(ring, row + column, centreRow + column, centreAlpha, kRowTaps[dy]);
                const std::int32_t cell = c + firstCellOffset;
                if (cell < ring.ringRows) AddSample(window, cell, s, s.vG);
            }
        } else if (x + radius < run.width) {
            const std::size_t column = static_cast<std::size_t>(x + radius);
            const WindowSample s =
                TakeSample(ring, row + column, centreRow + column, centreAlpha, kRowTaps[dy]);
            AddSample(window, ring.ringRows - 1, s, s.vR);
        }
    }
}

double WeightedSum(const KeyRun& run, const double* cells) {
    const ColumnKernel& kernel = run.finalRender ? kFinalKernel : kPreviewKernel;
    double sum = 0;
    for (std::int32_t i = 0; i < run.ring.ringRows; ++i) {
        sum += cells[i] * kColumnTaps[kernel.kernelBase + i] / kernel.kernelSum;
    }
    return sum;
}

void Shift(ColumnWindow* window, std::int32_t cells) {
    for (double* column :
         {window->cellDiff, window->cellWeight, window->cellR, window->cellG, window->cellB}) {
        for (std::int32_t i = 0; i < cells - 1; ++i) column[i] = column[i + 1];
        column[cells - 1] = 0;
    }
}

void Limit(double* channel, double maxSample) {
    if (*channel > maxSample) *channel = maxSample;
    if (*channel < 0) *channel = 0;
}

}  // namespace

Rgb RefinePixel(const KeyRun& run, std::int32_t y, std::int32_t x, ColumnWindow* window) {
    const RowRing& ring = run.ring;
    const std::size_t centreRow = RingRow(ring, wrapSlot(ring, ring.ringSlot - ring.ringRadius));
    const std::size_t centre = centreRow + static_cast<std::size_t>(x);
    LoadColumns(run, y, x, centreRow, window);

    double sumDiff = 0;
    for (std::int32_t i = 0; i < ring.ringRows; ++i) sumDiff += window->cellDiff[i];

    Rgb comp;
    const double a = ring.ringAlpha[centre];
    if (sumDiff < kKeptDifference || a > kKeptAlpha) {
        comp = {ring.ringFgR[centre] * a + (1 - a) * ring.ringBottomR[centre],
                ring.ringFgG[centre] * a + (1 - a) * ring.ringBottomG[centre],
                ring.ringFgB[centre] * a + (1 - a) * ring.ringBottomB[centre]};
    } else {
        const double den = WeightedSum(run, window->cellWeight);
        comp = {WeightedSum(run, window->cellR) / den, WeightedSum(run, window->cellG) / den,
                WeightedSum(run, window->cellB) / den};
    }
    Shift(window, ring.ringRows);
    Limit(&comp.b, run.maxSample);
    Limit(&comp.g, run.maxSample);
    Limit(&comp.r, run.maxSample);
    return comp;
}

}  // namespace keying

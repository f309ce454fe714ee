// The window of the refinement, as a stream of columns.
//
// The scalar reference slides a window of columns along the row. Here the columns that it loads, one after
// the other, are a stream: pixel x sees entries x to x + 2 ringRadius of it. The stream begins with the empty
// cells and the first columns of the scalar window. From entry 2 ringRadius + 1 on, entry s is picture column
// s - ringRadius, loaded when the centre was s - 2 ringRadius. Past the right edge it is empty.
#pragma once

#include <cstdint>

#include "engine/constants.h"
#include "engine/key_run.h"
#include "engine/row_ring.h"
#include "engine/scalar/refinement.h"
#include "engine/simd/vec.h"

namespace keying::FROND_VARIANT {

struct WindowRow {
    std::size_t first;  // ring index of the row's first cell
    double tap;
};

// The rows of the picture that the window of one row covers.
struct Window {
    const RowRing* ring;
    std::size_t centre;  // ring index of the centre row's first cell
    int rows;
    WindowRow row[kMostRingRows];
    std::int32_t slot[kMostRingRows];  // the ring's, of each row
    std::int32_t width;
    int radius;
};

static inline Window WindowOf(const KeyRun& run, std::int32_t y) {
    const RowRing& ring = run.ring;
    Window window = {};
    window.ring = &ring;
    window.radius = ring.ringRadius;
    window.width = run.width;
    window.centre = RingRow(ring, wrapSlot(ring, ring.ringSlot - ring.ringRadius));
    for (int dy = -ring.ringRadius; dy <= ring.ringRadius; ++dy) {
        if (y + dy - ring.ringRadius < 0) continue;
        const std::int32_t slot = wrapSlot(ring, ring.ringSlot + dy - ring.ringRadius);
        window.slot[window.rows] = slot;
        window.row[window.rows++] = {RingRow(ring, slot), kWeightTaps[kMiddleTap + dy]};
    }
    return window;
}

// One entry of the stream for each lane: the sums of a column over the window's rows.
struct Columns {
    Doubles weight = 0, r = 0, g = 0, b = 0;
};

static inline Doubles ColumnDifferences(const Window& window, std::size_t column, Doubles centreAlpha) {
    Doubles sum = 0;
    for (int i = 0; i < window.rows; ++i) {
        sum = sum + Abs(Load(window.ring->ringAlpha + window.row[i].first + column) - centreAlpha);
    }
    return sum;
}

static inline Columns ColumnSums(const Window& window, std::size_t column) {
    const RowRing& ring = *window.ring;
    const Doubles bottomR = Load(ring.ringBottomR + window.centre + column);
    const Doubles bottomG = Load(ring.ringBottomG + window.centre + column);
    const Doubles bottomB = Load(ring.ringBottomB + window.centre + column);
    Columns sums;
    for (int i = 0; i < window.rows; ++i) {
        const std::size_t cell = window.row[i].first + column;
        const Doubles a = Load(ring.ringAlpha + cell);
        const Doubles w = (a * kAlphaWeight + 1) * window.row[i].tap;
        sums.weight = sums.weight + w;
        sums.r = sums.r + (Load(ring.ringFgR + cell) * a + bottomR * (1 - a)) * w;
        sums.g = sums.g + (Load(ring.ringFgG + cell) * a + bottomG * (1 - a)) * w;
        sums.b = sums.b + (Load(ring.ringFgB + cell) * a + bottomB * (1 - a)) * w;
    }
    return sums;
}

// The first picture column that an entry below 2 radius + 1 holds, or -1 for an empty one.
static inline int FirstColumn(const Window& window, int entry) {
    const int column = entry - (window.radius == 2 ? 3 : 1);
    return column < 0 ? -1 : column;
}

// How many of the lanes from entry s on hold a column: none past the right edge.
static inline int ColumnsLeft(const Window& window, std::int32_t s) {
    return window.width - (s - window.radius);
}

static inline Doubles OnlyFirst(Doubles v, int n) {
    return n >= kDoubles ? v : Select(FirstLanes<double>(n), v, 0);
}

// Entries x0 to x0 + n + 2 radius of the stream's differences.
static inline void FillDifferences(const Window& window, std::int32_t x0, int n, double* stream) {
    const int regular = 2 * window.radius + 1;
    const RingCell* alpha = window.ring->ringAlpha;
    int i = 0;
    for (; x0 + i < regular; ++i) {
        const int column = FirstColumn(window, x0 + i);
        double one[kDoubles] = {};
        if (column >= 0) {
            Store(one, ColumnDifferences(window, static_cast<std::size_t>(column), alpha[window.centre]));
        }
        stream[i] = one[0];
    }
    for (; i < n + 2 * window.radius; i += kDoubles) {
        const std::int32_t s = x0 + i;
        const int left = ColumnsLeft(window, s);
        if (left <= 0) {
            Store(stream + i, Doubles(0));
            continue;
        }
        const std::size_t column = static_cast<std::size_t>(s - window.radius);
        const Doubles centreAlpha =
            Load(alpha + window.centre + column - static_cast<std::size_t>(window.radius));
        Store(stream + i, OnlyFirst(ColumnDifferences(window, column, centreAlpha), left));
    }
}

struct ColourStream {
    double weight[3 * kDoubles + 8], r[3 * kDoubles + 8], g[3 * kDoubles + 8], b[3 * kDoubles + 8];
};

static inline void StoreColumns(ColourStream* stream, int i, const Columns& sums, int left) {
    Store(stream->weight + i, OnlyFirst(sums.weight, left));
    Store(stream->r + i, OnlyFirst(sums.r, left));
    Store(stream->g + i, OnlyFirst(sums.g, left));
    Store(stream->b + i, OnlyFirst(sums.b, left));
}

// The entries that the lanes from pixel x on see. In the first columns the red sum is fed the green value.
static inline void FillColours(const Window& window, std::int32_t x, ColourStream* stream) {
    const int regular = 2 * window.radius + 1;
    const int entries = kDoubles + 2 * window.radius;
    int i = 0;
    for (; x + i < regular && i < entries; ++i) {
        const int column = FirstColumn(window, x + i);
        Columns sums;
        if (column >= 0) sums = ColumnSums(window, static_cast<std::size_t>(column));
        sums.r = sums.g;
        StoreColumns(stream, i, sums, 1);
    }
    for (; i < entries; i += kDoubles) {
        const int left = ColumnsLeft(window, x + i);
        if (left <= 0) {
            StoreColumns(stream, i, {}, 0);
        } else {
            StoreColumns(stream, i, ColumnSums(window, static_cast<std::size_t>(x + i - window.radius)),
                         left);
        }
    }
}

static inline Doubles WeightedSum(const double* stream, int radius) {
    const double* taps = kWeightTaps + (radius == 2 ? kFinalFirstTap : kPreviewFirstTap);
    const Doubles kernelSum = radius == 2 ? kFinalKernelSum : kPreviewKernelSum;
    Doubles sum = 0;
    for (int i = 0; i <= 2 * radius; ++i) sum = sum + Load(stream + i) * taps[i] / kernelSum;
    return sum;
}

}  // namespace keying::FROND_VARIANT

// What is fixed for one run of KeyPlanes.
#pragma once

#include <cstdint>

#include "engine/derived_limits.h"
#include "engine/keying.h"
#include "engine/row_ring.h"

namespace keying {

// The place of a column or a row on the backdrop grid: the lower of the two cells it lies between, and the
// weights of that cell and the next.
struct GridPlace {
    std::int32_t cell;  // 0 to 18
    double low;
    double high;
};

// The places of all columns. The columns of cell c are firstColumn[c] up to firstColumn[c + 1].
struct GridColumns {
    std::int32_t firstColumn[kGridSide];
    double* low;  // one weight a column, and kColumnPadding more
    double* high;
    float* share;  // high, for what single precision decides
};

// Vectors may read this many weights past the last column.
constexpr std::int32_t kColumnPadding = 16;

// Calls visit(cell, from, to) for each cell of the grid that some of n columns lie in, from column x0 on:
// cell points at its value, behind which lies its right neighbour's, and kGridSide on those below.
template <class Visit>
static inline void ForCells(const GridColumns& columns, const double* table, const GridPlace& row,
                            std::int32_t x0, int n, Visit visit) {
    int cell = 0;
    while (columns.firstColumn[cell + 1] <= x0) ++cell;
    for (int from = 0; from < n; ++cell) {
        const int end = columns.firstColumn[cell + 1] - x0;
        const int to = end < n ? end : n;
        visit(table + row.cell * kGridSide + cell, from, to);
        from = to;
    }
}

// Pixels of the smallest group whose kind a vector variant may keep beside a ring row, and the room for the
// kinds of a row.
constexpr std::int32_t kSmallestGroup = 4;

static inline std::int64_t GroupRoom(std::int32_t width) {
    return width / kSmallestGroup + 1;
}

struct KeyRun {
    std::int32_t width, height;
    double maxSample;   // M
    double levelScale;  // k, what one 8-bit level measures: 1 or 128
    double darkGain;

    // The sliders, as the user set them.
    double sAdjust, sRemove, sBlack, sAlter, sSelect, sScale;

    bool blueLogic, orgPhoto, showSelect, realityInteg, outputAlpha;
    bool finalRender;

    // One byte a pixel at both depths; null when no pixel is to be restored.
    const std::uint8_t* selection;

    const BackdropGrid* grid;
    GridColumns columns;
    DerivedLimits limits;
    RowRing ring;
    std::uint8_t*
        groupKinds;  // kReservedRingRows rows of GroupRoom, 0 at the start; the vector variants' own
};

}  // namespace keying

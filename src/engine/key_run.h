// What is fixed for one run of KeyPlanes.
#pragma once

#include <cstdint>

#include "engine/colour.h"
#include "engine/keying.h"
#include "engine/row_ring.h"

namespace keying {

// The place of a column or a row on the backdrop grid: a cell, and the weights of that cell and the next.
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

// Calls visit(cell, from, to) for each cell of the grid under the n columns from x0 on. The index after
// `cell` is its right neighbour's, and the cells below are kGridSide further.
template <class Visit>
static inline void ForCells(const GridColumns& columns, const GridPlace& row, std::int32_t x0, int n,
                            Visit visit) {
    int cell = 0;
    while (columns.firstColumn[cell + 1] <= x0) ++cell;
    for (int from = 0; from < n; ++cell) {
        const int end = columns.firstColumn[cell + 1] - x0;
        const int to = end < n ? end : n;
        visit(row.cell * kGridSide + cell, from, to);
        from = to;
    }
}

// Pixels of the smallest group whose kind a vector variant keeps beside a ring row, and the number of kinds
// that a row needs.
constexpr std::int32_t kSmallestGroup = 4;

static inline std::int64_t GroupRoom(std::int32_t width) {
    return width / kSmallestGroup + 1;
}

// What the vector variants read in place of a root or a correction per pixel. The scalar reference does not
// read it.
struct DerivedLimits {
    // Bounds on sums of squares. Each is equivalent to a comparison of the root: roots are correctly rounded
    // and therefore monotonic.
    double plainBelow;     // root < 0.4, and no sum at all when SliderRemoveGreen switches the test off
    double greyBelow;      // root < sBlack * 0.15
    double colouredAbove;  // root > sBlack + sBlack

    // A pixel that is backdrop by its shape gets alpha 0 and one of two foregrounds; the first where the wide
    // pull of the corrections applies. False: the dark rescue or the false colours can change it.
    bool shapeIsConstant;
    Rgb shapeWide;
    Rgb shapeNarrow;
};

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
    // kReservedRingRows rows of GroupRoom, 0 at the start. Only the vector variants use them.
    std::uint8_t* groupKinds;
};

}  // namespace keying

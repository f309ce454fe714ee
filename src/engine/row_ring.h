// The keyed rows that the refinement still needs: seven planes of doubles, used as a ring of rows.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>

#include "engine/keying.h"

namespace keying {

// Memory aligns its blocks to 4 bytes only.
using RingCell = double __attribute__((aligned(4)));

// Rows reserved in each plane; 3 or 5 of them are in use.
constexpr int kReservedRingRows = 7;

// Each plane holds rows of `width` cells; row s begins at s * width. Foreground and bottom layer are in
// samples, with green and blue exchanged for a blue backdrop.
struct RowRing {
    RingCell* ringBottomR;  // the bottom layer
    RingCell* ringBottomG;
    RingCell* ringBottomB;
    RingCell* ringFgR;  // the foreground: the seen colour until the pixel is keyed
    RingCell* ringFgG;
    RingCell* ringFgB;
    RingCell* ringAlpha;  // opacity of the foreground, 0 to 1

    std::int32_t width;
    std::int32_t ringRadius;  // how far the refinement runs behind, and half the height of its window
    std::int32_t ringRows;    // rows in use: 2 * ringRadius + 1
    std::int32_t ringSlot;    // the row of the picture row just keyed; -1 before the first
};

// Sets the ring up, reserves its planes and fills them with kRingFilling. False when there is no memory. The
// caller releases what was reserved in that case too, and when `allocate` throws.
bool ReserveRing(RowRing* ring, std::int32_t width, bool finalRender, const Memory& memory);
void ReleaseRing(RowRing* ring, const Memory& memory);

// s is out of range by ringRows at most.
static inline std::int32_t wrapSlot(const RowRing& ring, std::int32_t s) {
    if (s < 0) s += ring.ringRows;
    if (s >= ring.ringRows) s -= ring.ringRows;
    return s;
}

// Index of a row's first cell.
static inline std::size_t RingRow(const RowRing& ring, std::int32_t slot) {
    assert(slot >= 0 && slot < ring.ringRows);
    return static_cast<std::size_t>(slot) * static_cast<std::size_t>(ring.width);
}

}  // namespace keying

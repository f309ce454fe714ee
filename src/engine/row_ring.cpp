#include "engine/row_ring.h"

#include "support/checked_heap.h"

namespace {

constexpr RingCell* RowRing::*kRingPlanes[] = {
    &RowRing::ringBottomR, &RowRing::ringBottomG, &RowRing::ringBottomB, &RowRing::ringFgR,
    &RowRing::ringFgG,     &RowRing::ringFgB,     &RowRing::ringAlpha};

}  // namespace

void ReserveRing(RowRing* ring, std::int32_t width, bool finalRender) {
    *ring = {};
    ring->width = width;
    ring->ringRadius = finalRender ? 2 : 1;
    ring->ringRows = 2 * ring->ringRadius + 1;
    ring->ringSlot = -1;
    const std::size_t bytes = sizeof(double) * kReservedRingRows * static_cast<std::size_t>(width);
    try {
        for (RingCell* RowRing::*plane : kRingPlanes) {
            ring->*plane = static_cast<RingCell*>(CheckedNew(bytes));
            if (ring->*plane == nullptr) throw HeapFailure{memFullErr};
        }
    } catch (...) {
        ReleaseRing(ring);
        throw;
    }
}

void ReleaseRing(RowRing* ring) {
    for (RingCell* RowRing::*plane : kRingPlanes) {
        if (ring->*plane != nullptr) CheckedDelete(ring->*plane);
        ring->*plane = nullptr;
    }
}

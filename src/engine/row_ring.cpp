#include "engine/row_ring.h"

#include <cstdlib>
#include <cstring>

#include "engine/constants.h"

namespace keying {
namespace {

constexpr RingCell* RowRing::*kRingPlanes[] = {
    &RowRing::ringBottomR, &RowRing::ringBottomG, &RowRing::ringBottomB, &RowRing::ringFgR,
    &RowRing::ringFgG,     &RowRing::ringFgB,     &RowRing::ringAlpha};

void* Allocate(const Memory& memory, std::size_t bytes) {
    return memory.allocate == nullptr ? std::malloc(bytes) : memory.allocate(memory.context, bytes);
}

void Release(const Memory& memory, void* block) {
    memory.allocate == nullptr ? std::free(block) : memory.release(memory.context, block);
}

}  // namespace

bool ReserveRing(RowRing* ring, std::int32_t width, bool finalRender, const Memory& memory) {
    *ring = {};
    ring->width = width;
    ring->ringRadius = finalRender ? 2 : 1;
    ring->ringRows = 2 * ring->ringRadius + 1;
    ring->ringSlot = -1;
    const std::size_t bytes = sizeof(double) * kReservedRingRows * static_cast<std::size_t>(width);
    for (RingCell* RowRing::*plane : kRingPlanes) {
        ring->*plane = static_cast<RingCell*>(Allocate(memory, bytes));
        if (ring->*plane == nullptr) return false;
        std::memset(ring->*plane, kRingFilling, bytes);
    }
    return true;
}

void ReleaseRing(RowRing* ring, const Memory& memory) {
    for (RingCell* RowRing::*plane : kRingPlanes) {
        if (ring->*plane != nullptr) Release(memory, ring->*plane);
        ring->*plane = nullptr;
    }
}

}  // namespace keying

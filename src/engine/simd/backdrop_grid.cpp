// The backdrop grid in whole numbers, in loops that the compiler turns into vectors. A pixel that single
// precision does not decide goes to the scalar reference.
#include "engine/scalar/backdrop_grid.h"

#include <cstdint>

#include "engine/constants.h"
#include "engine/samples.h"
#include "engine/simd/passes.h"
#include "engine/simd/whole_numbers.h"

namespace keying::FROND_VARIANT {
namespace {

struct CellSum {
    std::int32_t r, g, b, count;
    std::int32_t undecided;  // pixels for the scalar reference, in none of the other sums
};

// kHueSector (b - r) + (kKeyHue - levelHue) delta is the distance of the hue from levelHue, times delta. The
// margin of a thousandth of a degree covers single precision.
template <class Sample>
CellSum SumCell(const Sample* r, const Sample* g, const Sample* b, int n, std::int32_t maxSample,
                const GridLimits& limits, std::uint8_t* undecided) {
    constexpr float kNear = 0.001f;
    const float offset = static_cast<float>(kKeyHue - limits.levelHue);
    const std::int32_t smallest = static_cast<std::int32_t>(limits.smallestLevel);
    CellSum total = {0, 0, 0, 0, 0};
    for (int i = 0; i < n; ++i) {
        const std::int32_t red = r[i], blue = b[i];
        const std::int32_t green = Min<std::int32_t>(g[i], maxSample);
        const std::int32_t delta = green - Min(red, blue), lead = green - Max(red, blue);
        const float width = static_cast<float>(delta);
        const float turn = static_cast<float>(kHueSector * (blue - red)) + offset * width;
        const float distance = turn < 0 ? -turn : turn;
        const bool candidate = (lead > kGridLead) & (kGridInverseSat * delta > green) & (green > smallest);
        const bool inside = candidate & (distance < (kGridHueRange - kNear) * width);
        const bool unclear = candidate & !inside & (distance <= (kGridHueRange + kNear) * width);
        total.r += inside ? red : 0;
        total.g += inside ? green : 0;
        total.b += inside ? blue : 0;
        total.count += inside ? 1 : 0;
        total.undecided += unclear ? 1 : 0;
        undecided[i] = unclear ? 1 : 0;
    }
    return total;
}

template <class Sample>
void AddRun(const Channels<const Sample>& top, std::int64_t first, int n, std::int32_t maxSample,
            const GridLimits& limits, std::int64_t cell, BackdropGrid* grid) {
    std::uint8_t undecided[kBlock];
    const CellSum sum = SumCell(top.r + first, top.g + first, top.b + first, n, maxSample, limits, undecided);
    grid->gridR[cell] += sum.r;
    grid->gridG[cell] += sum.g;
    grid->gridB[cell] += sum.b;
    grid->gridCount[cell] += sum.count;
    if (sum.undecided == 0) return;
    for (int i = 0; i < n; ++i) {
        if (undecided[i]) AddIfBackdrop(FetchLimited(top, first + i, maxSample), limits, cell, grid);
    }
}

// The first column whose x * kGridSide / width is the cell, or the next cell's where there is none.
std::int64_t FirstColumnOf(std::int64_t cell, std::int64_t width) {
    return (cell * width + kGridSide - 1) / kGridSide;
}

}  // namespace

template <class Sample>
void AddGridPixels(const PlaneView<Sample>& planes, const GridLimits& limits, Band rows, BackdropGrid* grid) {
    const std::int64_t width = planes.width, height = planes.height;
    for (std::int64_t y = rows.first; y < rows.end; ++y) {
        const std::int64_t cellRow = y * kGridSide / height;
        for (std::int64_t column = 0; column < kGridSide; ++column) {
            const std::int64_t end = FirstColumnOf(column + 1, width);
            for (std::int64_t x = FirstColumnOf(column, width); x < end; x += kBlock) {
                AddRun(planes.top, y * width + x, static_cast<int>(Min<std::int64_t>(kBlock, end - x)),
                       planes.maxSample, limits, cellRow * kGridSide + column, grid);
            }
        }
    }
}

template void AddGridPixels(const PlaneView<std::uint8_t>&, const GridLimits&, Band, BackdropGrid*);
template void AddGridPixels(const PlaneView<std::uint16_t>&, const GridLimits&, Band, BackdropGrid*);

}  // namespace keying::FROND_VARIANT

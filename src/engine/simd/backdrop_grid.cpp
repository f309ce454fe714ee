// The backdrop grid in single precision, which samples and the sums of a run are exact in. A pixel that it
// does not decide goes to the scalar reference.
#include "engine/scalar/backdrop_grid.h"

#include <cstdint>

#include "engine/constants.h"
#include "engine/samples.h"
#include "engine/simd/passes.h"
#include "engine/simd/vec.h"
#include "engine/simd/whole_numbers.h"

namespace keying::FROND_VARIANT {
namespace {

// kHueSector (b - r) + (kKeyHue - levelHue) delta is the distance of the hue from levelHue, times delta. The
// margin of a thousandth of a degree covers single precision.
template <class Sample>
void AddRun(const Channels<const Sample>& top, std::int64_t first, int n, std::int32_t maxSample,
            const GridLimits& limits, std::int64_t cell, BackdropGrid* grid) {
    constexpr float kNear = 0.001f;
    const Floats most = static_cast<float>(maxSample), offset = static_cast<float>(kKeyHue - limits.levelHue);
    const Floats smallest = static_cast<float>(static_cast<std::int32_t>(limits.smallestLevel));
    Floats sumR = 0, sumG = 0, sumB = 0, count = 0;
    for (int i = 0; i < n; i += kFloats) {
        const Floats R = LoadFloats(top.r + first + i, n - i), B = LoadFloats(top.b + first + i, n - i);
        const Floats G = Min(LoadFloats(top.g + first + i, n - i), most);
        const Floats delta = G - Min(R, B), lead = G - Max(R, B);
        const Floats turn = kHueSector * (B - R) + offset * delta, distance = Max(turn, 0 - turn);
        const FloatMask candidate = (lead > kGridLead) & (kGridInverseSat * delta > G) & (G > smallest);
        const FloatMask inside = candidate & (distance < (kGridHueRange - kNear) * delta);
        sumR = sumR + Select(inside, R, 0);
        sumG = sumG + Select(inside, G, 0);
        sumB = sumB + Select(inside, B, 0);
        count = count + Select(inside, 1, 0);
        unsigned undecided = Bits(candidate & !inside & (distance <= (kGridHueRange + kNear) * delta));
        for (int lane = 0; undecided != 0; ++lane, undecided >>= 1) {
            if (undecided & 1)
                AddIfBackdrop(FetchLimited(top, first + i + lane, maxSample), limits, cell, grid);
        }
    }
    grid->gridR[cell] += SumOf(sumR);
    grid->gridG[cell] += SumOf(sumG);
    grid->gridB[cell] += SumOf(sumB);
    grid->gridCount[cell] += static_cast<std::int32_t>(SumOf(count));
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

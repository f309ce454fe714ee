// The backdrop's colour cell by cell: a real backdrop darkens towards the corners and has shadows. The cells
// are not smoothed; the lookup interpolates between them.
#include "engine/scalar/backdrop_grid.h"

#include <cmath>

#include "engine/colour.h"
#include "engine/constants.h"
#include "engine/keying.h"
#include "engine/samples.h"

namespace keying {

void AddIfBackdrop(const Rgb& seen, const GridLimits& limits, std::int64_t cell, BackdropGrid* grid) {
    const HueSat c = HueSatOf(seen, kGridGreyDelta);
    const bool accepted = std::fabs(c.hue - limits.levelHue) < kGridHueRange && c.sat > kGridSmallestSat &&
                          seen.g > limits.smallestLevel && seen.r + kGridLead < seen.g &&
                          seen.b + kGridLead < seen.g;
    if (!accepted) return;
    grid->gridR[cell] += seen.r;
    grid->gridG[cell] += seen.g;
    grid->gridB[cell] += seen.b;
    ++grid->gridCount[cell];
}

template <class Sample>
void AddGridPixels(const PlaneView<Sample>& planes, const GridLimits& limits, Band rows, BackdropGrid* grid) {
    const std::int64_t width = planes.width, height = planes.height;
    const double maxSample = planes.maxSample;
    for (std::int64_t y = rows.first; y < rows.end; ++y) {
        const std::int64_t cellRow = y * kGridSide / height;
        for (std::int64_t x = 0; x < width; ++x) {
            AddIfBackdrop(FetchLimited(planes.top, y * width + x, maxSample), limits,
                          cellRow * kGridSide + x * kGridSide / width, grid);
        }
    }
}

template void AddGridPixels(const PlaneView<std::uint8_t>&, const GridLimits&, Band, BackdropGrid*);
template void AddGridPixels(const PlaneView<std::uint16_t>&, const GridLimits&, Band, BackdropGrid*);

}  // namespace keying

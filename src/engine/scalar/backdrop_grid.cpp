// The backdrop's colour cell by cell: a real backdrop falls off towards the corners and picks up shadows.
// There is no smoothing between cells here; the lookup's interpolation does all the blending.
#include "engine/scalar/backdrop_grid.h"

#include <cmath>

#include "engine/colour.h"
#include "engine/constants.h"
#include "engine/keying.h"
#include "engine/samples.h"

namespace keying {

namespace {

// w, the share of the cell that was accepted, has no upper limit: a cell that is larger than the average and
// wholly backdrop overshoots its own mean on purpose. In a picture of fewer than 400 pixels the share divides
// by 0, and such a cell is no number.
void SettleCells(std::int64_t pixels, Backdrop* backdrop) {
    const std::int64_t cellPixels = pixels / kGridCells;
    BackdropGrid& grid = backdrop->grid;
    for (int cell = 0; cell < kGridCells; ++cell) {
        const std::int32_t count = grid.gridCount[cell];
        const double w = count / static_cast<double>(cellPixels);
        const auto settle = [&](double* value, double level) {
            *value = count < kGridFewestPixels ? level : *value / count * w + (1 - w) * level;
        };
        settle(&grid.gridR[cell], backdrop->meanR);
        settle(&grid.gridG[cell], backdrop->meanG);
        settle(&grid.gridB[cell], backdrop->meanB);
    }
}

}  // namespace

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
void AddGridPixels(const PlaneView<Sample>& planes, const GridLimits& limits, BackdropGrid* grid) {
    const std::int64_t width = planes.width, height = planes.height;
    const double maxSample = planes.maxSample;
    for (std::int64_t y = 0, i = 0; y < height; ++y) {
        const std::int64_t cellRow = y * kGridSide / height;
        for (std::int64_t x = 0; x < width; ++x, ++i) {
            AddIfBackdrop(FetchLimited(planes.top, i, maxSample), limits,
                          cellRow * kGridSide + x * kGridSide / width, grid);
        }
    }
}

template <class Sample>
void BuildBackdropGrid(const PlaneView<Sample>& planes,
                       void (*addPixels)(const PlaneView<Sample>&, const GridLimits&, BackdropGrid*),
                       Backdrop* backdrop) {
    backdrop->grid = {};
    const Rgb means{backdrop->meanR, backdrop->meanG, backdrop->meanB};
    addPixels(planes, {HueSatOf(means, 0).hue, backdrop->meanG * kGridSmallestLevel}, &backdrop->grid);
    SettleCells(std::int64_t{planes.height} * planes.width, backdrop);
}

template void AddGridPixels(const PlaneView<std::uint8_t>&, const GridLimits&, BackdropGrid*);
template void AddGridPixels(const PlaneView<std::uint16_t>&, const GridLimits&, BackdropGrid*);
template void BuildBackdropGrid(const PlaneView<std::uint8_t>&,
                                void (*)(const PlaneView<std::uint8_t>&, const GridLimits&, BackdropGrid*),
                                Backdrop*);
template void BuildBackdropGrid(const PlaneView<std::uint16_t>&,
                                void (*)(const PlaneView<std::uint16_t>&, const GridLimits&, BackdropGrid*),
                                Backdrop*);

}  // namespace keying

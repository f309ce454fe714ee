// The backdrop's colour cell by cell: a real backdrop falls off towards the corners and picks up shadows.
// There is no smoothing between cells here; the lookup's interpolation does all the blending.
#include "engine/scalar/backdrop_grid.h"

#include <cmath>

#include "engine/colour.h"
#include "engine/constants.h"
#include "engine/keying.h"
#include "engine/samples.h"

BackdropGrid gBackdropGrid;

namespace {

// w, the share of the cell that was accepted, has no upper limit: a cell that is larger than the average and
// wholly backdrop overshoots its own mean on purpose. In a picture of fewer than 400 pixels the share divides
// by 0, and such a cell is no number.
void SettleCells(const Globals* globals, BackdropGrid* grid) {
    const std::int64_t cellPixels = std::int64_t{globals->planeHeight} * globals->planeWidth / kGridCells;
    for (int cell = 0; cell < kGridCells; ++cell) {
        const std::int32_t count = grid->gridCount[cell];
        const double w = count / static_cast<double>(cellPixels);
        const auto settle = [&](double* value, double level) {
            *value = count < kGridFewestPixels ? level : *value / count * w + (1 - w) * level;
        };
        settle(&grid->gridR[cell], globals->backdropMeanR);
        settle(&grid->gridG[cell], globals->backdropMeanG);
        settle(&grid->gridB[cell], globals->backdropMeanB);
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
void AddGridPixels(const Globals* globals, const GridLimits& limits, BackdropGrid* grid) {
    const LogicalPlanes<Sample> top = TopPlanes<Sample>(globals);
    const std::int64_t width = globals->planeWidth, height = globals->planeHeight;
    const double maxSample = globals->maxSample;
    for (std::int64_t y = 0, i = 0; y < height; ++y) {
        const std::int64_t cellRow = y * kGridSide / height;
        for (std::int64_t x = 0; x < width; ++x, ++i) {
            AddIfBackdrop(FetchLimited(top, i, maxSample), limits,
                          cellRow * kGridSide + x * kGridSide / width, grid);
        }
    }
}

template void AddGridPixels<std::uint8_t>(const Globals*, const GridLimits&, BackdropGrid*);
template void AddGridPixels<std::uint16_t>(const Globals*, const GridLimits&, BackdropGrid*);

void BuildBackdropGrid(const Globals* globals,
                       void (*addPixels)(const Globals*, const GridLimits&, BackdropGrid*)) {
    gBackdropGrid = {};
    const Rgb means{globals->backdropMeanR, globals->backdropMeanG, globals->backdropMeanB};
    addPixels(globals, {HueSatOf(means, 0).hue, globals->backdropMeanG * kGridSmallestLevel}, &gBackdropGrid);
    SettleCells(globals, &gBackdropGrid);
}

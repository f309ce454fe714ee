// The analysis: the passes of the active variant, and what they have in common. Three numbers of the levels
// make one global colour; the sums of the grid's cells make local ones.
#include <cmath>
#include <cstdlib>
#include <initializer_list>

#include "engine/colour.h"
#include "engine/constants.h"
#include "engine/keying.h"
#include "engine/samples.h"
#include "engine/variants.h"
#include "engine/workers.h"

namespace keying {
namespace {

constexpr std::int64_t kRowsOfBand = 16;

// The inverse of HueSatOf for a colour whose largest channel is the key channel. With a dominant hue of
// exactly 120 the two others are 1 on purpose, however pale the backdrop is.
void SetMeans(const BackdropLevels& found, Backdrop* backdrop) {
    const double level = backdrop->meanG = found.level;
    const double domHue = found.domHue, domSat = found.domSat;
    const double hueGap = std::fabs(kKeyHue - domHue);
    backdrop->meanR = backdrop->meanB = 0;
    if (domHue < kKeyHue) {
        backdrop->meanB = level - level * domSat;
        backdrop->meanR = (level - backdrop->meanB) * hueGap / kHueSector + backdrop->meanB;
    } else if (domHue > kKeyHue && domHue < kThirdHue) {
        backdrop->meanR = level - level * domSat;
        backdrop->meanB = (level - backdrop->meanR) * hueGap / kHueSector + backdrop->meanR;
    }
    for (double* mean : {&backdrop->meanR, &backdrop->meanG, &backdrop->meanB}) {
        if (*mean < kLeastMean) *mean = kLeastMean;  // later passes divide by them
    }
}

// Turns the sums into colours. w, the accepted share of the cell, has no upper limit: a cell that is larger
// than the average and all backdrop goes beyond its own mean on purpose. In a picture of fewer than 400
// pixels the share divides by 0 and the cell becomes NaN.
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

void AddGrid(const BackdropGrid& from, BackdropGrid* to) {
    for (int cell = 0; cell < kGridCells; ++cell) {
        to->gridR[cell] += from.gridR[cell];
        to->gridG[cell] += from.gridG[cell];
        to->gridB[cell] += from.gridB[cell];
        to->gridCount[cell] += from.gridCount[cell];
    }
}

// Each worker has cells of its own. Their sums are of samples, whole numbers below 2^53, so that no order of
// additions changes them. Without memory for other cells one worker adds all rows.
template <class Sample>
void AddPixels(const PlaneView<Sample>& planes, const GridLimits& limits, Workers* workers,
               BackdropGrid* grid) {
    const auto addPixels = PassesOf<Sample>(*ActiveVariant()).addPixels;
    const std::size_t others = static_cast<std::size_t>(workers->Count() - 1);
    BackdropGrid* const grids =
        others == 0 ? nullptr : static_cast<BackdropGrid*>(std::calloc(others, sizeof(BackdropGrid)));
    *grid = {};
    if (grids == nullptr) {
        addPixels(planes, limits, {0, planes.height}, grid);
        return;
    }
    ForBands(workers, planes.height, kRowsOfBand,
             [&](std::int32_t worker, std::int64_t first, std::int64_t end) {
                 addPixels(planes, limits, {first, end}, worker == 0 ? grid : &grids[worker - 1]);
             });
    for (std::size_t i = 0; i < others; ++i) AddGrid(grids[i], grid);
    std::free(grids);
}

template <class Sample>
void Measure(const PlaneView<Sample>& planes, std::int32_t wantedWorkers, Backdrop* backdrop) {
    const std::int64_t pixels = std::int64_t{planes.height} * planes.width;
    Workers workers(WorkerCount(wantedWorkers, pixels));
    SetMeans(PassesOf<Sample>(*ActiveVariant()).measureLevels(planes, &workers), backdrop);
    const Rgb means{backdrop->meanR, backdrop->meanG, backdrop->meanB};
    AddPixels(planes, {HueSatOf(means, 0).hue, backdrop->meanG * kGridSmallestLevel}, &workers,
              &backdrop->grid);
    SettleCells(pixels, backdrop);
}

}  // namespace

void MeasureBackdrop(const Settings& settings, const Planes& planes, Backdrop* backdrop) {
    WithSampleType(planes, [&](auto sample) {
        Measure(LogicalView<decltype(sample)>(planes, settings.blueBackdrop), settings.workers, backdrop);
    });
}

}  // namespace keying

// The analysis: the passes of the active variant, and what they have in common. Three numbers of the levels
// make one global colour; the sums of the grid's cells make local ones.
#include <cmath>
#include <initializer_list>

#include "engine/colour.h"
#include "engine/constants.h"
#include "engine/keying.h"
#include "engine/samples.h"
#include "engine/variants.h"

namespace keying {
namespace {

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

template <class Sample>
void Measure(const PlaneView<Sample>& planes, Backdrop* backdrop) {
    const Passes<Sample>& passes = PassesOf<Sample>(*ActiveVariant());
    SetMeans(passes.measureLevels(planes), backdrop);
    backdrop->grid = {};
    const Rgb means{backdrop->meanR, backdrop->meanG, backdrop->meanB};
    passes.addPixels(planes, {HueSatOf(means, 0).hue, backdrop->meanG * kGridSmallestLevel}, &backdrop->grid);
    SettleCells(std::int64_t{planes.height} * planes.width, backdrop);
}

}  // namespace

void MeasureBackdrop(const Planes& planes, bool blueBackdrop, Backdrop* backdrop) {
    WithSampleType(
        planes, [&](auto sample) { Measure(LogicalView<decltype(sample)>(planes, blueBackdrop), backdrop); });
}

}  // namespace keying

// The row loop of the keying: each turn brings a row into the ring, keys it and writes a finished row.
#include <cstdlib>

#include "engine/constants.h"
#include "engine/derived_limits.h"
#include "engine/key_run.h"
#include "engine/keying.h"
#include "engine/samples.h"
#include "engine/scalar/fetch_and_key.h"
#include "engine/scalar/output.h"
#include "engine/variants.h"

namespace keying {
namespace {

// The ring, the column weights and the groups' kinds of one run, released on every way out.
class RunMemory {
  public:
    RunMemory(KeyRun* run, const Memory& memory) : run_(run), memory_(memory) {}
    ~RunMemory() {
        ReleaseRing(&run_->ring, memory_);
        std::free(run_->columns.low);
        std::free(run_->groupKinds);
    }
    RunMemory(const RunMemory&) = delete;
    RunMemory& operator=(const RunMemory&) = delete;

    // The ring comes from the caller's memory and nothing else does.
    bool Reserve() {
        if (!ReserveRing(&run_->ring, run_->width, run_->finalRender, memory_)) return false;
        const std::size_t weights = static_cast<std::size_t>(run_->width) + kColumnPadding;
        GridColumns& columns = run_->columns;
        columns.low = static_cast<double*>(std::calloc(weights, 2 * sizeof(double) + sizeof(float)));
        const std::size_t kinds = kReservedRingRows * static_cast<std::size_t>(GroupRoom(run_->width));
        run_->groupKinds = static_cast<std::uint8_t*>(std::calloc(kinds, 1));
        if (columns.low == nullptr || run_->groupKinds == nullptr) return false;
        columns.high = columns.low + weights;
        columns.share = reinterpret_cast<float*>(columns.high + weights);
        return true;
    }

  private:
    KeyRun* run_;
    const Memory& memory_;
};

void PlaceColumns(std::int32_t width, GridColumns* columns) {
    std::int32_t cell = 0;
    columns->firstColumn[0] = 0;
    for (std::int32_t x = 0; x < width; ++x) {
        const GridPlace place = PlaceOnGrid(x, width);
        columns->low[x] = place.low;
        columns->high[x] = place.high;
        columns->share[x] = static_cast<float>(place.high);
        while (cell < place.cell) columns->firstColumn[++cell] = x;
    }
    while (cell < kGridSide - 1) columns->firstColumn[++cell] = width;
}

// Above 1 at 8 bits, larger for a darker backdrop. kEstimateWhite does not scale with the depth: at 16 bits
// the factor is a large negative number, and the first estimates of alpha depend on it.
double DarkGain(const Backdrop& backdrop) {
    return (1 - backdrop.meanG / kEstimateWhite) + 1;
}

KeyRun BeginRun(const Settings& settings, const Planes& planes, const Backdrop& backdrop) {
    KeyRun run = {};
    run.width = planes.width;
    run.height = planes.height;
    run.maxSample = planes.maxSample;
    run.levelScale = LevelScale(planes.maxSample);
    run.darkGain = DarkGain(backdrop);
    run.sAdjust = settings.backdropLevel;
    run.sRemove = settings.removeBackdrop;
    run.sBlack = settings.restoreDark;
    run.sAlter = settings.alterGreen;
    run.sSelect = settings.selectTransparency;
    run.sScale = settings.scaleTransparency;
    run.blueLogic = settings.blueBackdrop;
    run.orgPhoto = settings.showPhoto;
    run.showSelect = settings.showMatte;
    run.realityInteg = settings.blendEdges;
    run.outputAlpha = settings.outputAlpha;
    run.finalRender = settings.fullSize;
    run.selection = planes.selection;
    run.grid = &backdrop.grid;
    run.limits = MakeDerivedLimits(run);
    return run;
}

// Gives the row after the last one keyed: the height, or the row of the stop. Reports whenever more than a
// twentieth of the picture has been keyed since the last report.
template <class Sample>
std::int32_t KeyRows(const PlaneView<Sample>& view, const Progress& progress, KeyRun* run) {
    const Passes<Sample>& passes = PassesOf<Sample>(*ActiveVariant());
    RowRing& ring = run->ring;
    std::int32_t rowsSinceReport = 0;
    for (std::int32_t y = 0; y < run->height; ++y) {
        if (++ring.ringSlot >= ring.ringRows) ring.ringSlot = 0;
        if (++rowsSinceReport > run->height / 20) {
            if (progress.report != nullptr && progress.report(progress.context, y, run->height)) return y;
            rowsSinceReport = 0;
        }
        passes.processRow(*run, view, y);
    }
    return run->height;
}

template <class Sample>
KeyResult KeyAllRows(const Settings& settings, const Planes& planes, const Backdrop& backdrop,
                     const Progress& progress, const Memory& memory) {
    KeyRun run = BeginRun(settings, planes, backdrop);
    RunMemory runMemory(&run, memory);
    if (!runMemory.Reserve()) return {Status::kNoMemory, 0};
    PlaceColumns(run.width, &run.columns);
    KeyResult result = {Status::kDone, 0};
    result.rows = KeyRows<Sample>(LogicalView<Sample>(planes, run.blueLogic), progress, &run);
    if (result.rows < run.height) result.status = Status::kStopped;
    if (!run.showSelect && !run.realityInteg) {
        FlushRows<Sample>(run, NamedView<Sample>(planes));
        result.rows = run.height;  // after a stop too: the flush writes the last rows
    }
    if (run.realityInteg && !run.outputAlpha && BlendEdges(planes) != Status::kDone)
        result.status = Status::kUnblended;
    return result;
}

}  // namespace

KeyResult KeyPlanes(const Settings& settings, const Planes& planes, const Backdrop& backdrop,
                    const Progress& progress, const Memory& memory) {
    return WithSampleType(planes, [&](auto sample) {
        return KeyAllRows<decltype(sample)>(settings, planes, backdrop, progress, memory);
    });
}

}  // namespace keying

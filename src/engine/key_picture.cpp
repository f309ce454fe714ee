// The row loop of the keying: each turn brings one row into the ring and keys it, and then writes a finished
// row.
#include <cstdlib>

#include "engine/key_run.h"
#include "engine/keying.h"
#include "engine/samples.h"
#include "engine/scalar/fetch_and_key.h"
#include "engine/scalar/output.h"
#include "engine/variants.h"
#include "support/checked_heap.h"

namespace {

// The ring and the column weights of one run, given back on every way out.
struct RunMemory {
    explicit RunMemory(KeyRun* theRun) : run(theRun) {
        ReserveRing(&run->ring, run->width, run->finalRender);
        // From the plain heap: the checked heap's requests to the host are the ring's alone.
        const std::size_t weights = static_cast<std::size_t>(run->width) + kColumnPadding;
        run->columns.low = static_cast<double*>(std::calloc(weights, 2 * sizeof(double) + sizeof(float)));
        run->columns.high = run->columns.low + weights;
        run->columns.share = reinterpret_cast<float*>(run->columns.high + weights);
        const std::size_t kinds = kReservedRingRows * static_cast<std::size_t>(GroupRoom(run->width));
        run->groupKinds = static_cast<std::uint8_t*>(std::calloc(kinds, 1));
        if (run->columns.low == nullptr || run->groupKinds == nullptr) {
            Release();
            throw HeapFailure{memFullErr};
        }
    }
    ~RunMemory() { Release(); }
    RunMemory(const RunMemory&) = delete;
    RunMemory& operator=(const RunMemory&) = delete;

    void Release() {
        ReleaseRing(&run->ring);
        std::free(run->columns.low);
        std::free(run->groupKinds);
    }

    KeyRun* run;
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

// Above 1 at 8 bits, larger for a darker backdrop. The 255 is a literal: at 16 bits the factor is a large
// negative number, and the first estimates of alpha are meant to feel it.
double DarkGain(const Globals* globals) {
    return (1 - globals->backdropMeanG / 255) + 1;
}

KeyRun BeginRun(const Globals* globals) {
    KeyRun run = {};
    run.width = globals->planeWidth;
    run.height = globals->planeHeight;
    run.maxSample = globals->maxSample;
    run.levelScale = LevelScale(globals);
    run.darkGain = DarkGain(globals);
    run.sAdjust = globals->SliderAdjBGLevel;
    run.sRemove = globals->SliderRemoveGreen;
    run.sBlack = globals->SliderRestoreBlack;
    run.sAlter = globals->SliderAlterGreen;
    run.sSelect = globals->SliderSelectTransp;
    run.sScale = globals->SliderScaleTransp;
    run.blueLogic = globals->FlagBlueLogic != 0;
    run.orgPhoto = globals->FlagOrgPhoto != 0;
    run.showSelect = globals->FlagShowSelect != 0;
    run.realityInteg = globals->FlagRealityInteg != 0;
    run.outputAlpha = globals->FlagOutputAlpha != 0;
    run.finalRender = globals->finalRender != 0;
    if (run.finalRender && globals->docInfo->selection != nullptr) run.selection = globals->selectionPlane;
    run.limits = MakeDerivedLimits(run);
    return run;
}

// Reports about every twentieth of the picture, to the host in steps of 20 rows and in a full-size render
// only.
struct Progress {
    std::int32_t rowsSinceReport = 0;
    std::int32_t lastTick = 0;
};

std::int32_t Percent(std::int32_t y, std::int32_t height) {
    return height > 0 ? static_cast<std::int32_t>(std::int64_t{y} * 100 / height) : 100;
}

// True when the host wants to stop.
bool ReportRow(Globals* globals, const KeyRun& run, std::int32_t y, Progress* progress) {
    if (++progress->rowsSinceReport <= run.height / 20) return false;
    globals->progressPercent = Percent(y, run.height);
    if (run.finalRender && y / 20 != progress->lastTick) {
        progress->lastTick = y / 20;
        const FilterRecord* host = globals->filterParamBlock;
        if (host->progressProc != nullptr) host->progressProc(progress->lastTick, run.height / 20);
        if (host->abortProc != nullptr && host->abortProc()) return true;
    }
    progress->rowsSinceReport = 0;
    return false;
}

// Gives the row after the last one keyed: the height, or the row of the abort.
template <class Sample>
std::int32_t KeyRows(Globals* globals, KeyRun* run) {
    const Passes<Sample>& passes = PassesOf<Sample>(*ActiveVariant());
    Progress progress;
    RowRing& ring = run->ring;
    for (std::int32_t y = 0; y < run->height; ++y) {
        if (++ring.ringSlot >= ring.ringRows) ring.ringSlot = 0;
        if (ReportRow(globals, *run, y, &progress)) return y;
        passes.processRow(*run, globals, y);
    }
    return run->height;
}

template <class Sample>
void KeyAllRows(Globals* globals) {
    KeyRun run = BeginRun(globals);
    const RunMemory memory(&run);
    PlaceColumns(run.width, &run.columns);
    std::int32_t lastRow = KeyRows<Sample>(globals, &run);
    if (!run.showSelect && !run.realityInteg) {
        FlushRows<Sample>(run, globals);
        lastRow = run.height;  // after an abort too: the flush writes up to the end of the picture
    }
    if (run.realityInteg && !run.outputAlpha)
        sizeof(Sample) == 1 ? blendEdges8(globals) : blendEdges16(globals);
    globals->progressPercent = Percent(lastRow, run.height);
}

}  // namespace

void KeyPicture(Globals* globals) {
    if (globals->depthBytes == 1) {
        KeyAllRows<std::uint8_t>(globals);
    } else {
        KeyAllRows<std::uint16_t>(globals);
    }
}

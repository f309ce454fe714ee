// The row loop of the keying: each turn brings one row into the ring and keys it, and then writes a finished
// row.
#include <cstdlib>

#include "engine/key_run.h"
#include "engine/keying.h"
#include "engine/output.h"
#include "engine/pixel_pass.h"
#include "engine/samples.h"
#include "support/checked_heap.h"

namespace {

// The ring and the table of columns of one run, given back on every way out.
struct RunMemory {
    explicit RunMemory(KeyRun* theRun) : run(theRun) {
        ReserveRing(&run->ring, run->width, run->finalRender);
        // From the plain heap: the checked heap's requests to the host are the ring's alone.
        run->columns =
            static_cast<GridPlace*>(std::malloc(sizeof(GridPlace) * static_cast<std::size_t>(run->width)));
        if (run->columns == nullptr && run->width > 0) {
            ReleaseRing(&run->ring);
            throw HeapFailure{memFullErr};
        }
        for (std::int32_t x = 0; x < run->width; ++x) run->columns[x] = PlaceOnGrid(x, run->width);
    }
    ~RunMemory() {
        ReleaseRing(&run->ring);
        std::free(run->columns);
    }
    RunMemory(const RunMemory&) = delete;
    RunMemory& operator=(const RunMemory&) = delete;

    KeyRun* run;
};

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
    Progress progress;
    RowRing& ring = run->ring;
    for (std::int32_t y = 0; y < run->height; ++y) {
        if (++ring.ringSlot >= ring.ringRows) ring.ringSlot = 0;
        if (ReportRow(globals, *run, y, &progress)) return y;
        FetchRow<Sample>(*run, globals, y);
        KeyRow(*run, y);
        if (!run->realityInteg) {
            if (y >= ring.ringRadius) WriteRefinedRow<Sample>(*run, globals, y);
        } else if (!run->showSelect) {
            WriteDirectRow<Sample>(*run, globals, y);
        }
    }
    return run->height;
}

template <class Sample>
void KeyAllRows(Globals* globals) {
    KeyRun run = BeginRun(globals);
    const RunMemory memory(&run);
    const std::int32_t lastRow = KeyRows<Sample>(globals, &run);
    if (!run.showSelect && !run.realityInteg) FlushRows<Sample>(run, globals);
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

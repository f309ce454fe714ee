// The keying of all rows. Each turn brings a row into the ring, keys it and writes a finished row. Workers
// take bands of rows: each fills a ring of its own with the rows above its band first, so that the result is
// that of one row after the other.
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "engine/blend_edges.h"
#include "engine/constants.h"
#include "engine/derived_limits.h"
#include "engine/key_run.h"
#include "engine/keying.h"
#include "engine/samples.h"
#include "engine/scalar/fetch_and_key.h"
#include "engine/scalar/output.h"
#include "engine/variants.h"
#include "engine/workers.h"

namespace keying {
namespace {

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

// What a worker keys rows with: a ring of its own, and a row for fetched colours that nobody sees.
template <class Sample>
struct RowKeyer {
    KeyRun run;
    const Passes<Sample>* passes;
    PlaneView<Sample> planes;
    Sample* unseen;        // r, g and b of one row
    std::int32_t keyedTo;  // the ring holds the rows above, as many as it has
};

// The keyers of a run and what else it reserves, released on every way out.
template <class Sample>
struct Keying {
    Memory memory;  // of the first keyer's ring; nothing else comes from it
    RowKeyer<Sample> keyers[kMostWorkers] = {};
    std::int32_t count = 0;   // of keyers, one for each worker
    Sample* saved = nullptr;  // out rows as they were before a window
    std::int32_t savedRows = 0;

    explicit Keying(const Memory& ringMemory) : memory(ringMemory) {}
    Keying(const Keying&) = delete;
    Keying& operator=(const Keying&) = delete;
    ~Keying() {
        for (RowKeyer<Sample>& keyer : keyers) {
            ReleaseRing(&keyer.run.ring, &keyer == keyers ? memory : Memory{});
            std::free(keyer.run.groupKinds);
            std::free(keyer.unseen);
        }
        std::free(keyers[0].run.columns.low);  // all share them
        std::free(saved);
    }
};

// Reserves a keyer; false without memory.
template <class Sample>
bool ReserveKeyer(const KeyRun& run, const PlaneView<Sample>& planes, const Memory& memory,
                  RowKeyer<Sample>* keyer) {
    keyer->run = run;
    keyer->passes = &PassesOf<Sample>(*ActiveVariant());
    keyer->planes = planes;
    if (!ReserveRing(&keyer->run.ring, run.width, run.finalRender, memory)) return false;
    const std::size_t kinds = kReservedRingRows * static_cast<std::size_t>(GroupRoom(run.width));
    keyer->run.groupKinds = static_cast<std::uint8_t*>(std::calloc(kinds, 1));
    keyer->unseen =
        static_cast<Sample*>(std::calloc(static_cast<std::size_t>(run.width) + 1, 3 * sizeof(Sample)));
    return keyer->run.groupKinds != nullptr && keyer->unseen != nullptr;
}

bool ReserveColumns(std::int32_t width, GridColumns* columns) {
    const std::size_t weights = static_cast<std::size_t>(width) + kColumnPadding;
    columns->low = static_cast<double*>(std::calloc(weights, 2 * sizeof(double) + sizeof(float)));
    if (columns->low == nullptr) return false;
    columns->high = columns->low + weights;
    columns->share = reinterpret_cast<float*>(columns->high + weights);
    return true;
}

// Reserves what `wanted` workers need, or fewer; false without memory for one.
template <class Sample>
bool ReserveKeyers(const KeyRun& run, const PlaneView<Sample>& planes, std::int32_t wanted,
                   Keying<Sample>* keying) {
    RowKeyer<Sample>& first = keying->keyers[0];
    if (!ReserveKeyer(run, planes, keying->memory, &first) || !ReserveColumns(run.width, &first.run.columns))
        return false;
    PlaceColumns(run.width, &first.run.columns);
    for (keying->count = 1; keying->count < wanted; ++keying->count) {
        RowKeyer<Sample>& next = keying->keyers[keying->count];
        if (!ReserveKeyer(run, planes, {}, &next)) break;
        next.run.columns = first.run.columns;
    }
    return true;
}

// Keys row y into the ring. Where a refinement follows, its fetched colours reach the out planes if `seen`.
template <class Sample>
void KeyRow(RowKeyer<Sample>* keyer, std::int32_t y, bool seen) {
    KeyRun& run = keyer->run;
    PlaneView<Sample> row = ViewFrom(keyer->planes, std::int64_t{y} * run.width);
    if (!seen && !run.realityInteg) {
        Sample* const unseen = keyer->unseen;
        row.out = {unseen, unseen + run.width, unseen + 2 * std::int64_t{run.width}, nullptr};
    }
    run.ring.ringSlot = y % run.ring.ringRows;
    keyer->passes->keyRow(run, row, y);
    keyer->keyedTo = y + 1;
}

// Brings so many rows above y into the ring, as if all rows had been keyed one after the other. From seenFrom
// on their fetched colours reach the out planes.
template <class Sample>
void FillRing(RowKeyer<Sample>* keyer, std::int32_t y, std::int32_t rows, std::int32_t seenFrom) {
    const std::int32_t first = y - rows;
    for (std::int32_t above = first < 0 ? 0 : first; above < y; ++above)
        KeyRow(keyer, above, above >= seenFrom);
}

// Keys rows y to end, and writes the rows that are then finished. The refinement gets to the rows from
// seenFrom on later; they show their fetched colours.
template <class Sample>
void KeyBand(RowKeyer<Sample>* keyer, std::int32_t y, std::int32_t end, std::int32_t seenFrom) {
    const KeyRun& run = keyer->run;
    const bool refined = !run.realityInteg;
    if (refined && keyer->keyedTo != y) FillRing(keyer, y, 2 * run.ring.ringRadius, y);
    for (; y < end; ++y) {
        KeyRow(keyer, y, y >= seenFrom);
        const std::int32_t finished = refined ? y - run.ring.ringRadius : y;
        if (finished < 0 || (!refined && run.showSelect)) continue;
        if (refined)
            keyer->passes->refineRow(run, ViewFrom(keyer->planes, std::int64_t{finished} * run.width), y);
        restoreSelection(run, keyer->planes, finished);
    }
}

// Copies rows `first` to `end` of the out planes to their saved copy, or back.
enum class Copy { kSave, kRestore };
template <class Sample>
void CopyRows(const Keying<Sample>& keying, std::int32_t firstSaved, std::int64_t first, std::int64_t end,
              Copy way) {
    const PlaneView<Sample>& planes = keying.keyers[0].planes;
    const std::int64_t planeSize = std::int64_t{keying.savedRows} * planes.width;
    const std::size_t bytes = sizeof(Sample) * static_cast<std::size_t>((end - first) * planes.width);
    Sample* copy = keying.saved + (first - firstSaved) * planes.width;
    for (Sample* out : {planes.out.r, planes.out.g, planes.out.b, planes.out.a}) {
        Sample* const row = out + first * planes.width;
        std::memcpy(way == Copy::kSave ? copy : row, way == Copy::kSave ? row : copy, bytes);
        copy += planeSize;
    }
}

// Rows of a band: few, so that all workers end at the same time, but for the refinement many, since each of
// its bands begins with rows that are keyed twice.
constexpr std::int32_t kDirectRowsOfBand = 2;
constexpr std::int32_t kRefinedRowsOfBand = 128;
constexpr std::int32_t kRowsOfCopy = 16;

// What the workers key at a time: rows y to end. The next report is due at row `report`. A stop at a report
// within the window takes back what is below it: rows from firstSaved on are saved.
struct Window {
    std::int32_t y, end, report;
    std::int32_t firstSaved;
};

template <class Sample>
void KeyWindow(Keying<Sample>* keying, Workers* workers, const Window& window) {
    if (window.end > window.report) {
        ForBands(workers, window.end - window.firstSaved, kRowsOfCopy,
                 [&](std::int32_t, std::int64_t first, std::int64_t end) {
                     CopyRows(*keying, window.firstSaved, window.firstSaved + first, window.firstSaved + end,
                              Copy::kSave);
                 });
    }
    const KeyRun& run = keying->keyers[0].run;
    const std::int32_t rows = window.end - window.y, count = workers->Count();
    const std::int32_t band = run.realityInteg ? kDirectRowsOfBand : (rows + count - 1) / count;
    ForBands(workers, rows, band, [&](std::int32_t worker, std::int64_t first, std::int64_t end) {
        KeyBand(&keying->keyers[worker], window.y + static_cast<std::int32_t>(first),
                window.y + static_cast<std::int32_t>(end), window.end - run.ring.ringRadius);
    });
}

// Takes back what has been written from row `stop` on.
template <class Sample>
void TakeBack(Keying<Sample>* keying, const Window& window, std::int32_t stop) {
    if (stop == window.end) return;
    RowKeyer<Sample>* const keyer = &keying->keyers[0];
    const std::int32_t seenFrom = keyer->run.realityInteg ? stop : stop - keyer->run.ring.ringRadius;
    CopyRows(*keying, window.firstSaved, seenFrom, window.end, Copy::kRestore);
    if (!keyer->run.realityInteg) FillRing(keyer, stop, keyer->run.ring.ringRows, seenFrom);
}

// Gives the row after the last one keyed: the height, or the row of the stop. Reports whenever more than a
// twentieth of the picture has been keyed since the last report. A window reaches to the next report, or over
// several where all workers have too little to do in one of them.
template <class Sample>
std::int32_t KeyRows(const Progress& progress, Workers* workers, Keying<Sample>* keying) {
    const KeyRun& run = keying->keyers[0].run;
    const std::int32_t step = run.height / 20 + 1, radius = run.ring.ringRadius;
    const std::int32_t rowsOfBand = run.realityInteg ? kDirectRowsOfBand : kRefinedRowsOfBand;
    std::int32_t wanted = workers->Count() == 1 ? 0 : workers->Count() * rowsOfBand;
    if (progress.report != nullptr && wanted >= step) {
        keying->savedRows = wanted + radius;
        keying->saved = static_cast<Sample*>(
            std::malloc(4 * sizeof(Sample) * static_cast<std::size_t>(keying->savedRows) *
                        static_cast<std::size_t>(run.width)));
        if (keying->saved == nullptr) wanted = 0;
    }
    Window window = {0, 0, step - 1, 0};
    for (; window.y < run.height; window.y = window.end) {
        std::int32_t end = progress.report == nullptr ? run.height : window.report;
        while (end - window.y < wanted && end < run.height) end += step;
        window.end = end < run.height ? end : run.height;
        window.firstSaved = window.report - radius;
        if (progress.report == nullptr) window.report = run.height;
        KeyWindow(keying, workers, window);
        for (; window.report <= window.end && window.report < run.height; window.report += step) {
            if (!progress.report(progress.context, window.report, run.height)) continue;
            TakeBack(keying, window, window.report);
            return window.report;
        }
    }
    return run.height;
}

// The ring of a run that is stopped at its first report holds nothing but keyed rows.
constexpr std::int32_t kLowestShared = 20 * kReservedRingRows;

template <class Sample>
KeyResult KeyAllRows(const Settings& settings, const Planes& planes, const Backdrop& backdrop,
                     const Progress& progress, const Memory& memory) {
    const KeyRun run = BeginRun(settings, planes, backdrop);
    const std::int32_t wanted = WorkerCount(settings.workers, std::int64_t{run.width} * run.height);
    Keying<Sample> keying(memory);
    if (!ReserveKeyers(run, LogicalView<Sample>(planes, run.blueLogic),
                       run.height >= kLowestShared ? wanted : 1, &keying))
        return {Status::kNoMemory, 0};
    Workers workers(keying.count);
    KeyResult result = {Status::kDone, 0};
    result.rows = KeyRows(progress, &workers, &keying);
    if (result.rows < run.height) result.status = Status::kStopped;
    if (!run.showSelect && !run.realityInteg) {
        RowKeyer<Sample>& keyer = keying.keyers[0];
        if (keyer.keyedTo != result.rows) FillRing(&keyer, result.rows, keyer.run.ring.ringRows, result.rows);
        if (result.status == Status::kStopped)
            keyer.run.ring.ringSlot = result.rows % keyer.run.ring.ringRows;
        FlushRows<Sample>(keyer.run, NamedView<Sample>(planes));
        result.rows = run.height;  // after a stop too: the flush writes the last rows
    }
    if (run.realityInteg && !run.outputAlpha && BlendEdges(planes, &workers) != Status::kDone)
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

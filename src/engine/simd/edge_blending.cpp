// Edge blending with no copies of whole planes. The row pass keeps the parts of a row that it changes as they
// were. The column pass keeps the parts of the few rows that it has changed and may still read. The means of
// candidates side by side are in the lanes of vectors.
//
// The workers share the rows in bands. A worker of the column pass takes the candidates beside its band too,
// in the same order, writes only to its band, and reads the rows around it from copies made before the pass.
//
// Sums of samples times distances are whole numbers, exact in any order.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "engine/constants.h"
#include "engine/samples.h"
#include "engine/scalar/edge_blending.h"
#include "engine/simd/passes.h"
#include "engine/simd/vec.h"
#include "engine/simd/whole_numbers.h"

namespace keying::FROND_VARIANT {
namespace {

constexpr int kMostReach = 2 * kMostBlendRadius;  // samples read on either side of a candidate
constexpr int kKeptRows = 16;                     // a power of two above the rows y - 2 radius to y + radius
constexpr std::int64_t kRowsOfBand = 16;          // of the row pass
constexpr std::int64_t kFewestColumnRows =
    128;  // of a band of the column pass, and kMostColumnBands a worker
constexpr std::int64_t kMostColumnBands = 4;

constexpr std::uint8_t kRising = 1;
constexpr std::uint8_t kFalling = 2;

// What a worker blends with.
template <class Sample>
struct Blend {
    std::int64_t width, height;
    int radius;
    Sample halfMax;
    Sample* out[3];
    const Sample* alpha;
    double share[2 * kMostBlendRadius + 1];  // f of each written sample
    Sample* kept;                            // kKeptRows rows of three channels
    std::int64_t* keptRow;  // of each block of columns: the picture row that each holds there, or -1
    Band band;              // the rows that it may change
    const Sample* borders;  // the rows around the end of each band but the last, as they were
    std::int64_t bandRows;  // of each band but the last
};

// Rows on either side of a border between two bands that candidates of the other side read.
template <class Sample>
std::int64_t BorderReach(const Blend<Sample>& blend) {
    return 3 * blend.radius;
}

// Row y of the copy around a border.
template <class Sample>
std::int64_t BorderIndex(const Blend<Sample>& blend, std::int64_t border, std::int64_t y, int channel) {
    const std::int64_t reach = BorderReach(blend), n = border / blend.bandRows - 1;
    return ((n * 2 * reach + y - (border - reach)) * 3 + channel) * blend.width;
}

template <class Sample>
Sample* KeptRow(const Blend<Sample>& blend, std::int64_t y, int channel) {
    return blend.kept + ((y & (kKeptRows - 1)) * 3 + channel) * blend.width;
}

// Keeps the columns first to end - 1 of a row.
template <class Sample>
void Keep(const Blend<Sample>& blend, std::int64_t y, std::int64_t first, std::int64_t end) {
    for (int c = 0; c < 3; ++c) {
        std::memcpy(KeptRow(blend, y, c) + first, blend.out[c] + y * blend.width + first,
                    sizeof(Sample) * static_cast<std::size_t>(end - first));
    }
}

// The number of keptRow for row y and the block of columns that begins at `first`.
template <class Sample>
std::int64_t* HeldRow(const Blend<Sample>& blend, std::int64_t y, std::int64_t first) {
    return &blend.keptRow[first / kBlock * kKeptRows + (y & (kKeptRows - 1))];
}

// Keeps the n columns of a block before the column pass changes them.
template <class Sample>
void KeepBlock(const Blend<Sample>& blend, std::int64_t y, std::int64_t first, int n) {
    std::int64_t* holds = HeldRow(blend, y, first);
    if (*holds == y) return;
    *holds = y;
    Keep(blend, y, first, first + n);
}

// The row as it was before the column pass. Only the columns of the block that begins at `first` count.
template <class Sample>
const Sample* RowBefore(const Blend<Sample>& blend, std::int64_t y, std::int64_t first, int channel) {
    if (y < blend.band.first) return blend.borders + BorderIndex(blend, blend.band.first, y, channel);
    if (y >= blend.band.end) return blend.borders + BorderIndex(blend, blend.band.end, y, channel);
    return *HeldRow(blend, y, first) == y ? KeptRow(blend, y, channel) : blend.out[channel] + y * blend.width;
}

// How many numbers keptRow has.
std::int64_t KeptNumbers(std::int64_t width) {
    return (width + kBlock - 1) / kBlock * kKeptRows;
}

template <class Sample>
void ForgetRows(const Blend<Sample>& blend) {
    for (std::int64_t i = 0; i < KeptNumbers(blend.width); ++i) blend.keptRow[i] = -1;
}

// Marks which of n pixels are candidates along a row, and as what; gives whether there is any. A points at
// the alpha of the first, and two samples on either side are there.
template <class Sample>
bool MarkRow(const Sample* A, int n, std::uint8_t* marks) {
    constexpr int kLevel = kAlphaEdgeLevel;
    std::uint8_t any = 0;
    for (int i = 0; i < n; ++i) {
        const bool rising =
            ((A[i - 1] < kLevel) & (A[i + 1] > kLevel)) | ((A[i - 2] < kLevel) & (A[i + 2] > kLevel));
        const bool falling =
            ((A[i - 1] > kLevel) & (A[i + 1] < kLevel)) | ((A[i - 2] > kLevel) & (A[i + 2] < kLevel));
        marks[i] = static_cast<std::uint8_t>((rising ? kRising : 0) | (falling ? kFalling : 0));
        any |= marks[i];
    }
    return any != 0;
}

// The same along a column; a candidate whose own alpha is below half is refused, since the validity test of
// this pass asks nothing else and both sides of a candidate are always there.
template <class Sample>
bool MarkColumn(const Sample* A, std::int64_t W, Sample halfMax, int n, std::uint8_t* marks) {
    constexpr int kLevel = kAlphaEdgeLevel;
    std::uint8_t any = 0;
    for (int i = 0; i < n; ++i) {
        const bool rising = ((A[i - W] < kLevel) | (A[i - 2 * W] < kLevel)) & (A[i + W] > kLevel);
        const bool falling = (A[i - W] > kLevel) & ((A[i + W] < kLevel) | (A[i + 2 * W] < kLevel));
        marks[i] = ((rising | falling) & (A[i] >= halfMax)) ? 1 : 0;
        any |= marks[i];
    }
    return any != 0;
}

// The first marked place from i on, or n. Candidates are few: eight places are passed at a time.
int NextMark(const std::uint8_t* marks, int i, int n) {
    for (std::uint64_t eight = 0; i + 8 <= n; i += 8) {
        std::memcpy(&eight, marks + i, sizeof eight);
        if (eight != 0) break;
    }
    while (i < n && marks[i] == 0) ++i;
    return i;
}

// Offsets to the line's ends, held to the reach.
struct Reach {
    int before, after;
};

Reach ReachOf(std::int64_t position, std::int64_t length, int reach) {
    return {static_cast<int>(Min<std::int64_t>(position, reach)),
            static_cast<int>(Min<std::int64_t>(length - 1 - position, reach))};
}

int SumTo(int n) {
    return n * (n + 1) / 2;
}

template <class Sample>
bool RefusesRow(const Blend<Sample>& blend, const Sample* A, std::uint8_t mark, const Reach& reach) {
    if (mark & kRising) {
        for (int o = 1; o <= reach.after; ++o) {
            if (A[o] < blend.halfMax) return true;
        }
    }
    if (mark & kFalling) {
        for (int o = 1; o <= reach.before; ++o) {
            if (A[-o] < blend.halfMax) return true;
        }
    }
    return false;
}

struct Means {
    Doubles before, after;
};

// The means of one channel on both sides of n neighbouring pixels with the same reach, weighted by distance.
// read(o): the n samples at distance o as they were before the pass. The sum of the running sums has each
// sample as often as its distance.
template <class Read>
inline Means MeansWithin(const Reach& reach, int n, Read read) {
    Doubles samples = 0, before = 0;
    for (int o = reach.before; o >= 1; --o) {
        samples = samples + LoadSamples(read(-o), n);
        before = before + samples;
    }
    samples = 0;
    Doubles after = 0;
    for (int o = reach.after; o >= 1; --o) {
        samples = samples + LoadSamples(read(o), n);
        after = after + samples;
    }
    return {before / SumTo(reach.before), after / SumTo(reach.after)};
}

// Most candidates of a large picture are far from the ends of their lines, and loops of a fixed length are
// faster.
template <class Read>
Means MeansOf(const Reach& reach, int n, Read read) {
    constexpr Reach kFull = {kMostReach, kMostReach};
    const bool full = reach.before == kMostReach && reach.after == kMostReach && n == kDoubles;
    return full ? MeansWithin(kFull, kDoubles, read) : MeansWithin(reach, n, read);
}

// Takes the marks of refused candidates away; gives whether others are left.
template <class Sample>
bool RefuseInRow(const Blend<Sample>& blend, const Sample* A, std::int64_t first, int n,
                 std::uint8_t* marks) {
    bool any = false;
    for (int i = NextMark(marks, 0, n); i < n; i = NextMark(marks, i + 1, n)) {
        const Reach reach = ReachOf(first + i, blend.width, 2 * blend.radius);
        if (RefusesRow(blend, A + i, marks[i], reach)) {
            marks[i] = 0;
        } else {
            any = true;
        }
    }
    return any;
}

// The means of three channels for kDoubles neighbouring pixels of a row.
struct RowMeans {
    double before[3][kDoubles], after[3][kDoubles];
};

template <class Sample>
void BlendRowBlock(const Blend<Sample>& blend, std::int64_t y, std::int64_t first, int n,
                   std::int64_t* keptEnd) {
    std::uint8_t marks[kBlock];
    const Sample* A = blend.alpha + y * blend.width + first;
    if (!MarkRow(A, n, marks) || !RefuseInRow(blend, A, first, n, marks)) return;
    // What the block before has kept may be changed by now.
    const std::int64_t end = Min(first + n + kMostReach + kDoubles, blend.width);
    Keep(blend, y, Max(*keptEnd, first - kMostReach), end);
    *keptEnd = end;
    const int radius = blend.radius;
    RowMeans means;
    for (int i = NextMark(marks, 0, n), next, group = 0, lanes = 0; i < n; i = next) {
        const std::int64_t x = first + i;
        const Reach reach = ReachOf(x, blend.width, 2 * radius);
        if (i >= group + lanes) {
            // Near the row's ends each pixel has a reach of its own.
            group = i;
            lanes = x >= 2 * radius && x + kDoubles + 2 * radius <= blend.width ? kDoubles : 1;
            for (int c = 0; c < 3; ++c) {
                const Sample* work = KeptRow(blend, y, c) + x;
                const Means found = MeansOf(reach, lanes, [work](int o) { return work + o; });
                Store(means.before[c], found.before);
                Store(means.after[c], found.after);
            }
        }
        // What the next candidate writes too is left to it. What is between two means of samples is in a
        // sample's range.
        next = NextMark(marks, i + 1, n);
        const int from = -Min(radius, reach.before), last = Min(radius, reach.after);
        const int to = next < n ? Min(last, next - i - radius - 1) : last;
        for (int c = 0; c < 3; ++c) {
            const double before = means.before[c][i - group], after = means.after[c][i - group];
            Sample* out = blend.out[c] + y * blend.width + x;
            for (int o = from; o <= to; ++o) {
                const double f = blend.share[o + radius];
                out[o] = static_cast<Sample>((1 - f) * before + after * f);
            }
        }
    }
}

template <class Sample>
void BlendAlongRows(const Blend<Sample>& blend, Band rows) {
    for (std::int64_t y = rows.first; y < rows.end; ++y) {
        std::int64_t keptEnd = 0;
        for (std::int64_t x = 2; x < blend.width - 2; x += kBlock) {
            const std::int64_t left = blend.width - 2 - x;
            BlendRowBlock(blend, y, x, static_cast<int>(Min<std::int64_t>(left, kBlock)), &keptEnd);
        }
    }
}

template <class Sample>
void BlendColumnBlock(const Blend<Sample>& blend, std::int64_t y, std::int64_t first, int n) {
    std::uint8_t marks[kBlock + kDoubles] = {};
    const Sample* A = blend.alpha + y * blend.width + first;
    if (!MarkColumn(A, blend.width, blend.halfMax, n, marks)) return;

    const Reach reach = ReachOf(y, blend.height, 2 * blend.radius);
    // Beside the band one of the two is below 0.
    const Reach writes = {static_cast<int>(Min<std::int64_t>(blend.radius, y - blend.band.first)),
                          static_cast<int>(Min<std::int64_t>(blend.radius, blend.band.end - 1 - y))};
    for (int o = -writes.before; o <= writes.after; ++o) KeepBlock(blend, y + o, first, n);
    const Sample* rows[3][2 * kMostReach + 1];
    for (int c = 0; c < 3; ++c) {
        for (int o = -reach.before; o <= reach.after; ++o)
            rows[c][kMostReach + o] = RowBefore(blend, y + o, first, c);
    }
    // Candidates of the next row are often near, and read one row more.
    const std::int64_t ahead = Min<std::int64_t>(2 * blend.radius + 1, blend.height - 1 - y) * blend.width;
    for (int i = NextMark(marks, 0, n), lanes; i < n; i = NextMark(marks, i + lanes, n)) {
        const std::int64_t x = first + i;
        lanes = static_cast<int>(Min<std::int64_t>(kDoubles, blend.width - x));
        const DoubleMask marked = 0.0 < LoadSamples(marks + i, lanes);
        for (int c = 0; c < 3; ++c) {
            const Sample* const* row = rows[c] + kMostReach;
            const Means means = MeansOf(reach, lanes, [row, x](int o) { return row[o] + x; });
            Sample* out = blend.out[c] + y * blend.width + x;
            __builtin_prefetch(out + ahead);
            for (int o = -writes.before; o <= writes.after; ++o) {
                const double f = blend.share[o + blend.radius];
                Sample* p = out + o * blend.width;
                const Doubles blended = (1 - f) * means.before + means.after * f;
                StoreSamples(p, Select(marked, blended, LoadSamples(p, lanes)), lanes);
            }
        }
    }
}

template <class Sample>
void BlendAlongColumns(Blend<Sample>* blend, Band rows) {
    ForgetRows(*blend);
    blend->band = rows;
    const std::int64_t end = Min(rows.end + blend->radius, blend->height - 2);
    for (std::int64_t y = Max<std::int64_t>(rows.first - blend->radius, 2); y < end; ++y) {
        for (std::int64_t x = 0; x < blend->width; x += kBlock) {
            const std::int64_t left = blend->width - x;
            BlendColumnBlock(*blend, y, x, static_cast<int>(Min<std::int64_t>(left, kBlock)));
        }
    }
}

template <class Sample>
Blend<Sample> BeginBlend(const PlaneView<Sample>& planes) {
    Blend<Sample> blend = {};
    blend.width = planes.width;
    blend.height = planes.height;
    blend.radius = BlendRadius(planes.width);
    blend.halfMax = static_cast<Sample>(planes.maxSample / 2);
    blend.out[0] = planes.out.r;
    blend.out[1] = planes.out.g;
    blend.out[2] = planes.out.b;
    blend.alpha = planes.out.a;
    for (int t = 0; t <= 2 * blend.radius; ++t) blend.share[t] = static_cast<double>(t) / (2 * blend.radius);
    blend.band = {0, blend.height};
    blend.bandRows = blend.height;
    return blend;
}

// Copies the rows around a border, as the row pass has left them.
template <class Sample>
void CopyBorder(const Blend<Sample>& blend, std::int64_t border, Sample* borders) {
    const std::int64_t reach = BorderReach(blend), end = Min(border + reach, blend.height);
    for (std::int64_t y = border - reach; y < end; ++y) {
        for (int c = 0; c < 3; ++c) {
            std::memcpy(borders + BorderIndex(blend, border, y, c), blend.out[c] + y * blend.width,
                        sizeof(Sample) * static_cast<std::size_t>(blend.width));
        }
    }
}

// The column pass in bands, or in one without memory for their borders.
template <class Sample>
void BlendInColumnBands(Blend<Sample>* blends, Workers* workers) {
    const std::int64_t height = blends[0].height, bands = kMostColumnBands * workers->Count();
    std::int64_t rows = Max(kFewestColumnRows, (height + bands - 1) / bands);
    if (workers->Count() == 1 || rows > height) rows = height;
    const std::int64_t count = (height - 1) / rows;
    for (std::int32_t i = 0; i < workers->Count(); ++i) blends[i].bandRows = rows;
    Sample* borders = nullptr;
    if (count > 0) {
        const std::int64_t samples = count * 2 * BorderReach(blends[0]) * 3 * blends[0].width;
        borders = static_cast<Sample*>(std::malloc(sizeof(Sample) * static_cast<std::size_t>(samples)));
        if (borders == nullptr) rows = height;
    }
    if (borders != nullptr) {
        ForBands(workers, count, 1, [&](std::int32_t, std::int64_t n, std::int64_t) {
            CopyBorder(blends[0], (n + 1) * rows, borders);
        });
        for (std::int32_t i = 0; i < workers->Count(); ++i) blends[i].borders = borders;
    }
    ForBands(workers, height, rows, [&](std::int32_t worker, std::int64_t first, std::int64_t end) {
        BlendAlongColumns(&blends[worker], {first, end});
    });
    std::free(borders);
}

}  // namespace

template <class Sample>
bool BlendColours(const PlaneView<Sample>& planes, Workers* workers) {
    Blend<Sample> blends[kMostWorkers];
    const std::size_t numbers = static_cast<std::size_t>(KeptNumbers(planes.width));
    const std::size_t samples = 3 * kKeptRows * static_cast<std::size_t>(planes.width);
    const std::size_t bytes = sizeof(std::int64_t) * numbers + sizeof(Sample) * samples;
    const std::size_t count = static_cast<std::size_t>(workers->Count());
    char* const kept = static_cast<char*>(std::malloc(bytes * count));
    if (kept == nullptr) return false;
    for (std::size_t i = 0; i < count; ++i) {
        blends[i] = BeginBlend(planes);
        blends[i].keptRow = reinterpret_cast<std::int64_t*>(kept + i * bytes);
        blends[i].kept = reinterpret_cast<Sample*>(blends[i].keptRow + numbers);
    }
    ForBands(workers, planes.height, kRowsOfBand,
             [&](std::int32_t worker, std::int64_t first, std::int64_t end) {
                 BlendAlongRows(blends[worker], {first, end});
             });
    BlendInColumnBands(blends, workers);
    std::free(kept);
    return true;
}

template bool BlendColours(const PlaneView<std::uint8_t>&, Workers*);
template bool BlendColours(const PlaneView<std::uint16_t>&, Workers*);

}  // namespace keying::FROND_VARIANT

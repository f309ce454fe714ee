// The backdrop grid in whole numbers. A pixel that they do not decide goes to the scalar reference.
#include "engine/scalar/backdrop_grid.h"

#include <cmath>
#include <cstdint>

#include "engine/constants.h"
#include "engine/samples.h"
#include "engine/simd/passes.h"
#include "engine/simd/vec.h"
#include "engine/simd/whole_numbers.h"

namespace keying::FROND_VARIANT {
namespace {

// With the key channel largest, the hue is kKeyHue + kHueSector (b - r) / delta. The ratio is between -1 and
// 1. A limit of the hue thus is one of kTurn (b - r) / delta, between two whole numbers. A pixel that is
// between them is undecided. Products of 8 bits are exact. Those of 16 bits are rounded by their 2^24th part,
// which is 0.002 of such a number at most; the scalar reference's rounding is far smaller.
template <class Sample>
constexpr int kTurn = sizeof(Sample) == 1 ? 128 : 32768;
constexpr double kTurnMargin = 0.01;

template <class Sample>
Whole<Sample> TurnOf(double hue, double margin) {
    const double turn = (hue - kKeyHue) * kTurn<Sample> / kHueSector + margin;
    const double whole = margin < 0 ? std::floor(turn) : std::ceil(turn);
    return static_cast<typename WholeOf<Sample>::Number>(
        Min<double>(Max<double>(whole, -kTurn<Sample>), kTurn<Sample>));
}

// The columns of one cell.
struct Columns {
    std::int64_t first, end;
};

// Adds the pixels of a cell that are in a band of rows.
template <class Sample>
void AddCell(const PlaneView<Sample>& planes, const GridLimits& limits, Band rows, Columns columns,
             std::int64_t cell, BackdropGrid* grid) {
    using Lanes = Whole<Sample>;
    using Number = typename WholeOf<Sample>::Number;
    const auto same = [](double v) { return Lanes(static_cast<Number>(v)); };
    const Lanes most = same(planes.maxSample), smallest = same(std::floor(limits.smallestLevel));
    const double from = limits.levelHue - kGridHueRange, to = limits.levelHue + kGridHueRange;
    const Lanes surelyFrom = TurnOf<Sample>(from, kTurnMargin),
                possiblyFrom = TurnOf<Sample>(from, -kTurnMargin);
    const Lanes surelyTo = TurnOf<Sample>(to, -kTurnMargin), possiblyTo = TurnOf<Sample>(to, kTurnMargin);
    const std::int64_t pixels = std::int64_t{planes.width} * planes.height;
    Lanes sumR = 0, sumG = 0, sumB = 0, count = 0;
    int added = 0;
    const auto addSums = [&] {
        grid->gridR[cell] += SumOf(sumR);
        grid->gridG[cell] += SumOf(sumG);
        grid->gridB[cell] += SumOf(sumB);
        grid->gridCount[cell] += static_cast<std::int32_t>(SumOf(count));
        sumR = sumG = sumB = count = 0;
        added = 0;
    };
    // The pixels from index i on.
    const auto add = [&](std::int64_t i, Lanes R, Lanes seenG, Lanes B) {
        const Lanes G = Min(seenG, most), delta = G - Min(R, B), lead = G - Max(R, B);
        const auto candidate =
            (lead > same(kGridLead)) & (delta * same(kGridInverseSat) > G) & (G > smallest);
        if (!Any(candidate)) return;
        const Lanes turn = (B - R) * same(kTurn<Sample>);
        const auto inside = candidate & (turn > surelyFrom * delta) & (turn < surelyTo * delta);
        const auto possible = candidate & (turn > possiblyFrom * delta) & (turn < possiblyTo * delta);
        sumR = sumR + Only(inside, R);
        sumG = sumG + Only(inside, G);
        sumB = sumB + Only(inside, B);
        count = count + Only(inside, 1);
        unsigned undecided = Bits(possible & !inside);
        for (int lane = 0; undecided != 0; ++lane, undecided >>= 1) {
            if (undecided & 1)
                AddIfBackdrop(FetchLimited(planes.top, i + lane, planes.maxSample), limits, cell, grid);
        }
        if (++added == kMostAdded) addSums();
    };
    const Channels<const Sample>& top = planes.top;
    for (std::int64_t y = rows.first; y < rows.end; ++y) {
        std::int64_t i = y * planes.width + columns.first;
        const std::int64_t end = y * planes.width + columns.end;
        for (; end - i >= kWhole<Sample>; i += kWhole<Sample>)
            add(i, LoadWhole(top.r + i), LoadWhole(top.g + i), LoadWhole(top.b + i));
        if (i == end) continue;
        // The last pixels of the row. Those of the next cell get a key channel of 0 and are no candidates.
        const auto inCell = FirstLanes<Number>(static_cast<int>(end - i));
        const std::int64_t inPlane = pixels - i;
        add(i, LoadWhole(top.r + i, inPlane), Only(inCell, LoadWhole(top.g + i, inPlane)),
            LoadWhole(top.b + i, inPlane));
    }
    addSums();
}

// The first column or row whose x * kGridSide / size is the cell, or the next cell's where there is none.
std::int64_t FirstOf(std::int64_t cell, std::int64_t size) {
    return (cell * size + kGridSide - 1) / kGridSide;
}

}  // namespace

template <class Sample>
void AddGridPixels(const PlaneView<Sample>& planes, const GridLimits& limits, Band rows, BackdropGrid* grid) {
    constexpr std::int64_t kRows = 16;  // at a time: more would leave the first cache before the next cell
    const std::int64_t width = planes.width, height = planes.height;
    for (std::int64_t y = rows.first, end = y; y < rows.end; y = end) {
        const std::int64_t cellRow = y * kGridSide / height;
        end = Min(Min(rows.end, y + kRows), FirstOf(cellRow + 1, height));
        for (std::int64_t column = 0; column < kGridSide; ++column) {
            AddCell(planes, limits, {y, end}, {FirstOf(column, width), FirstOf(column + 1, width)},
                    cellRow * kGridSide + column, grid);
        }
    }
}

template void AddGridPixels(const PlaneView<std::uint8_t>&, const GridLimits&, Band, BackdropGrid*);
template void AddGridPixels(const PlaneView<std::uint16_t>&, const GridLimits&, Band, BackdropGrid*);

}  // namespace keying::FROND_VARIANT

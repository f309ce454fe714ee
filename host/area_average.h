// Scaling by area: a destination sample is the mean of the source under it, exact and rounded to nearest.
#pragma once

#include <cstdint>

namespace host {

// One channel's samples, rows from the top; distances count samples.
template <typename Sample>
struct SourcePixels {
    const Sample* first;  // of the area that is scaled
    std::int64_t rowStride;
    std::int64_t rows, columns;  // at least 1
};

// Where the samples go, at any byte distances. The destination as a whole has `rows` by `columns` samples, of
// which those from firstRow and firstColumn on are delivered: `data` is the address of the first delivered.
struct ScaledTarget {
    std::uint8_t* data;
    std::int64_t rowBytes, columnBytes;
    std::int64_t rows, columns;  // of the whole; they fix the scale
    std::int64_t firstRow, firstColumn;
    std::int64_t deliveredRows, deliveredColumns;
};

// Shrinks or enlarges, each direction by itself. A destination sample covers columns / target.columns source
// columns and likewise rows, fractions included; an even split rounds up.
void ScaleByArea(const SourcePixels<std::uint8_t>& source, const ScaledTarget& target);
void ScaleByArea(const SourcePixels<std::uint16_t>& source, const ScaledTarget& target);

}  // namespace host

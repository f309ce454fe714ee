// Area scaling: a destination sample is the exact mean of its source area, rounded to nearest.
#pragma once

#include <cstdint>

namespace host {

// One channel's samples, top row first; the stride is in samples.
template <typename Sample>
struct SourcePixels {
    const Sample* first;  // of the area to scale
    std::int64_t rowStride;
    std::int64_t rows, columns;  // at least 1
};

// The whole destination has `rows` by `columns` samples. Of these, deliveredRows by deliveredColumns from
// firstRow and firstColumn on are written to `data`, with any strides in bytes.
struct ScaledTarget {
    std::uint8_t* data;
    std::int64_t rowBytes, columnBytes;
    std::int64_t rows, columns;  // of the whole destination
    std::int64_t firstRow, firstColumn;
    std::int64_t deliveredRows, deliveredColumns;
};

// Shrinks or enlarges each direction separately. A destination sample covers columns / target.columns source
// columns, and rows alike, with fractions. Ties round up.
void ScaleByArea(const SourcePixels<std::uint8_t>& source, const ScaledTarget& target);
void ScaleByArea(const SourcePixels<std::uint16_t>& source, const ScaledTarget& target);

}  // namespace host

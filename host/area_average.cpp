#include "host/area_average.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace host {

namespace {

// The part of a line of `source` samples that destination sample `index` of `count` covers. In units of
// 1/count of a sample this is the range from index * source to (index + 1) * source. All weights are
// integers; those of one destination sample sum to `source`.
struct Span {
    std::int64_t first, last;  // source samples
    // The samples between have the weight `count`. lastWeight is 0 if first is last.
    std::int64_t firstWeight, lastWeight;
};

Span SpanFor(std::int64_t index, std::int64_t count, std::int64_t source) {
    const std::int64_t begin = index * source;
    const std::int64_t end = begin + source;
    Span span;
    span.first = begin / count;
    span.last = (end - 1) / count;
    if (span.first == span.last) {
        span.firstWeight = source;
        span.lastWeight = 0;
    } else {
        span.firstWeight = (span.first + 1) * count - begin;
        span.lastWeight = end - span.last * count;
    }
    return span;
}

template <typename Sample>
void AddRow(const Sample* row, const std::vector<Span>& columns, std::uint64_t inner, std::uint64_t rowWeight,
            std::vector<std::uint64_t>& sums) {
    for (std::size_t x = 0; x < columns.size(); ++x) {
        const Span& span = columns[x];
        std::uint64_t middle = 0;
        for (std::int64_t i = span.first + 1; i < span.last; ++i) middle += row[i];
        const std::uint64_t edges = static_cast<std::uint64_t>(span.firstWeight) * row[span.first] +
                                    static_cast<std::uint64_t>(span.lastWeight) * row[span.last];
        sums[x] += (edges + middle * inner) * rowWeight;
    }
}

template <typename Sample>
void Scale(const SourcePixels<Sample>& source, const ScaledTarget& target) {
    std::vector<Span> columns;
    columns.reserve(static_cast<std::size_t>(target.deliveredColumns));
    for (std::int64_t x = 0; x < target.deliveredColumns; ++x) {
        columns.push_back(SpanFor(target.firstColumn + x, target.columns, source.columns));
    }
    // The sums fit 64 bits for 16-bit samples and up to 2^47 pixels.
    const std::uint64_t total =
        static_cast<std::uint64_t>(source.rows) * static_cast<std::uint64_t>(source.columns);
    const std::uint64_t innerColumn = static_cast<std::uint64_t>(target.columns);
    std::vector<std::uint64_t> sums(columns.size());

    for (std::int64_t y = 0; y < target.deliveredRows; ++y) {
        const Span rows = SpanFor(target.firstRow + y, target.rows, source.rows);
        std::fill(sums.begin(), sums.end(), 0);
        for (std::int64_t row = rows.first; row <= rows.last; ++row) {
            const std::int64_t weight = row == rows.first  ? rows.firstWeight
                                        : row == rows.last ? rows.lastWeight
                                                           : target.rows;
            AddRow(source.first + row * source.rowStride, columns, innerColumn,
                   static_cast<std::uint64_t>(weight), sums);
        }
        std::uint8_t* out = target.data + y * target.rowBytes;
        for (std::size_t x = 0; x < sums.size(); ++x, out += target.columnBytes) {
            const Sample sample = static_cast<Sample>((sums[x] + total / 2) / total);
            std::memcpy(out, &sample, sizeof sample);
        }
    }
}

}  // namespace

void ScaleByArea(const SourcePixels<std::uint8_t>& source, const ScaledTarget& target) {
    Scale(source, target);
}

void ScaleByArea(const SourcePixels<std::uint16_t>& source, const ScaledTarget& target) {
    Scale(source, target);
}

}  // namespace host

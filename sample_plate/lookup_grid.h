// Smooth values, computed on a grid over the picture and interpolated: the cost does not grow with the
// picture.
#pragma once

#include <vector>

#include "sample_plate/parallel.h"
#include "sample_plate/vectors.h"

namespace sample_plate {

struct GridShape {
    int columns = 0, rows = 0;
    float step = 0;  // distance of two points, in picture heights
    float left = 0;  // x of the first column; the first row is at y 0
};

// A grid over a picture of the given aspect ratio (width / height) with `rows` rows per picture height.
inline GridShape MakeGridShape(int rows, float aspect) {
    const float step = 1 / static_cast<float>(rows);
    return {static_cast<int>(aspect / step) + 2, rows + 2, step, -aspect / 2};
}

template <typename Value>
using GridValues = std::vector<Value>;

// Computes measure(point) for each point, on all cores.
template <typename Value, typename Measure>
GridValues<Value> FillGrid(const GridShape& shape, const Measure& measure) {
    GridValues<Value> values(static_cast<std::size_t>(shape.columns) * static_cast<std::size_t>(shape.rows));
    ForEachRow(shape.rows, [&](int row) {
        for (int column = 0; column < shape.columns; ++column) {
            const Vec2 at{shape.left + static_cast<float>(column) * shape.step,
                          static_cast<float>(row) * shape.step};
            values[static_cast<std::size_t>(row) * static_cast<std::size_t>(shape.columns) +
                   static_cast<std::size_t>(column)] = measure(at);
        }
    });
    return values;
}

// The grid cell around a point, and the point's position in it, 0 to 1.
struct GridCell {
    std::size_t at;
    float fx, fy;
};

inline GridCell CellAt(const GridShape& shape, Vec2 at) {
    const float x = std::min(std::max((at.x - shape.left) / shape.step, 0.0f),
                             static_cast<float>(shape.columns) - 1.001f);
    const float y = std::min(std::max(at.y / shape.step, 0.0f), static_cast<float>(shape.rows) - 1.001f);
    const int ix = static_cast<int>(x), iy = static_cast<int>(y);
    return {
        static_cast<std::size_t>(iy) * static_cast<std::size_t>(shape.columns) + static_cast<std::size_t>(ix),
        x - static_cast<float>(ix), y - static_cast<float>(iy)};
}

template <typename Value>
Value Interpolate(const GridValues<Value>& values, const GridShape& shape, const GridCell& cell) {
    const Value* v = values.data() + cell.at;
    return Mix(Mix(v[0], v[1], cell.fx), Mix(v[shape.columns], v[shape.columns + 1], cell.fx), cell.fy);
}

}  // namespace sample_plate

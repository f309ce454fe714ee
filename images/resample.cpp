#include "images/resample.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace images {

namespace {

constexpr double kLobes = 3;

double Lanczos(double x) {
    constexpr double kPi = 3.14159265358979323846;
    if (std::fabs(x) < 1e-9) return 1;
    if (std::fabs(x) >= kLobes) return 0;
    return kLobes * std::sin(kPi * x) * std::sin(kPi * x / kLobes) / (kPi * kPi * x * x);
}

// The source samples of one target sample, and their weights, whose sum is 1.
struct Taps {
    int first;
    std::vector<float> weights;
};

// The taps of `count` target samples that cover [from, from + length) of `size` source samples. The outermost
// samples are repeated beyond the ends.
std::vector<Taps> MakeTaps(int size, int count, double from, double length) {
    const double ratio = length / count;           // source samples per target sample
    const double widening = std::max(1.0, ratio);  // a reduction needs a wider filter
    std::vector<Taps> all(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const double centre = from + (i + 0.5) * ratio - 0.5;
        const int first = static_cast<int>(std::ceil(centre - kLobes * widening));
        const int last = static_cast<int>(std::floor(centre + kLobes * widening));
        Taps& taps = all[static_cast<std::size_t>(i)];
        taps.first = std::clamp(first, 0, size - 1);
        taps.weights.assign(static_cast<std::size_t>(std::clamp(last, 0, size - 1) - taps.first + 1), 0);
        double sum = 0;
        for (int j = first; j <= last; ++j) sum += Lanczos((j - centre) / widening);
        for (int j = first; j <= last; ++j) {
            const auto place = static_cast<std::size_t>(std::clamp(j, 0, size - 1) - taps.first);
            taps.weights[place] += static_cast<float>(Lanczos((j - centre) / widening) / sum);
        }
    }
    return all;
}

// The additions of one sum wait for each other, those of 16 sums do not. Each sample adds its taps in their
// order.
constexpr std::size_t kLanes = 16;

// Stores kLanes sums of weights and samples. The samples of a weight follow each other; those of the next
// weight are `stride` further.
void SumTaps(const std::vector<float>& weights, const float* samples, std::size_t stride, float* to) {
    using Quad = float __attribute__((vector_size(16)));
    Quad sums[kLanes / 4] = {};
    for (const float weight : weights) {
        for (std::size_t q = 0; q < kLanes / 4; ++q) {
            Quad quad;
            std::memcpy(&quad, samples + 4 * q, sizeof quad);
            sums[q] += weight * quad;
        }
        samples += stride;
    }
    std::memcpy(to, sums, sizeof sums);
}

// Rows of floats; the stride is a multiple of kLanes.
struct FloatRows {
    std::size_t stride;
    std::vector<float> samples;

    FloatRows(std::size_t columns, std::size_t rows)
        : stride((columns + kLanes - 1) / kLanes * kLanes), samples(stride * rows) {}
    float* operator[](std::size_t row) { return samples.data() + row * stride; }
};

// Scales rows of `width` samples to across.size(). Groups of kLanes rows are transposed into `turned`,
// which has a row for each sample.
void ScaleRows(const std::uint16_t* from, std::size_t width, std::size_t rows,
               const std::vector<Taps>& across, FloatRows& turned, FloatRows& to) {
    for (std::size_t y = 0; y < rows; y += kLanes) {
        const std::size_t group = std::min(kLanes, rows - y);
        for (std::size_t x = 0; x < width; ++x) {
            for (std::size_t r = 0; r < group; ++r) turned[x][r] = from[(y + r) * width + x];
        }
        for (std::size_t x = 0; x < across.size(); ++x) {
            float sums[kLanes];
            SumTaps(across[x].weights, turned[static_cast<std::size_t>(across[x].first)], kLanes, sums);
            for (std::size_t r = 0; r < group; ++r) to[y + r][x] = sums[r];
        }
    }
}

// Scales the rows to the new width, then the columns.
Plane ScalePlane(const Plane& plane, int width, const std::vector<Taps>& across,
                 const std::vector<Taps>& down, float largest) {
    const std::size_t columns = across.size(), sourceColumns = static_cast<std::size_t>(width);
    // Skips rows that no target row needs.
    const auto firstRow = static_cast<std::size_t>(down.front().first);
    const std::size_t endRow = static_cast<std::size_t>(down.back().first) + down.back().weights.size();
    FloatRows turned(kLanes, sourceColumns), rows(columns, endRow - firstRow), sums(columns, 1);
    ScaleRows(plane.data() + firstRow * sourceColumns, sourceColumns, endRow - firstRow, across, turned,
              rows);
    Plane result(columns * down.size());
    for (std::size_t y = 0; y < down.size(); ++y) {
        const Taps& taps = down[y];
        const float* first = rows[static_cast<std::size_t>(taps.first) - firstRow];
        for (std::size_t x = 0; x < columns; x += kLanes)
            SumTaps(taps.weights, first + x, rows.stride, sums[0] + x);
        const float* from = sums[0];
        std::uint16_t* to = result.data() + y * columns;
        for (std::size_t x = 0; x < columns; ++x)
            to[x] = static_cast<std::uint16_t>(std::clamp(from[x], 0.0f, largest) + 0.5f);
    }
    return result;
}

Picture Scaled(const Picture& picture, int width, int height, double left, double top, double spanX,
               double spanY) {
    const std::vector<Taps> across = MakeTaps(picture.width, width, left, spanX);
    const std::vector<Taps> down = MakeTaps(picture.height, height, top, spanY);
    const auto largest = static_cast<float>(LargestSample(picture.depth));
    Picture result;
    result.width = width;
    result.height = height;
    result.depth = picture.depth;
    for (const Plane& plane : picture.colour) {
        result.colour.push_back(ScalePlane(plane, picture.width, across, down, largest));
    }
    if (!picture.alpha.empty())
        result.alpha = ScalePlane(picture.alpha, picture.width, across, down, largest);
    return result;
}

// Crops or pads with black around the centre.
Picture Centred(const Picture& picture, int width, int height) {
    Picture result =
        MakePicture(width, height, picture.depth, static_cast<int>(picture.colour.size()), false);
    if (!picture.alpha.empty()) result.alpha = result.colour[0];
    const int shiftX = (width - picture.width) / 2, shiftY = (height - picture.height) / 2;
    const int columns = std::min(width, picture.width);
    for (int y = std::max(0, shiftY); y < std::min(height, shiftY + picture.height); ++y) {
        const std::size_t from = static_cast<std::size_t>(y - shiftY) * picture.width + std::max(0, -shiftX);
        const std::size_t to = static_cast<std::size_t>(y) * width + std::max(0, shiftX);
        for (std::size_t i = 0; i < picture.colour.size(); ++i) {
            std::copy_n(picture.colour[i].begin() + from, columns, result.colour[i].begin() + to);
        }
        if (!picture.alpha.empty()) {
            std::copy_n(picture.alpha.begin() + from, columns, result.alpha.begin() + to);
        }
    }
    return result;
}

}  // namespace

Picture FitPicture(const Picture& picture, int width, int height, Fit fit) {
    Picture result;
    if (picture.width == width && picture.height == height) {
        result = picture;
    } else if (fit == Fit::kNone) {
        result = Centred(picture, width, height);
    } else if (fit == Fit::kStretch) {
        result = Scaled(picture, width, height, 0, 0, picture.width, picture.height);
    } else {
        const double scale = std::max(static_cast<double>(width) / picture.width,
                                      static_cast<double>(height) / picture.height);
        const double spanX = width / scale, spanY = height / scale;
        result = Scaled(picture, width, height, (picture.width - spanX) / 2, (picture.height - spanY) / 2,
                        spanX, spanY);
    }
    result.profile = picture.profile;
    return result;
}

void FlattenOnWhite(Picture& picture) {
    if (picture.alpha.empty()) return;
    const auto largest = static_cast<std::uint32_t>(LargestSample(picture.depth));
    for (Plane& plane : picture.colour) {
        for (std::size_t i = 0; i < plane.size(); ++i) {
            const std::uint32_t alpha = picture.alpha[i];
            // At most 65535 * 65535 + 32767: fits 32 bits.
            plane[i] = static_cast<std::uint16_t>(
                (plane[i] * alpha + largest * (largest - alpha) + largest / 2) / largest);
        }
    }
    picture.alpha.clear();
}

}  // namespace images

#include "images/resample.h"

#include <algorithm>
#include <cmath>

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

// Scales the rows to the new width, then the columns.
Plane ScalePlane(const Plane& plane, int width, const std::vector<Taps>& across,
                 const std::vector<Taps>& down, float largest) {
    const std::size_t columns = across.size();
    // Skips rows that no target row needs.
    const int firstRow = down.front().first;
    const int lastRow = down.back().first + static_cast<int>(down.back().weights.size()) - 1;
    std::vector<float> rows(static_cast<std::size_t>(lastRow - firstRow + 1) * columns);
    for (int y = firstRow; y <= lastRow; ++y) {
        const std::uint16_t* from = plane.data() + static_cast<std::size_t>(y) * width;
        float* to = rows.data() + static_cast<std::size_t>(y - firstRow) * columns;
        for (std::size_t x = 0; x < columns; ++x) {
            float sum = 0;
            for (std::size_t k = 0; k < across[x].weights.size(); ++k) {
                sum += across[x].weights[k] * from[static_cast<std::size_t>(across[x].first) + k];
            }
            to[x] = sum;
        }
    }
    Plane result(columns * down.size());
    std::vector<float> sums(columns);
    for (std::size_t y = 0; y < down.size(); ++y) {
        std::fill(sums.begin(), sums.end(), 0.0f);
        for (std::size_t k = 0; k < down[y].weights.size(); ++k) {
            const float weight = down[y].weights[k];
            const float* from =
                rows.data() + (static_cast<std::size_t>(down[y].first - firstRow) + k) * columns;
            for (std::size_t x = 0; x < columns; ++x) sums[x] += weight * from[x];
        }
        for (std::size_t x = 0; x < columns; ++x) {
            result[y * columns + x] = static_cast<std::uint16_t>(std::clamp(sums[x], 0.0f, largest) + 0.5f);
        }
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

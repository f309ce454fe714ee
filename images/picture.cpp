#include "images/picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace images {

Picture MakePicture(int width, int height, int depth, int colours, bool withAlpha) {
    Picture picture;
    picture.width = width;
    picture.height = height;
    picture.depth = depth;
    for (int i = 0; i < colours; ++i) picture.colour.emplace_back(PixelCount(picture));
    if (withAlpha)
        picture.alpha.assign(PixelCount(picture), static_cast<std::uint16_t>(LargestSample(depth)));
    return picture;
}

namespace {

void ChangeDepth(Plane& plane, int depth) {
    if (depth == 16) {
        for (std::uint16_t& sample : plane) sample = static_cast<std::uint16_t>(sample * 257u);
    } else {
        for (std::uint16_t& sample : plane) sample = static_cast<std::uint16_t>((sample + 128u) / 257u);
    }
}

}  // namespace

void ChangeDepth(Picture& picture, int depth) {
    if (picture.depth == depth) return;
    for (Plane& plane : picture.colour) ChangeDepth(plane, depth);
    ChangeDepth(picture.alpha, depth);
    picture.depth = depth;
}

void RaiseBlacks(Picture& picture, int least) {
    const auto lowest = static_cast<std::uint16_t>(picture.depth == 8 ? least : least * 257);
    for (Plane& plane : picture.colour) {
        for (std::uint16_t& sample : plane) sample = std::max(sample, lowest);
    }
}

void ConvertToRgb(Picture& picture) {
    if (picture.colour.size() == 1) picture.colour.assign(3, Plane(picture.colour[0]));
}

namespace {

void CopyOverlap(const Picture& layer, const Plane& from, Plane& to, int width, int height) {
    const int left = std::max(0, layer.offsetX);
    const int right = std::min(width, layer.offsetX + layer.width);
    const int top = std::max(0, layer.offsetY);
    const int bottom = std::min(height, layer.offsetY + layer.height);
    if (left >= right) return;
    for (int y = top; y < bottom; ++y) {
        const std::size_t source =
            static_cast<std::size_t>(y - layer.offsetY) * layer.width + (left - layer.offsetX);
        const std::size_t target = static_cast<std::size_t>(y) * width + left;
        std::copy_n(from.begin() + source, right - left, to.begin() + target);
    }
}

}  // namespace

Picture PlaceOnCanvas(const Picture& layer, int width, int height) {
    const auto white = static_cast<std::uint16_t>(LargestSample(layer.depth));
    Picture canvas = layer;
    canvas.width = width;
    canvas.height = height;
    canvas.offsetX = canvas.offsetY = 0;
    for (std::size_t i = 0; i < layer.colour.size(); ++i) {
        canvas.colour[i].assign(PixelCount(canvas), white);
        CopyOverlap(layer, layer.colour[i], canvas.colour[i], width, height);
    }
    canvas.alpha.assign(PixelCount(canvas), 0);
    const Plane opaque(layer.alpha.empty() ? PixelCount(layer) : 0, white);
    CopyOverlap(layer, layer.alpha.empty() ? opaque : layer.alpha, canvas.alpha, width, height);
    return canvas;
}

namespace {

// How the oriented picture reads the stored one.
struct Orientation {
    bool swapsAxes, fromRight, fromBottom;  // the last two are sides of the stored picture
};

constexpr std::array<Orientation, 9> kOrientations = {{{false, false, false},
                                                       {false, false, false},
                                                       {false, true, false},
                                                       {false, true, true},
                                                       {false, false, true},
                                                       {true, false, false},
                                                       {true, false, true},
                                                       {true, true, true},
                                                       {true, true, false}}};

Plane Oriented(const Plane& plane, int width, int height, const Orientation& orientation) {
    Plane result(plane.size());
    const int targetWidth = orientation.swapsAxes ? height : width;
    const int targetHeight = orientation.swapsAxes ? width : height;
    std::size_t at = 0;
    for (int y = 0; y < targetHeight; ++y) {
        for (int x = 0; x < targetWidth; ++x) {
            const int alongX = orientation.swapsAxes ? y : x;
            const int alongY = orientation.swapsAxes ? x : y;
            const int sourceX = orientation.fromRight ? width - 1 - alongX : alongX;
            const int sourceY = orientation.fromBottom ? height - 1 - alongY : alongY;
            result[at++] = plane[static_cast<std::size_t>(sourceY) * width + sourceX];
        }
    }
    return result;
}

}  // namespace

Picture ApplyOrientation(Picture picture, int orientation) {
    if (orientation < 2 || orientation > 8) return picture;
    const Orientation& o = kOrientations[static_cast<std::size_t>(orientation)];
    for (Plane& plane : picture.colour) plane = Oriented(plane, picture.width, picture.height, o);
    if (!picture.alpha.empty()) picture.alpha = Oriented(picture.alpha, picture.width, picture.height, o);
    if (o.swapsAxes) {
        std::swap(picture.width, picture.height);
        std::swap(picture.resolutionX, picture.resolutionY);
    }
    return picture;
}

double RoundResolution(double pixelsPerInch) {
    constexpr double kPerMetre = 0.0254;  // one pixel per metre, in pixels per inch
    const double whole = std::round(pixelsPerInch);
    return std::fabs(pixelsPerInch - whole) < kPerMetre ? whole : pixelsPerInch;
}

}  // namespace images

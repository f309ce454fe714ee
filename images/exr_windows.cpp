#include "images/exr_windows.h"

#include <algorithm>
#include <cstring>

namespace images {

namespace {

struct Window {
    std::int32_t left = 0, top = 0, right = -1, bottom = -1;  // inclusive
};

// Finds an attribute of type box2i by its name. The file's numbers have the byte order of the machine.
bool FindWindow(const std::vector<std::uint8_t>& head, const std::string& name, Window& window) {
    // Name, type and their zeros, then the size of the value.
    std::string start = name + '\0' + "box2i" + '\0' + "\x10";
    start.append(3, '\0');
    const auto at = std::search(head.begin(), head.end(), start.begin(), start.end());
    const auto size = static_cast<std::ptrdiff_t>(start.size());
    if (head.end() - at < size + static_cast<std::ptrdiff_t>(sizeof window)) return false;
    std::memcpy(&window, &at[size], sizeof window);
    return true;
}

}  // namespace

Picture PlaceInDisplayWindow(const Picture& pixels, const std::vector<std::uint8_t>& head) {
    constexpr std::int64_t kLargestSide = 100000, kMostPixels = 1 << 29;
    Window data, display;
    if (!FindWindow(head, "dataWindow", data) || !FindWindow(head, "displayWindow", display)) return pixels;
    const std::int64_t width = std::int64_t{display.right} - display.left + 1;
    const std::int64_t height = std::int64_t{display.bottom} - display.top + 1;
    const std::int64_t x = std::int64_t{data.left} - display.left, y = std::int64_t{data.top} - display.top;
    const bool isSane = std::min(width, height) > 0 && std::max(width, height) <= kLargestSide &&
                        width * height <= kMostPixels && std::max(std::abs(x), std::abs(y)) <= kLargestSide;
    if (!isSane || (x == 0 && y == 0 && width == pixels.width && height == pixels.height)) return pixels;
    Picture placed = pixels;
    placed.offsetX = static_cast<int>(x);
    placed.offsetY = static_cast<int>(y);
    return PlaceOnCanvas(placed, static_cast<int>(width), static_cast<int>(height));
}

}  // namespace images

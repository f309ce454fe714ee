#include "host/painting.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace host {

namespace {

constexpr std::uint32_t kLightSquare = 255;
constexpr std::uint32_t kDarkSquare = 204;

}  // namespace

std::vector<std::uint32_t> ComposeDisplay(const DisplayCall& shown) {
    const VRect& bounds = shown.map.bounds;
    const VRect& source = shown.sourceRect;
    const auto width = static_cast<std::size_t>(WidthOf(bounds));
    const std::size_t plane = width * static_cast<std::size_t>(HeightOf(bounds));
    std::vector<std::uint32_t> composed;
    for (std::int32_t y = source.top - bounds.top; y < source.bottom - bounds.top; ++y) {
        for (std::int32_t x = source.left - bounds.left; x < source.right - bounds.left; ++x) {
            const std::size_t i = static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x);
            const std::uint32_t mask = shown.maskBytes.empty() ? 255 : shown.maskBytes[i];
            const std::uint32_t square =
                (x / kCheckerSize + y / kCheckerSize) % 2 == 0 ? kLightSquare : kDarkSquare;
            std::uint32_t pixel = 0;
            for (std::size_t c = 0; c < 3; ++c) {
                const std::uint32_t sample = shown.pixels[c * plane + i];
                pixel = pixel << 8 | (sample * mask + square * (255 - mask) + 127) / 255;
            }
            composed.push_back(pixel);
        }
    }
    return composed;
}

#ifdef _WIN32

void PaintDisplay(const DisplayCall& shown) {
    const std::int32_t width = WidthOf(shown.sourceRect);
    const std::int32_t height = HeightOf(shown.sourceRect);
    if (width <= 0 || height <= 0) return;
    const std::vector<std::uint32_t> composed = ComposeDisplay(shown);
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;  // rows from the top
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    SetDIBitsToDevice(static_cast<HDC>(shown.context), shown.column, shown.row, static_cast<DWORD>(width),
                      static_cast<DWORD>(height), 0, 0, 0, static_cast<UINT>(height), composed.data(), &info,
                      DIB_RGB_COLORS);
}

#else

void PaintDisplay(const DisplayCall&) {}

#endif

}  // namespace host

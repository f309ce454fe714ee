#include "frond/frame_pixels.h"

namespace frond {

namespace {

// The compiler needs SSSE3's shuffles to use vectors for pixels of three bytes, and the processor may lack
// them. Each loop is therefore compiled twice.
#define FROND_LOOP [[gnu::always_inline]] inline
#define FROND_WITH_SHUFFLES [[gnu::target("ssse3")]]

bool HasShuffles() {
    return __builtin_cpu_supports("ssse3");
}

FROND_LOOP void Split(const std::uint8_t* __restrict rgb, std::size_t count, std::uint8_t* __restrict red,
                      std::uint8_t* __restrict green, std::uint8_t* __restrict blue) {
    for (std::size_t i = 0; i < count; ++i) {
        red[i] = rgb[3 * i];
        green[i] = rgb[3 * i + 1];
        blue[i] = rgb[3 * i + 2];
    }
}

FROND_WITH_SHUFFLES void SplitByShuffles(const std::uint8_t* rgb, std::size_t count,
                                         std::uint8_t* const (&planes)[3]) {
    Split(rgb, count, planes[0], planes[1], planes[2]);
}

FROND_LOOP void Join(const std::uint8_t* __restrict red, const std::uint8_t* __restrict green,
                     const std::uint8_t* __restrict blue, std::size_t count, std::uint8_t* __restrict rgb) {
    for (std::size_t i = 0; i < count; ++i) {
        rgb[3 * i] = red[i];
        rgb[3 * i + 1] = green[i];
        rgb[3 * i + 2] = blue[i];
    }
}

FROND_WITH_SHUFFLES void JoinByShuffles(const std::uint8_t* const (&planes)[3], std::size_t count,
                                        std::uint8_t* rgb) {
    Join(planes[0], planes[1], planes[2], count, rgb);
}

}  // namespace

void SplitPixels(const std::uint8_t* rgb, std::size_t count, std::uint8_t* const (&planes)[3]) {
    if (HasShuffles()) return SplitByShuffles(rgb, count, planes);
    Split(rgb, count, planes[0], planes[1], planes[2]);
}

void JoinRgb(const std::uint8_t* const (&planes)[3], std::size_t count, std::uint8_t* rgb) {
    if (HasShuffles()) return JoinByShuffles(planes, count, rgb);
    Join(planes[0], planes[1], planes[2], count, rgb);
}

void JoinRgba(const std::uint8_t* const (&planes)[3], const std::uint8_t* __restrict alpha, std::size_t count,
              std::uint8_t* __restrict rgba) {
    const std::uint8_t* __restrict red = planes[0], * __restrict green = planes[1], * __restrict blue = planes[2];
    for (std::size_t i = 0; i < count; ++i) {
        rgba[4 * i] = red[i];
        rgba[4 * i + 1] = green[i];
        rgba[4 * i + 2] = blue[i];
        rgba[4 * i + 3] = alpha[i];
    }
}

void CompositePlane(std::uint8_t* __restrict above, const std::uint8_t* __restrict alpha,
                    const std::uint8_t* __restrict below, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t a = alpha[i];
        above[i] = static_cast<std::uint8_t>((above[i] * a + below[i] * (255 - a) + 127) / 255);
    }
}

}  // namespace frond

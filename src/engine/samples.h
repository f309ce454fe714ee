// Samples of either width: the plane views of a run and the one way in which a double becomes a sample.
#pragma once

#include <cstdint>

#include "engine/colour.h"
#include "engine/keying.h"

namespace keying {

// What one 8-bit level measures in samples: 1, or 128 for a maximum of 32767.
static inline double LevelScale(std::int32_t maxSample) {
    const std::int32_t scale = maxSample / 255;
    return scale;
}

// Cuts toward zero; NaN, or a value beyond the signed 32-bit range, becomes 0.
static inline std::int32_t CutTowardZero(double value) {
    return value > -2147483649.0 && value < 2147483648.0 ? static_cast<std::int32_t>(value) : 0;
}

// The store of the engine: cuts toward zero and keeps the low bits. A value out of the sample's range wraps
// on purpose; a caller that needs it in range limits it before.
template <class Sample>
static inline Sample StoreSample(double value) {
    return static_cast<Sample>(CutTowardZero(value));
}

// The channels of a layer. g is the key channel in a logical view, and green in a view by name.
template <class Sample>
struct Channels {
    Sample *r, *g, *b, *a;
};

// The planes of a run in the type of their samples.
template <class Sample>
struct PlaneView {
    std::int32_t width, height;
    std::int32_t maxSample;
    Channels<const Sample> top, bottom;  // the bottom layer has no alpha: null
    Channels<Sample> out;
};

// The planes by their own names.
template <class Sample>
static inline PlaneView<Sample> NamedView(const Planes& p) {
    const auto read = [](const void* plane) { return static_cast<const Sample*>(plane); };
    const auto write = [](void* plane) { return static_cast<Sample*>(plane); };
    return {p.width,
            p.height,
            p.maxSample,
            {read(p.topR), read(p.topG), read(p.topB), read(p.topA)},
            {read(p.bottomR), read(p.bottomG), read(p.bottomB), nullptr},
            {write(p.outR), write(p.outG), write(p.outB), write(p.outA)}};
}

// Green and blue of all layers exchanged.
template <class Sample>
static inline PlaneView<Sample> Exchanged(const PlaneView<Sample>& v) {
    return {v.width,
            v.height,
            v.maxSample,
            {v.top.r, v.top.b, v.top.g, v.top.a},
            {v.bottom.r, v.bottom.b, v.bottom.g, v.bottom.a},
            {v.out.r, v.out.b, v.out.g, v.out.a}};
}

// The planes as the passes see them: g is always the key channel.
template <class Sample>
static inline PlaneView<Sample> LogicalView(const Planes& planes, bool blueBackdrop) {
    const PlaneView<Sample> named = NamedView<Sample>(planes);
    return blueBackdrop ? Exchanged(named) : named;
}

// The same view with the sample at index `first` as the first one.
template <class Sample>
static inline PlaneView<Sample> ViewFrom(const PlaneView<Sample>& v, std::int64_t first) {
    const Channels<const Sample>&t = v.top, &b = v.bottom;
    const Channels<Sample>& o = v.out;
    return {v.width,
            v.height,
            v.maxSample,
            {t.r + first, t.g + first, t.b + first, t.a + first},
            {b.r + first, b.g + first, b.b + first, nullptr},
            {o.r + first, o.g + first, o.b + first, o.a + first}};
}

// The pixel at index i as the analysis sees it: the key channel, and no other, limited to maxSample.
template <class Sample>
static inline Rgb FetchLimited(const Channels<const Sample>& top, std::int64_t i, double maxSample) {
    const double g = top.g[i];
    return {static_cast<double>(top.r[i]), g > maxSample ? maxSample : g, static_cast<double>(top.b[i])};
}

// The pixel at index i as the keying sees it. A key channel of 0 becomes 1: the pass's only guard of a
// division, and it reaches the picture. Of the others the third channel alone is limited.
template <class Sample>
static inline Rgb FetchGuarded(const Channels<const Sample>& top, std::int64_t i, double maxSample) {
    const double g = top.g[i], b = top.b[i];
    return {static_cast<double>(top.r[i]), g == 0 ? 1 : g, b > maxSample ? maxSample : b};
}

// Calls work(Sample{}) with the type of the planes' samples.
template <class Work>
static inline auto WithSampleType(const Planes& planes, Work work) {
    return planes.depth == 1 ? work(std::uint8_t{}) : work(std::uint16_t{});
}

}  // namespace keying

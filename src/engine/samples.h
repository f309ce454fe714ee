// Samples of either width: the plane views of a run and the one way in which a double becomes a sample.
#pragma once

#include <cstdint>

#include "engine/colour.h"
#include "shell/globals.h"

// levelScale: what one 8-bit level measures in samples: 1, or 128 for a maximum of 32767.
static inline double LevelScale(const Globals* globals) {
    const std::int32_t scale = globals->maxSample / 255;
    return scale;
}

// Cuts toward zero; a non-number, or a value beyond the signed 32-bit range, becomes 0.
static inline std::int32_t CutTowardZero(double value) {
    return value > -2147483649.0 && value < 2147483648.0 ? static_cast<std::int32_t>(value) : 0;
}

// The store of the engine: cuts toward zero and keeps the low bits. A value out of the sample's range wraps
// on purpose; whoever needs it in range limits it before.
template <class Sample>
static inline Sample StoreSample(double value) {
    return static_cast<Sample>(CutTowardZero(value));
}

// A plane of Globals in the view that its samples need.
template <class Sample>
static inline Sample* View(std::uint8_t* bytes, std::uint16_t* words) {
    if constexpr (sizeof(Sample) == 1) {
        return bytes;
    } else {
        return words;
    }
}

// Colour planes as the engine sees them: for a blue backdrop green and blue have changed places, so that g is
// always the key channel.
template <class Sample>
struct LogicalPlanes {
    const Sample* r;
    const Sample* g;
    const Sample* b;
};

template <class Sample>
static inline LogicalPlanes<Sample> TopPlanes(const Globals* globals) {
    const Sample* r = View<Sample>(globals->topR, globals->topR16);
    const Sample* g = View<Sample>(globals->topG, globals->topG16);
    const Sample* b = View<Sample>(globals->topB, globals->topB16);
    return globals->FlagBlueLogic ? LogicalPlanes<Sample>{r, b, g} : LogicalPlanes<Sample>{r, g, b};
}

template <class Sample>
static inline LogicalPlanes<Sample> BottomPlanes(const Globals* globals) {
    const Sample* r = View<Sample>(globals->bottomR, globals->bottomR16);
    const Sample* g = View<Sample>(globals->bottomG, globals->bottomG16);
    const Sample* b = View<Sample>(globals->bottomB, globals->bottomB16);
    return globals->FlagBlueLogic ? LogicalPlanes<Sample>{r, b, g} : LogicalPlanes<Sample>{r, g, b};
}

// The pixel at index i as the analysis sees it: the key channel, and no other, limited to maxSample.
template <class Sample>
static inline Rgb FetchLimited(const LogicalPlanes<Sample>& planes, std::int64_t i, double maxSample) {
    const double g = planes.g[i];
    return {static_cast<double>(planes.r[i]), g > maxSample ? maxSample : g,
            static_cast<double>(planes.b[i])};
}

// The output planes by their own names: red, green and blue of the picture.
template <class Sample>
struct OutPlanes {
    Sample* r;
    Sample* g;
    Sample* b;
    Sample* a;
};

template <class Sample>
static inline OutPlanes<Sample> OutputPlanes(const Globals* globals) {
    return {View<Sample>(globals->outR, globals->outR16), View<Sample>(globals->outG, globals->outG16),
            View<Sample>(globals->outB, globals->outB16), View<Sample>(globals->outA, globals->outA16)};
}

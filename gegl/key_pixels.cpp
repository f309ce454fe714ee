#include "gegl/key_pixels.h"

#include <algorithm>

#include "images/picture.h"

namespace operation {

namespace {

constexpr std::uint32_t kLargest8 = 255, kLargest16 = 65535;

// The largest sample in the filter's own results in a 16-bit document.
constexpr std::int32_t kMaxSample16 = 32767;

template <typename Sample>
struct Scale;

template <>
struct Scale<std::uint8_t> {
    static constexpr std::uint32_t kLargest = kLargest8;
    static std::uint8_t ToEngine(std::uint8_t sample) { return sample; }
    static std::uint32_t FromEngine(std::uint8_t sample) { return sample; }
};

template <>
struct Scale<std::uint16_t> {
    static constexpr std::uint32_t kLargest = kLargest16;
    static std::uint16_t ToEngine(std::uint16_t sample) { return images::ToDocument16(sample); }
    static std::uint32_t FromEngine(std::uint16_t sample) { return images::FromDocument16(sample); }
};

template <typename Sample>
Sample* SamplesOf(Samples& samples) {
    return reinterpret_cast<Sample*>(samples.data());
}

template <typename Sample>
const Sample* SamplesOf(const Samples& samples) {
    return reinterpret_cast<const Sample*>(samples.data());
}

// The samples of `rows` rows, from row `first` on.
struct Range {
    std::size_t begin, count;

    Range(const KeyingPlanes& planes, std::int32_t first, std::int32_t rows)
        : begin(static_cast<std::size_t>(first) * static_cast<std::size_t>(planes.width)),
          count(static_cast<std::size_t>(rows) * static_cast<std::size_t>(planes.width)) {}
};

// A weighted mean of two samples, rounded. The sum fits 32 bits.
template <typename Sample>
Sample Mix(std::uint32_t above, std::uint32_t alpha, std::uint32_t below) {
    constexpr std::uint32_t kLargest = Scale<Sample>::kLargest;
    return static_cast<Sample>((above * alpha + below * (kLargest - alpha) + kLargest / 2) / kLargest);
}

template <typename Sample>
bool StorePhotographAs(KeyingPlanes& planes, const Range& range, const Sample* pixels) {
    Sample* to[4];
    for (std::size_t c = 0; c < 4; ++c) to[c] = SamplesOf<Sample>(planes.photo[c]) + range.begin;
    Sample difference = 0;
    for (std::size_t i = 0; i < range.count; ++i) {
        for (std::size_t c = 0; c < 4; ++c) {
            const Sample sample = Scale<Sample>::ToEngine(pixels[4 * i + c]);
            difference = static_cast<Sample>(difference | (to[c][i] ^ sample));
            to[c][i] = sample;
        }
    }
    return difference != 0;
}

template <typename Sample>
void StoreBackgroundAs(KeyingPlanes& planes, const Range& range, const Sample* pixels) {
    constexpr auto kLargest = static_cast<Sample>(Scale<Sample>::kLargest);
    Sample* to[3];
    for (std::size_t c = 0; c < 3; ++c) to[c] = SamplesOf<Sample>(planes.background[c]) + range.begin;
    Sample opaque = kLargest;
    for (std::size_t i = 0; i < range.count; ++i) {
        for (std::size_t c = 0; c < 3; ++c) to[c][i] = pixels[4 * i + c];
        opaque = static_cast<Sample>(opaque & pixels[4 * i + 3]);
    }
    if (opaque == kLargest) return;
    for (std::size_t c = 0; c < 3; ++c) {
        for (std::size_t i = 0; i < range.count; ++i)
            to[c][i] = Mix<Sample>(to[c][i], pixels[4 * i + 3], kLargest);
    }
}

template <typename Sample>
void LoadResultAs(const KeyingPlanes& planes, bool hasAlpha, const Range& range, Sample* pixels) {
    using S = Scale<Sample>;
    constexpr auto kLargest = static_cast<Sample>(S::kLargest);
    const Sample* from[4];
    for (std::size_t c = 0; c < 4; ++c) from[c] = SamplesOf<Sample>(planes.out[c]) + range.begin;
    Sample opaque = kLargest;
    for (std::size_t i = 0; i < range.count; ++i) {
        for (std::size_t c = 0; c < 4; ++c)
            pixels[4 * i + c] = static_cast<Sample>(S::FromEngine(from[c][i]));
        opaque = static_cast<Sample>(opaque & pixels[4 * i + 3]);
    }
    if (hasAlpha || opaque == kLargest) return;
    for (std::size_t c = 0; c < 3; ++c) {
        const Sample* below = SamplesOf<Sample>(planes.background[c]) + range.begin;
        for (std::size_t i = 0; i < range.count; ++i)
            pixels[4 * i + c] = Mix<Sample>(pixels[4 * i + c], pixels[4 * i + 3], below[i]);
    }
    for (std::size_t i = 0; i < range.count; ++i) pixels[4 * i + 3] = kLargest;
}

// The engine's background: at 16 bits a document's samples.
Samples ToEngineScale(const Samples& plane) {
    Samples scaled(plane.size());
    const auto* from = SamplesOf<std::uint16_t>(plane);
    auto* to = SamplesOf<std::uint16_t>(scaled);
    for (std::size_t i = 0; i < plane.size() / 2; ++i) to[i] = images::ToDocument16(from[i]);
    return scaled;
}

// With showMatte the engine does not write every sample. The photograph's colours show there, and the opacity
// with which frond's host fills new memory.
void FillUnwritten(KeyingPlanes& planes) {
    constexpr std::uint8_t kFill = 0xA5;
    for (std::size_t c = 0; c < 3; ++c) planes.out[c] = planes.photo[c];
    std::fill(planes.out[3].begin(), planes.out[3].end(), kFill);
}

}  // namespace

void Resize(KeyingPlanes& planes, std::int32_t width, std::int32_t height, std::int32_t bits) {
    if (planes.width == width && planes.height == height && planes.bits == bits) return;
    planes = {};
    const std::size_t bytes = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                              static_cast<std::size_t>(bits / 8);
    KeyingPlanes made;
    made.width = width;
    made.height = height;
    made.bits = bits;
    for (Samples& plane : made.photo) plane.resize(bytes);
    for (Samples& plane : made.background) plane.resize(bytes);
    for (Samples& plane : made.out) plane.resize(bytes);
    planes = std::move(made);
}

bool StorePhotograph(KeyingPlanes& planes, std::int32_t first, std::int32_t rows, const void* pixels) {
    const Range range(planes, first, rows);
    return planes.bits == 8 ? StorePhotographAs(planes, range, static_cast<const std::uint8_t*>(pixels))
                            : StorePhotographAs(planes, range, static_cast<const std::uint16_t*>(pixels));
}

void StoreBackground(KeyingPlanes& planes, std::int32_t first, std::int32_t rows, const void* pixels) {
    const Range range(planes, first, rows);
    if (planes.bits == 8) {
        StoreBackgroundAs(planes, range, static_cast<const std::uint8_t*>(pixels));
    } else {
        StoreBackgroundAs(planes, range, static_cast<const std::uint16_t*>(pixels));
    }
}

bool KeyPhotograph(KeyingPlanes& planes, const keying::Settings& settings, bool hasBackground) {
    keying::Planes p;
    p.width = planes.width;
    p.height = planes.height;
    p.depth = planes.bits / 8;
    p.maxSample = planes.bits == 8 ? static_cast<std::int32_t>(kLargest8) : kMaxSample16;
    p.topR = planes.photo[0].data();
    p.topG = planes.photo[1].data();
    p.topB = planes.photo[2].data();
    p.topA = planes.photo[3].data();
    Samples scaled[3];
    const Samples* bottom = planes.background;
    if (!hasBackground) {
        scaled[0].resize(planes.photo[0].size());  // black, for all channels
    } else if (planes.bits == 16) {
        for (int c = 0; c < 3; ++c) scaled[c] = ToEngineScale(planes.background[c]);
        bottom = scaled;
    }
    p.bottomR = hasBackground ? bottom[0].data() : scaled[0].data();
    p.bottomG = hasBackground ? bottom[1].data() : scaled[0].data();
    p.bottomB = hasBackground ? bottom[2].data() : scaled[0].data();
    p.outR = planes.out[0].data();
    p.outG = planes.out[1].data();
    p.outB = planes.out[2].data();
    p.outA = planes.out[3].data();
    if (!planes.isMeasured || planes.isMeasuredBlue != settings.blueBackdrop) {
        keying::MeasureBackdrop(settings, p, &planes.backdrop);
        planes.isMeasured = true;
        planes.isMeasuredBlue = settings.blueBackdrop;
    }
    if (settings.showMatte) FillUnwritten(planes);
    return keying::KeyPlanes(settings, p, planes.backdrop).status == keying::Status::kDone;
}

void LoadResult(const KeyingPlanes& planes, bool hasAlpha, std::int32_t first, std::int32_t rows,
                void* pixels) {
    const Range range(planes, first, rows);
    if (planes.bits == 8) {
        LoadResultAs(planes, hasAlpha, range, static_cast<std::uint8_t*>(pixels));
    } else {
        LoadResultAs(planes, hasAlpha, range, static_cast<std::uint16_t*>(pixels));
    }
}

}  // namespace operation

#include "frond/document_pixels.h"

#include <cstring>

namespace frond {

namespace {

std::uint16_t Load16(const std::vector<std::uint8_t>& bytes, std::size_t i) {
    std::uint16_t sample;
    std::memcpy(&sample, bytes.data() + i * 2, sizeof sample);
    return sample;
}

void Store16(std::vector<std::uint8_t>& bytes, std::size_t i, std::uint16_t sample) {
    std::memcpy(bytes.data() + i * 2, &sample, sizeof sample);
}

// (above * a + below * (255 - a)) / 255, rounded to the nearest number. All numbers have 16 bits, which is
// twice as fast as a division. The sum is at most 255 * 255 + 127, and up to 65279 the last line divides by
// 255.
std::uint16_t MixBytes(std::uint8_t above, std::uint8_t below, std::uint8_t a) {
    const auto sum = static_cast<std::uint16_t>(above * a + below * (255 - a) + 127);
    return static_cast<std::uint16_t>(static_cast<std::uint16_t>(sum + 1 + (sum >> 8)) >> 8);
}

std::vector<std::uint8_t> Narrow(const images::Plane& plane) {
    return std::vector<std::uint8_t>(plane.begin(), plane.end());
}

}  // namespace

FileSamples TakeFileSamples(images::Plane& plane, int depth) {
    FileSamples samples;
    if (depth == 8) {
        samples = Narrow(plane);
    } else {
        samples.resize(plane.size() * 2);
        std::memcpy(samples.data(), plane.data(), samples.size());
    }
    plane = images::Plane();  // {} would keep the memory
    return samples;
}

host::Channel TakeChannel(images::Plane& plane, int depth) {
    host::Channel channel;
    if (depth == 8) {
        channel.bytes = Narrow(plane);
    } else {
        channel.bytes.resize(plane.size() * 2);
        for (std::size_t i = 0; i < plane.size(); ++i)
            Store16(channel.bytes, i, images::ToDocument16(plane[i]));
    }
    plane = images::Plane();
    return channel;
}

host::Channel ChannelOf(const FileSamples& samples, int depth) {
    host::Channel channel;
    if (depth == 8) {
        channel.bytes = samples;
        return channel;
    }
    channel.bytes.resize(samples.size());
    for (std::size_t i = 0; i < samples.size() / 2; ++i)
        Store16(channel.bytes, i, images::ToDocument16(Load16(samples, i)));
    return channel;
}

images::Plane PlaneOf(const host::Channel& channel, int depth) {
    if (depth == 8) return images::Plane(channel.bytes.begin(), channel.bytes.end());
    images::Plane plane(channel.bytes.size() / 2);
    for (std::size_t i = 0; i < plane.size(); ++i)
        plane[i] = images::FromDocument16(Load16(channel.bytes, i));
    return plane;
}

images::Plane TakePlane(host::Channel& channel, int depth) {
    images::Plane plane = PlaneOf(channel, depth);
    channel = {};
    return plane;
}

// An opaque pixel keeps its sample: (s * largest + largest / 2) / largest is s. The sums fit 32 bits.
images::Plane TakeComposite(host::Channel& channel, const host::Channel& alpha, const FileSamples& background,
                            int depth) {
    images::Plane plane(channel.bytes.size() / static_cast<std::size_t>(depth / 8));
    if (depth == 8) {
        const std::uint8_t *above = channel.bytes.data(), *below = background.data(),
                           *opacity = alpha.bytes.data();
        for (std::size_t i = 0; i < plane.size(); ++i) plane[i] = MixBytes(above[i], below[i], opacity[i]);
    } else {
        constexpr std::uint32_t kLargest = 65535;
        for (std::size_t i = 0; i < plane.size(); ++i) {
            const std::uint32_t above = images::FromDocument16(Load16(channel.bytes, i));
            const std::uint32_t a = images::FromDocument16(Load16(alpha.bytes, i));
            plane[i] = static_cast<std::uint16_t>(
                (above * a + Load16(background, i) * (kLargest - a) + kLargest / 2) / kLargest);
        }
    }
    channel = {};
    return plane;
}

}  // namespace frond

#include "host/document.h"

#include <cstring>

namespace host {

namespace {

std::size_t SampleBytes(const Document& document, const Channel& channel) {
    return static_cast<std::size_t>(DepthOf(document, channel) / 8);
}

std::size_t PixelsOf(const Document& document) {
    return static_cast<std::size_t>(WidthOf(document.bounds)) *
           static_cast<std::size_t>(HeightOf(document.bounds));
}

bool HasRightSize(const Document& document, const Channel& channel) {
    return channel.bytes.size() == PixelsOf(document) * SampleBytes(document, channel);
}

std::size_t OffsetOf(const Document& document, const Channel& channel, std::int32_t x, std::int32_t y) {
    return (static_cast<std::size_t>(y) * static_cast<std::size_t>(WidthOf(document.bounds)) +
            static_cast<std::size_t>(x)) *
           SampleBytes(document, channel);
}

std::string ValidateLayer(const Document& document, const Layer& layer) {
    const std::string name = "layer \"" + layer.name + "\"";
    if (layer.colour.size() < 3) return name + " has fewer than three colour channels";
    for (const Channel& channel : layer.colour) {
        if (!HasRightSize(document, channel)) return name + " has a colour channel of the wrong size";
    }
    if (layer.transparency && !HasRightSize(document, *layer.transparency)) {
        return name + " has a transparency of the wrong size";
    }
    if (layer.mask && !HasRightSize(document, *layer.mask)) return name + " has a mask of the wrong size";
    return {};
}

}  // namespace

Document MakeDocument(std::int32_t width, std::int32_t height, std::int32_t depth) {
    Document document;
    document.bounds = {0, 0, height, width};
    document.depth = depth;
    return document;
}

Channel MakeChannel(const Document& document, std::uint16_t sample, std::int32_t depth) {
    Channel channel;
    channel.depth = depth;
    channel.bytes.resize(PixelsOf(document) * SampleBytes(document, channel));
    if (DepthOf(document, channel) == 8) {
        std::memset(channel.bytes.data(), sample, channel.bytes.size());
    } else {
        for (std::size_t i = 0; i < channel.bytes.size(); i += sizeof sample) {
            std::memcpy(&channel.bytes[i], &sample, sizeof sample);
        }
    }
    return channel;
}

Layer MakeLayer(const Document& document, std::string name, std::uint16_t sample) {
    Layer layer;
    layer.name = std::move(name);
    layer.colour.assign(3, MakeChannel(document, sample));
    return layer;
}

std::uint16_t SampleAt(const Document& document, const Channel& channel, std::int32_t x, std::int32_t y) {
    const std::uint8_t* at = &channel.bytes[OffsetOf(document, channel, x, y)];
    if (DepthOf(document, channel) == 8) return *at;
    std::uint16_t sample;
    std::memcpy(&sample, at, sizeof sample);
    return sample;
}

void SetSample(const Document& document, Channel& channel, std::int32_t x, std::int32_t y,
               std::uint16_t sample) {
    std::uint8_t* at = &channel.bytes[OffsetOf(document, channel, x, y)];
    if (DepthOf(document, channel) == 8) {
        *at = static_cast<std::uint8_t>(sample);
    } else {
        std::memcpy(at, &sample, sizeof sample);
    }
}

std::string ValidateDocument(const Document& document) {
    if (document.depth != 8 && document.depth != 16) return "the depth is neither 8 nor 16";
    const VRect& bounds = document.bounds;
    if (bounds.right <= bounds.left || bounds.bottom <= bounds.top) return "the document has no pixels";
    if (document.layers.empty() && !document.flat) return "there is neither a layer nor a flat picture";

    const bool flatTarget = document.targetLayer == kTargetFlat;
    if (flatTarget && !document.flat) return "the target is the flat picture, and there is none";
    if (!flatTarget && (document.targetLayer < 0 ||
                        static_cast<std::size_t>(document.targetLayer) >= document.layers.size())) {
        return "the target is not a layer of the document";
    }
    for (const Layer& layer : document.layers) {
        if (std::string fault = ValidateLayer(document, layer); !fault.empty()) return fault;
    }
    if (document.flat) {
        if (std::string fault = ValidateLayer(document, *document.flat); !fault.empty()) return fault;
    }
    if (document.selection && !HasRightSize(document, *document.selection)) {
        return "the selection has the wrong size";
    }
    for (const Channel& alpha : document.alphaChannels) {
        if (!HasRightSize(document, alpha)) return "an alpha channel has the wrong size";
    }
    return {};
}

}  // namespace host

// The document that the stand-in host opens: layers, selection and target, which the module reads and writes
// through channel ports.
//
// Every channel covers the whole document. A sample has one byte at depth 8, and two bytes in native order at
// depth 16, with the scale 0 to 32768, as in the hosts that the module is made for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "hostapi/hostapi.h"

namespace host {

// The largest sample of a 16-bit document.
constexpr std::uint16_t kHostMaxSample16 = 32768;

// Samples row by row from the top, without padding. Tests withhold services with the three flags.
struct Channel {
    std::vector<std::uint8_t> bytes;
    std::int32_t depth = 0;    // bits per sample, 8 or 16; 0: the document's
    bool readable = true;      // the answer of CanRead
    bool hasWritePort = true;  // false: no write port, even in the target
    bool writable = true;      // the answer of CanWrite
};

struct Layer {
    std::string name;
    std::vector<Channel> colour;  // red, green, blue; further channels are passed to the module unchanged
    std::optional<Channel> transparency;
    std::optional<Channel> mask;
};

// Document::targetLayer: the target is the flat picture, not a layer.
constexpr int kTargetFlat = -1;

struct Document {
    VRect bounds{};          // need not start at 0
    std::int32_t depth = 8;  // bits per sample: 8 or 16
    double resolution = 72;  // pixels per inch

    std::vector<Layer> layers;  // from the bottom up
    std::optional<Layer> flat;  // the merged picture; the only picture of a document without layers
    std::vector<Channel> alphaChannels;
    std::optional<Channel> selection;

    int targetLayer = 0;  // index into layers, or kTargetFlat
};

inline std::int32_t WidthOf(const VRect& rect) {
    return rect.right - rect.left;
}

inline std::int32_t HeightOf(const VRect& rect) {
    return rect.bottom - rect.top;
}

inline std::int32_t DepthOf(const Document& document, const Channel& channel) {
    return channel.depth != 0 ? channel.depth : document.depth;
}

// A document of the given size in pixels with its corner at 0, 0, without layers and flat picture.
Document MakeDocument(std::int32_t width, std::int32_t height, std::int32_t depth);

// A channel of the document's size with the given value in every sample. Depth 0: the document's.
Channel MakeChannel(const Document& document, std::uint16_t sample, std::int32_t depth = 0);

// A layer with three such colour channels, without transparency.
Layer MakeLayer(const Document& document, std::string name, std::uint16_t sample);

// The sample in column x of row y, counted from the document's upper left corner.
std::uint16_t SampleAt(const Document& document, const Channel& channel, std::int32_t x, std::int32_t y);
void SetSample(const Document& document, Channel& channel, std::int32_t x, std::int32_t y,
               std::uint16_t sample);

// Returns why the document is invalid, in one line; empty for a valid one. A document needs at least one
// pixel, a depth of 8 or 16, an existing target with three colour channels, and channels of the right size.
std::string ValidateDocument(const Document& document);

}  // namespace host

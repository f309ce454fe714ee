// The picture that the stand-in host holds open: layers, selection and target, as the module meets them
// through the host's channel ports.
//
// Every channel covers the whole document. A sample is one byte at depth 8, and two bytes in the machine's
// order at depth 16, where this host's scale runs from 0 to 32768 as in the hosts that the module is made
// for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "hostapi/hostapi.h"

namespace host {

// The largest sample of a 16-bit document.
constexpr std::uint16_t kHostMaxSample16 = 32768;

// Samples row by row from the top, without padding. The three flags let a test withhold a service.
struct Channel {
    std::vector<std::uint8_t> bytes;
    std::int32_t depth = 0;    // bits per sample, 8 or 16; 0: the document's
    bool readable = true;      // what CanRead answers
    bool hasWritePort = true;  // false: the description carries no write port, even in the target
    bool writable = true;      // what CanWrite answers
};

struct Layer {
    std::string name;
    std::vector<Channel> colour;  // red, green, blue; further ones are offered to the module as they stand
    std::optional<Channel> transparency;
    std::optional<Channel> mask;
};

// The target is the flat picture and no layer.
constexpr int kTargetFlat = -1;

struct Document {
    VRect bounds{};          // need not start at 0
    std::int32_t depth = 8;  // bits per sample: 8 or 16
    double resolution = 72;  // pixels per inch

    std::vector<Layer> layers;  // from the bottom up
    std::optional<Layer> flat;  // the merged picture; all there is in a document without layers
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

// A document of the given size in pixels with its corner at 0, 0, and neither layers nor flat picture.
Document MakeDocument(std::int32_t width, std::int32_t height, std::int32_t depth);

// A channel of the document's size, every sample holding the given value; of the document's depth for 0.
Channel MakeChannel(const Document& document, std::uint16_t sample, std::int32_t depth = 0);

// A layer of three such colour channels, without transparency.
Layer MakeLayer(const Document& document, std::string name, std::uint16_t sample);

// The sample in column x of row y, counted from the document's corner whatever its bounds.
std::uint16_t SampleAt(const Document& document, const Channel& channel, std::int32_t x, std::int32_t y);
void SetSample(const Document& document, Channel& channel, std::int32_t x, std::int32_t y,
               std::uint16_t sample);

// What keeps the document from being opened, in one line; empty when nothing does. A document has at least
// one pixel, a depth of 8 or 16, a target that exists with three colour channels, and channels of the right
// size.
std::string ValidateDocument(const Document& document);

}  // namespace host

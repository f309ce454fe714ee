// Reads little-endian numbers and text from a block of bytes. Each read is checked against the end.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace frond {

using Bytes = std::vector<std::uint8_t>;

struct UnexpectedEnd : std::runtime_error {
    UnexpectedEnd() : std::runtime_error("unexpected end") {}
};

struct ByteReader {
    const Bytes* bytes;
    std::size_t at = 0;

    std::uint32_t Take(int count) {
        const auto size = static_cast<std::size_t>(count);
        if (at > bytes->size() || bytes->size() - at < size) throw UnexpectedEnd();
        std::uint32_t value = 0;
        for (int i = count - 1; i >= 0; --i) value = value << 8 | (*bytes)[at + static_cast<std::size_t>(i)];
        at += size;
        return value;
    }
    std::uint32_t Take16() { return Take(2); }
    std::uint32_t Take32() { return Take(4); }

    std::string TakeText(std::size_t length) {
        if (at > bytes->size() || bytes->size() - at < length) throw UnexpectedEnd();
        std::string text(bytes->begin() + static_cast<std::ptrdiff_t>(at),
                         bytes->begin() + static_cast<std::ptrdiff_t>(at + length));
        at += length;
        return text;
    }
    std::string TakePascalString() { return TakeText(Take(1)); }  // a length byte, then the text
};

}  // namespace frond

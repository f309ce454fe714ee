#include "images/picture_validation.h"

#include <cstring>

namespace images {

namespace {

using Bytes = std::vector<std::uint8_t>;

std::uint32_t BigEndian32(const Bytes& bytes, std::size_t at) {
    return std::uint32_t{bytes[at]} << 24 | std::uint32_t{bytes[at + 1]} << 16 |
           std::uint32_t{bytes[at + 2]} << 8 | bytes[at + 3];
}

std::uint32_t BigEndian16(const Bytes& bytes, std::size_t at) {
    return std::uint32_t{bytes[at]} << 8 | bytes[at + 1];
}

bool StartsWith(const Bytes& bytes, const char* signature, std::size_t size) {
    return bytes.size() >= size && std::memcmp(bytes.data(), signature, size) == 0;
}

// Follows the segments to the end-of-image marker. Scan data escapes its FF bytes, so the first marker that
// is neither a restart nor padding ends a scan. Stores the frame's number of components.
bool IsCompleteJpeg(const Bytes& bytes, int& components) {
    std::size_t at = 2;
    while (at + 4 <= bytes.size() || (at + 2 <= bytes.size() && bytes[at + 1] == 0xD9)) {
        if (bytes[at] != 0xFF) return false;
        const int marker = bytes[at + 1];
        if (marker == 0xD9) return true;
        if (marker == 0xFF) {
            ++at;
            continue;
        }
        const bool isFrame =
            marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        if (isFrame && at + 9 < bytes.size()) components = bytes[at + 9];
        at += 2 + BigEndian16(bytes, at + 2);
        if (marker != 0xDA) continue;
        while (at + 1 < bytes.size() && (bytes[at] != 0xFF || bytes[at + 1] == 0 || bytes[at + 1] == 0xFF ||
                                         (bytes[at + 1] >= 0xD0 && bytes[at + 1] <= 0xD7))) {
            ++at;
        }
    }
    return false;
}

bool IsCompletePng(const Bytes& bytes) {
    std::size_t at = 8;
    while (at + 12 <= bytes.size()) {
        if (std::memcmp(bytes.data() + at + 4, "IEND", 4) == 0) return true;
        at += 12 + std::size_t{BigEndian32(bytes, at)};
    }
    return false;
}

}  // namespace

void ValidatePictureBytes(const Bytes& bytes, const std::string& name) {
    if (bytes.empty()) throw PictureError(name + ": is empty");
    bool isComplete = true, isCmyk = false;
    if (StartsWith(bytes, "\xFF\xD8\xFF", 3)) {
        int components = 0;
        isComplete = IsCompleteJpeg(bytes, components);
        isCmyk = components == 4;
    } else if (StartsWith(bytes, "\x89PNG\r\n\x1A\n", 8)) {
        isComplete = IsCompletePng(bytes);
    }
    if (isCmyk) throw PictureError(name + ": is a CMYK picture; convert it to RGB first");
    if (!isComplete) throw PictureError(name + ": is cut short");
}

}  // namespace images

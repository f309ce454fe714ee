#include "images/picture_validation.h"

#include <cstring>

#include "images/atomic_file.h"
#include "images/text.h"

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

// Follows the length-prefixed sections to the merged picture, whose rows must be complete.
bool IsCompletePsd(const Bytes& bytes) {
    if (bytes.size() < 26) return false;
    const bool isLarge = BigEndian16(bytes, 4) == 2;
    const std::size_t channels = BigEndian16(bytes, 12), rows = BigEndian32(bytes, 14);
    const std::size_t columns = BigEndian32(bytes, 18), bits = BigEndian16(bytes, 22);
    std::size_t at = 26;
    for (int section = 0; section < 3; ++section) {
        const std::size_t lengthSize = section == 2 && isLarge ? 8 : 4;
        if (at + lengthSize > bytes.size()) return false;
        const std::size_t length = BigEndian32(bytes, at + lengthSize - 4);
        if (length > bytes.size() - at - lengthSize) return false;
        at += lengthSize + length;
    }
    if (at + 2 > bytes.size()) return false;
    const std::uint32_t compression = BigEndian16(bytes, at);
    at += 2;
    if (compression == 0) return bytes.size() - at >= channels * rows * ((columns * bits + 7) / 8);
    if (compression != 1) return true;
    const std::size_t countSize = isLarge ? 4 : 2;
    std::size_t packed = channels * rows * countSize;
    if (packed > bytes.size() - at) return false;
    for (std::size_t row = 0; row < channels * rows; ++row) {
        const std::size_t count = at + row * countSize;
        packed += isLarge ? BigEndian32(bytes, count) : BigEndian16(bytes, count);
    }
    return packed <= bytes.size() - at;
}

}  // namespace

void ValidatePictureFile(const std::filesystem::path& path) {
    ValidatePictureBytes(ReadFileBytes(path), DisplayName(path));
}

void ValidatePictureBytes(const Bytes& bytes, const std::string& name) {
    if (bytes.empty()) throw PictureError(name + ": is empty");
    bool isComplete = true, isCmyk = false;
    if (StartsWith(bytes, "\xFF\xD8\xFF", 3)) {
        int components = 0;
        isComplete = IsCompleteJpeg(bytes, components);
        isCmyk = components == 4;
    } else if (StartsWith(bytes, "\x89PNG\r\n\x1A\n", 8)) {
        isComplete = IsCompletePng(bytes);
    } else if (StartsWith(bytes, "8BPS", 4)) {
        isComplete = IsCompletePsd(bytes);
        const std::uint32_t mode = bytes.size() >= 26 ? BigEndian16(bytes, 24) : 3;
        isCmyk = mode == 4;
        if (mode > 4)
            throw PictureError(name + ": is neither an RGB nor a grey picture; convert it to RGB first");
    }
    if (isCmyk) throw PictureError(name + ": is a CMYK picture; convert it to RGB first");
    if (!isComplete) throw PictureError(name + ": is cut short");
}

}  // namespace images

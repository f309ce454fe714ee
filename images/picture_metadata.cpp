#include "images/picture_metadata.h"

#include <algorithm>
#include <cstring>
#include <functional>

namespace images {

namespace {

using Bytes = std::vector<std::uint8_t>;

std::uint32_t Read16(const Bytes& bytes, std::size_t at, bool bigEndian) {
    return bigEndian ? std::uint32_t{bytes[at]} << 8 | bytes[at + 1]
                     : std::uint32_t{bytes[at + 1]} << 8 | bytes[at];
}

std::uint32_t Read32(const Bytes& bytes, std::size_t at, bool bigEndian) {
    const std::uint32_t first = Read16(bytes, at, bigEndian), second = Read16(bytes, at + 2, bigEndian);
    return bigEndian ? first << 16 | second : second << 16 | first;
}

bool MatchesAt(const Bytes& bytes, std::size_t at, const char* text, std::size_t size) {
    return at <= bytes.size() && bytes.size() - at >= size && std::memcmp(bytes.data() + at, text, size) == 0;
}

constexpr char kProfileSignature[] =
    "ICC_PROFILE";  // with its closing zero; the segment's number and the number of segments follow
constexpr std::size_t kProfileHeaderBytes = sizeof kProfileSignature + 2;
constexpr std::size_t kMaxProfileChunk = 65533 - kProfileHeaderBytes;

// Calls `visit` with marker, offset and size of the content of each segment before the picture data.
void ForEachSegment(const Bytes& file, const std::function<void(int, std::size_t, std::size_t)>& visit) {
    std::size_t at = 2;
    while (at + 4 <= file.size() && file[at] == 0xFF && file[at + 1] != 0xDA) {
        const std::size_t size = Read16(file, at + 2, true);
        if (size < 2 || size > file.size() - at - 2) return;
        visit(file[at + 1], at + 4, size - 2);
        at += 2 + size;
    }
}

bool IsJpeg(const Bytes& file) {
    return MatchesAt(file, 0, "\xFF\xD8\xFF", 3);
}

bool IsProfileSegment(const Bytes& file, int marker, std::size_t at, std::size_t size) {
    return marker == 0xE2 && size >= kProfileHeaderBytes &&
           MatchesAt(file, at, kProfileSignature, sizeof kProfileSignature);
}

// Removes all profile segments, also empty ones: decoders would join them with the new profile.
void RemoveJpegProfile(Bytes& file) {
    Bytes kept(file.begin(), file.begin() + 2);
    std::size_t done = 2;
    ForEachSegment(file, [&](int marker, std::size_t at, std::size_t size) {
        const auto from = file.begin() + static_cast<std::ptrdiff_t>(done);
        done = at + size;
        if (IsProfileSegment(file, marker, at, size)) return;
        kept.insert(kept.end(), from, file.begin() + static_cast<std::ptrdiff_t>(done));
    });
    kept.insert(kept.end(), file.begin() + static_cast<std::ptrdiff_t>(done), file.end());
    file = std::move(kept);
}

}  // namespace

Bytes ReadJpegProfile(const Bytes& file) {
    std::vector<Bytes> chunks;
    if (!IsJpeg(file)) return {};
    ForEachSegment(file, [&](int marker, std::size_t at, std::size_t size) {
        if (!IsProfileSegment(file, marker, at, size)) return;
        const std::size_t number = file[at + sizeof kProfileSignature];
        if (number == 0) return;
        chunks.resize(std::max(chunks.size(), number));
        chunks[number - 1].assign(file.begin() + static_cast<std::ptrdiff_t>(at + kProfileHeaderBytes),
                                  file.begin() + static_cast<std::ptrdiff_t>(at + size));
    });
    Bytes profile;
    for (const Bytes& chunk : chunks) profile.insert(profile.end(), chunk.begin(), chunk.end());
    return profile;
}

namespace {

// The orientation in an EXIF block, which is a TIFF file without a picture; 0 when there is none.
int ExifOrientation(const Bytes& file, std::size_t start, std::size_t size) {
    constexpr std::uint32_t kOrientationTag = 274;
    if (size < 8) return 0;
    const std::size_t end = start + size;
    const bool bigEndian = file[start] == 'M';
    const std::size_t directory = Read32(file, start + 4, bigEndian);
    if (directory > size || size - directory < 2) return 0;
    const std::size_t count = Read16(file, start + directory, bigEndian);
    int orientation = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t entry = start + directory + 2 + i * 12;
        if (entry + 12 > end) break;
        if (Read16(file, entry, bigEndian) == kOrientationTag)
            orientation = static_cast<int>(Read16(file, entry + 8, bigEndian));
    }
    return orientation;
}

}  // namespace

int ReadWebpOrientation(const Bytes& file) {
    if (!MatchesAt(file, 0, "RIFF", 4) || !MatchesAt(file, 8, "WEBP", 4)) return 1;
    int orientation = 0;
    for (std::size_t at = 12; at + 8 <= file.size();) {
        const std::size_t size = Read32(file, at + 4, false);
        if (size > file.size() - at - 8) break;
        if (MatchesAt(file, at, "EXIF", 4)) {
            orientation = ExifOrientation(file, at + 8, size);
            break;
        }
        at += 8 + size + size % 2;
    }
    return orientation >= 1 && orientation <= 8 ? orientation : 1;
}

bool EmbedJpegProfile(Bytes& file, const Bytes& profile) {
    if (!IsJpeg(file) || file.size() < 64 || profile.empty() || profile.size() > 255 * kMaxProfileChunk)
        return false;
    const std::size_t first = Read16(file, 4, true);
    if (file[3] == 0xDA || first < 2 || first + 4 > file.size()) return false;
    // After the first segment, which must stay the first, unless it is a profile segment.
    const std::size_t place = IsProfileSegment(file, file[3], 6, first - 2) ? 2 : 4 + first;
    RemoveJpegProfile(file);
    const std::size_t count = (profile.size() + kMaxProfileChunk - 1) / kMaxProfileChunk;
    Bytes segments;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t from = i * kMaxProfileChunk,
                          size = std::min(kMaxProfileChunk, profile.size() - from);
        const std::size_t length = size + kProfileHeaderBytes + 2;
        segments.insert(segments.end(), {0xFF, 0xE2, static_cast<std::uint8_t>(length >> 8),
                                         static_cast<std::uint8_t>(length)});
        segments.insert(segments.end(), kProfileSignature, kProfileSignature + sizeof kProfileSignature);
        segments.insert(segments.end(), {static_cast<std::uint8_t>(i + 1), static_cast<std::uint8_t>(count)});
        segments.insert(segments.end(), profile.begin() + static_cast<std::ptrdiff_t>(from),
                        profile.begin() + static_cast<std::ptrdiff_t>(from + size));
    }
    file.insert(file.begin() + static_cast<std::ptrdiff_t>(place), segments.begin(), segments.end());
    return true;
}

}  // namespace images

#include "images/picture_metadata.h"

#include <algorithm>
#include <array>
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

void Append(Bytes& bytes, std::uint32_t value, int size, bool bigEndian) {
    for (int i = 0; i < size; ++i) {
        const int shift = 8 * (bigEndian ? size - 1 - i : i);
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

void Append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

bool HasAt(const Bytes& bytes, std::size_t at, const char* text, std::size_t size) {
    return at <= bytes.size() && bytes.size() - at >= size && std::memcmp(bytes.data() + at, text, size) == 0;
}

// ---- JPEG

constexpr char kProfileMark[] =
    "ICC_PROFILE";  // with its closing zero, then the piece's number and the count
constexpr std::size_t kProfileHead = sizeof kProfileMark + 2;
constexpr std::size_t kLargestPiece = 65533 - kProfileHead;

// Visits the segments before the picture data: marker, place and size of the content.
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
    return HasAt(file, 0, "\xFF\xD8\xFF", 3);
}

// Whether a segment of this content holds a piece of a profile.
bool IsProfilePiece(const Bytes& file, int marker, std::size_t at, std::size_t size) {
    return marker == 0xE2 && size >= kProfileHead && HasAt(file, at, kProfileMark, sizeof kProfileMark);
}

// Pieces of an earlier profile, and be they empty, would be taken for pieces of the new one.
void DropJpegProfile(Bytes& file) {
    Bytes kept(file.begin(), file.begin() + 2);
    std::size_t done = 2;
    ForEachSegment(file, [&](int marker, std::size_t at, std::size_t size) {
        const auto from = file.begin() + static_cast<std::ptrdiff_t>(done);
        done = at + size;
        if (IsProfilePiece(file, marker, at, size)) return;
        kept.insert(kept.end(), from, file.begin() + static_cast<std::ptrdiff_t>(done));
    });
    kept.insert(kept.end(), file.begin() + static_cast<std::ptrdiff_t>(done), file.end());
    file = std::move(kept);
}

void EmbedInJpeg(Bytes& file, const Bytes& profile) {
    // Behind the first segment, which must stay the first, unless it is itself a profile's.
    const std::size_t first = Read16(file, 4, true);
    const std::size_t place = IsProfilePiece(file, file[3], 6, first - 2) ? 2 : 4 + first;
    DropJpegProfile(file);
    const std::size_t count = (profile.size() + kLargestPiece - 1) / kLargestPiece;
    Bytes segments;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t from = i * kLargestPiece, size = std::min(kLargestPiece, profile.size() - from);
        Append(segments, {0xFF, 0xE2});
        Append(segments, static_cast<std::uint32_t>(size + kProfileHead + 2), 2, true);
        segments.insert(segments.end(), kProfileMark, kProfileMark + sizeof kProfileMark);
        Append(segments, {static_cast<std::uint8_t>(i + 1), static_cast<std::uint8_t>(count)});
        segments.insert(segments.end(), profile.begin() + static_cast<std::ptrdiff_t>(from),
                        profile.begin() + static_cast<std::ptrdiff_t>(from + size));
    }
    file.insert(file.begin() + static_cast<std::ptrdiff_t>(place), segments.begin(), segments.end());
}

// ---- PNG

std::uint32_t Crc(const Bytes& bytes) {
    static const std::array<std::uint32_t, 256> kTable = [] {
        std::array<std::uint32_t, 256> made{};
        for (std::uint32_t i = 0; i < 256; ++i) {
            std::uint32_t c = i;
            for (int bit = 0; bit < 8; ++bit) c = (c & 1) != 0 ? 0xEDB88320u ^ c >> 1 : c >> 1;
            made[i] = c;
        }
        return made;
    }();
    std::uint32_t crc = 0xFFFFFFFFu;
    for (const std::uint8_t byte : bytes) crc = kTable[(crc ^ byte) & 255] ^ crc >> 8;
    return crc ^ 0xFFFFFFFFu;
}

// A zlib stream that stores its content as it is.
Bytes Stored(const Bytes& content) {
    constexpr std::size_t kLargestBlock = 65535;
    Bytes stream{0x78, 0x01};
    std::uint32_t a = 1, b = 0;
    for (const std::uint8_t byte : content) {
        a = (a + byte) % 65521;
        b = (b + a) % 65521;
    }
    for (std::size_t at = 0; at < content.size(); at += kLargestBlock) {
        const std::size_t size = std::min(kLargestBlock, content.size() - at);
        stream.push_back(at + size == content.size() ? 1 : 0);
        Append(stream, static_cast<std::uint32_t>(size), 2, false);
        Append(stream, static_cast<std::uint32_t>(~size), 2, false);
        stream.insert(stream.end(), content.begin() + static_cast<std::ptrdiff_t>(at),
                      content.begin() + static_cast<std::ptrdiff_t>(at + size));
    }
    Append(stream, b << 16 | a, 4, true);
    return stream;
}

void EmbedInPng(Bytes& file, const Bytes& profile) {
    constexpr std::size_t kHeaderEnd = 8 + 25;  // the signature and the first chunk
    constexpr char kHead[] =
        "iCCPICC\0";  // the chunk's type, the profile's name, method 0 by the closing zero
    Bytes content(kHead, kHead + sizeof kHead);
    Append(content, Stored(profile));
    Bytes chunk;
    Append(chunk, static_cast<std::uint32_t>(content.size() - 4), 4, true);
    Append(chunk, content);
    Append(chunk, Crc(content), 4, true);
    file.insert(file.begin() + kHeaderEnd, chunk.begin(), chunk.end());
}

// ---- TIFF

constexpr std::uint32_t kProfileTag = 34675, kOrientationTag = 274;
constexpr std::uint32_t kUndefinedType = 7;

// The first directory moves to the file's end, where there is room for one entry more.
bool EmbedInTiff(Bytes& file, const Bytes& profile) {
    const bool big = file[0] == 'M';
    if (file.size() < 8) return false;
    const std::size_t old = Read32(file, 4, big);
    if (old > file.size() || file.size() - old < 2) return false;
    const std::size_t count = Read16(file, old, big);
    if (file.size() - old < 2 + count * 12 + 4) return false;
    if (file.size() % 2 != 0) file.push_back(0);
    const std::size_t data = file.size();
    Append(file, profile);
    if (file.size() % 2 != 0) file.push_back(0);

    Bytes directory;
    Append(directory, static_cast<std::uint32_t>(count + 1), 2, big);
    bool isPlaced = false;
    const auto place = [&] {  // entries stand in the order of their tags
        isPlaced = true;
        Append(directory, kProfileTag, 2, big);
        Append(directory, kUndefinedType, 2, big);
        Append(directory, static_cast<std::uint32_t>(profile.size()), 4, big);
        Append(directory, static_cast<std::uint32_t>(data), 4, big);
    };
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t entry = old + 2 + i * 12;
        if (!isPlaced && Read16(file, entry, big) > kProfileTag) place();
        directory.insert(directory.end(), file.begin() + static_cast<std::ptrdiff_t>(entry),
                         file.begin() + static_cast<std::ptrdiff_t>(entry + 12));
    }
    if (!isPlaced) place();
    Append(directory, Read32(file, old + 2 + count * 12, big), 4, big);
    Bytes start;
    Append(start, static_cast<std::uint32_t>(file.size()), 4, big);
    std::copy(start.begin(), start.end(), file.begin() + 4);
    Append(file, directory);
    return true;
}

}  // namespace

Bytes JpegProfile(const Bytes& file) {
    std::vector<Bytes> pieces;
    if (!IsJpeg(file)) return {};
    ForEachSegment(file, [&](int marker, std::size_t at, std::size_t size) {
        if (!IsProfilePiece(file, marker, at, size)) return;
        const std::size_t number = file[at + sizeof kProfileMark];
        if (number == 0) return;
        pieces.resize(std::max(pieces.size(), number));
        pieces[number - 1].assign(file.begin() + static_cast<std::ptrdiff_t>(at + kProfileHead),
                                  file.begin() + static_cast<std::ptrdiff_t>(at + size));
    });
    Bytes profile;
    for (const Bytes& piece : pieces) Append(profile, piece);
    return profile;
}

namespace {

// In an EXIF block, which is a TIFF file without a picture: its place and its size. 0 when it does not tell.
int ExifOrientation(const Bytes& file, std::size_t start, std::size_t size) {
    if (size < 8) return 0;
    const std::size_t end = start + size;
    const bool big = file[start] == 'M';
    const std::size_t directory = Read32(file, start + 4, big);
    if (directory > size || size - directory < 2) return 0;
    const std::size_t count = Read16(file, start + directory, big);
    int orientation = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t entry = start + directory + 2 + i * 12;
        if (entry + 12 > end) break;
        if (Read16(file, entry, big) == kOrientationTag)
            orientation = static_cast<int>(Read16(file, entry + 8, big));
    }
    return orientation;
}

int WebpOrientation(const Bytes& file) {
    for (std::size_t at = 12; at + 8 <= file.size();) {
        const std::size_t size = Read32(file, at + 4, false);
        if (size > file.size() - at - 8) break;
        if (HasAt(file, at, "EXIF", 4)) return ExifOrientation(file, at + 8, size);
        at += 8 + size + size % 2;
    }
    return 0;
}

}  // namespace

int OrientationIn(const Bytes& file) {
    int orientation = 0;
    if (HasAt(file, 0, "RIFF", 4) && HasAt(file, 8, "WEBP", 4)) orientation = WebpOrientation(file);
    if (IsJpeg(file)) {
        ForEachSegment(file, [&](int marker, std::size_t at, std::size_t size) {
            constexpr std::size_t kHead = 6;
            if (marker != 0xE1 || size < kHead || !HasAt(file, at, "Exif\0\0", kHead)) return;
            const int found = ExifOrientation(file, at + kHead, size - kHead);
            if (found != 0) orientation = found;
        });
    }
    return orientation >= 1 && orientation <= 8 ? orientation : 1;
}

bool EmbedProfile(Bytes& file, const Bytes& profile) {
    if (profile.empty() || file.size() < 64) return false;
    if (IsJpeg(file)) {
        const std::size_t first = Read16(file, 4, true);
        const bool isSound = file[3] != 0xDA && first >= 2 && first + 4 <= file.size();
        if (!isSound || profile.size() > 255 * kLargestPiece) return false;
        EmbedInJpeg(file, profile);
        return true;
    }
    if (HasAt(file, 0, "\x89PNG\r\n\x1A\n", 8)) {
        EmbedInPng(file, profile);
        return true;
    }
    const bool isTiff = HasAt(file, 0, "II*\0", 4) || HasAt(file, 0, "MM\0*", 4);
    return isTiff && EmbedInTiff(file, profile);
}

}  // namespace images

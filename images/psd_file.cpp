#include "images/psd_file.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#ifndef _WIN32
#include <zlib.h>
#endif

namespace images {

namespace {

using Bytes = std::vector<std::uint8_t>;

// A part of the file. Numbers are big-endian. Throws PictureError when it ends too early.
struct Section {
    const std::uint8_t* at;
    std::size_t left;  // bytes
    const std::string* name;

    Section Take(std::uint64_t size) {
        if (size > left) throw PictureError(*name + ": is cut short");
        const Section taken{at, static_cast<std::size_t>(size), name};
        at += size;
        left -= static_cast<std::size_t>(size);
        return taken;
    }
    std::uint64_t Number(int size) {
        const Section digits = Take(static_cast<std::uint64_t>(size));
        std::uint64_t number = 0;
        for (int i = 0; i < size; ++i) number = number << 8 | digits.at[i];
        return number;
    }
    int Int16() { return static_cast<std::int16_t>(Number(2)); }
    int Int32() { return static_cast<std::int32_t>(Number(4)); }
    bool StartsWith(const char* text) const {
        return left >= std::strlen(text) && std::memcmp(at, text, std::strlen(text)) == 0;
    }
};

struct Header {
    bool isLarge;  // PSB: some lengths have 8 bytes
    int channels, width, height, depth;
    int colours;  // 1 or 3

    int LengthSize() const { return isLarge ? 8 : 4; }
};

Header ReadHeader(Section& file) {
    constexpr int kGrey = 1, kRgb = 3, kCmyk = 4, kLab = 9;
    constexpr int kLargestSide = 300000;
    const std::string& name = *file.name;
    file.Take(4);
    Header header{};
    header.isLarge = file.Number(2) == 2;
    file.Take(6);
    header.channels = file.Int16();
    header.height = file.Int32();
    header.width = file.Int32();
    header.depth = file.Int16();
    const int mode = file.Int16();
    if (mode == kCmyk) throw PictureError(name + ": is a CMYK picture; convert it to RGB first");
    if (mode == kLab) throw PictureError(name + ": is a Lab picture; convert it to RGB first");
    if (mode != kGrey && mode != kRgb)
        throw PictureError(name + ": is neither an RGB nor a grey picture; convert it to RGB first");
    if (header.depth != 8 && header.depth != 16)
        throw PictureError(name + ": does not have 8 or 16 bits per channel; convert it first");
    header.colours = mode == kGrey ? 1 : 3;
    if (std::min(header.width, header.height) < 1 || std::max(header.width, header.height) > kLargestSide ||
        header.channels < header.colours) {
        throw PictureError(name + ": is damaged");
    }
    return header;
}

// Takes a count of bytes and then that many bytes.
Section TakeCounted(Section& from, int countSize) {
    return from.Take(from.Number(countSize));
}

// Takes the next of a list of blocks that start with "8BIM". False at the end of the list.
bool TakeResource(Section& list, int& id, Section& content) {
    if (!list.StartsWith("8BIM")) return false;
    list.Take(4);
    id = static_cast<int>(list.Number(2));
    const std::uint64_t nameSize = list.Number(1);
    list.Take(nameSize + (nameSize + 1) % 2);  // an even size with its count
    content = TakeCounted(list, 4);
    if (content.left % 2 != 0 && list.left > 0) list.Take(1);
    return true;
}

void ReadResources(Section list, Picture& picture) {
    constexpr int kResolution = 1005, kProfile = 1039, kExif = 1058, kXmp = 1060;
    int id = 0;
    for (Section content{}; TakeResource(list, id, content);) {
        if (id == kProfile) picture.profile.assign(content.at, content.at + content.left);
        if (id == kXmp) picture.xmp.assign(content.at, content.at + content.left);
        if (id == kExif) {
            constexpr char kPrefix[] = "Exif\0";  // with its closing zero
            picture.exif.assign(kPrefix, kPrefix + sizeof kPrefix);
            picture.exif.insert(picture.exif.end(), content.at, content.at + content.left);
        }
        if (id != kResolution) continue;
        // In pixels per inch, in 16.16 bits; the units after each value are those of the dialog.
        picture.resolutionX = RoundResolution(content.Int32() / 65536.0);
        content.Take(4);
        picture.resolutionY = RoundResolution(content.Int32() / 65536.0);
        picture.resolutionUnit = ResolutionUnit::kInch;
        if (picture.resolutionX < 1 || picture.resolutionY < 1) picture.resolutionX = picture.resolutionY = 0;
    }
}

enum Compression { kRaw = 0, kRunLengths = 1, kZip = 2, kZipDifferences = 3 };

// The size of a packed channel at which it can still be a whole one. Without this limit a small damaged file
// could ask for any amount of memory.
void RequirePlausibleSize(std::uint64_t unpacked, const Section& packed, int compression) {
    const std::uint64_t mostPerByte = compression == kRaw ? 1 : compression == kRunLengths ? 64 : 1032;
    if (unpacked > packed.left * mostPerByte) throw PictureError(*packed.name + ": is cut short");
}

// Unpacks PackBits: a count n below 128 and n + 1 bytes, or 257 - n times the next byte.
void UnpackRow(Section packed, std::uint8_t* to, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const auto n = static_cast<std::size_t>(packed.Number(1));
        if (n == 128) continue;
        const std::size_t count = n < 128 ? n + 1 : 257 - n;
        if (count > size - done) throw PictureError(*packed.name + ": is damaged");
        if (n < 128) {
            std::memcpy(to + done, packed.Take(count).at, count);
        } else {
            std::memset(to + done, static_cast<int>(packed.Number(1)), count);
        }
        done += count;
    }
}

void UnpackZip(const Section& packed, Bytes& to) {
#ifdef _WIN32
    (void)to;
    throw PictureError(*packed.name + ": has ZIP-compressed layers, which cannot be read on Windows");
#else
    uLongf size = to.size();
    if (uncompress(to.data(), &size, packed.at, packed.left) != Z_OK || size != to.size())
        throw PictureError(*packed.name + ": is damaged");
#endif
}

// Adds up the differences along a row.
void SumRow(std::uint8_t* row, int width, int depth) {
    const int step = depth / 8;
    for (int i = step; i < width * step; i += step) {
        if (depth == 8) {
            row[i] = static_cast<std::uint8_t>(row[i] + row[i - 1]);
        } else {
            const int sum = (row[i] << 8) + row[i + 1] + (row[i - 2] << 8) + row[i - 1];
            row[i] = static_cast<std::uint8_t>(sum >> 8);
            row[i + 1] = static_cast<std::uint8_t>(sum);
        }
    }
}

// Unpacks one channel. `counts` has the sizes of the packed rows if these are run lengths; `packed` loses
// what is read.
Plane UnpackChannel(const Header& header, int width, int height, int compression, Section& counts,
                    Section& packed) {
    const std::size_t rowBytes = static_cast<std::size_t>(width) * header.depth / 8;
    Bytes bytes(rowBytes * height);
    if (compression == kRaw) {
        std::memcpy(bytes.data(), packed.Take(bytes.size()).at, bytes.size());
    } else if (compression == kRunLengths) {
        for (int y = 0; y < height; ++y)
            UnpackRow(packed.Take(counts.Number(header.isLarge ? 4 : 2)), &bytes[y * rowBytes], rowBytes);
    } else if (compression == kZip || compression == kZipDifferences) {
        UnpackZip(packed, bytes);
    } else {
        throw PictureError(*packed.name + ": is damaged");
    }
    if (compression == kZipDifferences)
        for (int y = 0; y < height; ++y) SumRow(&bytes[y * rowBytes], width, header.depth);
    if (header.depth == 8) return Plane(bytes.begin(), bytes.end());
    Plane plane(bytes.size() / 2);
    for (std::size_t i = 0; i < plane.size(); ++i)
        plane[i] = static_cast<std::uint16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
    return plane;
}

// The merged picture's transparent pixels are mixed with white.
void RemoveWhite(Picture& picture) {
    const int largest = LargestSample(picture.depth);
    for (Plane& plane : picture.colour) {
        for (std::size_t i = 0; i < plane.size(); ++i) {
            const int alpha = picture.alpha[i];
            if (alpha == 0) continue;
            const std::int64_t above = std::max(0, plane[i] - (largest - alpha));
            plane[i] = static_cast<std::uint16_t>(
                std::min<std::int64_t>(largest, (above * largest + alpha / 2) / alpha));
        }
    }
}

void ReadMerged(Section file, const Header& header, bool hasAlpha, Picture& picture) {
    const int compression = file.Int16(), wanted = header.colours + (hasAlpha ? 1 : 0);
    Section counts{nullptr, 0, file.name};
    if (compression == kRunLengths)
        counts = file.Take(std::uint64_t(header.channels) * header.height * (header.isLarge ? 4 : 2));
    const std::uint64_t pixels = std::uint64_t(header.width) * header.height;
    RequirePlausibleSize(pixels * header.depth / 8 * header.channels, file, compression);
    picture.width = header.width;
    picture.height = header.height;
    picture.depth = header.depth;
    for (int i = 0; i < header.channels; ++i) {
        Plane plane = UnpackChannel(header, header.width, header.height, compression, counts, file);
        if (i < wanted)
            (i < header.colours ? picture.colour.emplace_back() : picture.alpha) = std::move(plane);
    }
    if (hasAlpha) RemoveWhite(picture);
}

// A layer's place, and the numbers and sizes of its channels.
struct LayerRecord {
    int left, top, width, height;
    std::vector<std::pair<int, std::uint64_t>> channels;
};

LayerRecord ReadLayerRecord(Section& info, const Header& header) {
    constexpr std::int64_t kLargestSide = 300000;
    LayerRecord layer{};
    layer.top = info.Int32();
    layer.left = info.Int32();
    const std::int64_t height = std::int64_t{info.Int32()} - layer.top;
    const std::int64_t width = std::int64_t{info.Int32()} - layer.left;
    if (std::min(width, height) < 0 || std::max(width, height) > kLargestSide)
        throw PictureError(*info.name + ": is damaged");
    layer.width = static_cast<int>(width);
    layer.height = static_cast<int>(height);
    for (int i = info.Int16(); i > 0; --i) {
        const int number = info.Int16();
        layer.channels.emplace_back(number, info.Number(header.LengthSize()));
    }
    info.Take(12);         // blend mode, opacity, clipping and flags
    TakeCounted(info, 4);  // mask, blending ranges and name
    return layer;
}

Picture ReadLayer(Section& info, const Header& header, const LayerRecord& record) {
    constexpr int kAlpha = -1;
    const bool isEmpty = record.width == 0 || record.height == 0;
    Picture layer = MakePicture(1, 1, header.depth, header.colours, isEmpty);
    if (isEmpty) {
        layer.alpha[0] = 0;
        for (const auto& [number, size] : record.channels) info.Take(size);
        return layer;
    }
    layer.width = record.width;
    layer.height = record.height;
    layer.offsetX = record.left;
    layer.offsetY = record.top;
    for (const auto& [number, size] : record.channels) {
        Section packed = info.Take(size);
        if (number < kAlpha || number >= header.colours) continue;  // a mask
        const int compression = packed.Int16();
        RequirePlausibleSize(PixelCount(layer) * header.depth / 8, packed, compression);
        Section counts{nullptr, 0, info.name};
        if (compression == kRunLengths)
            counts = packed.Take(std::uint64_t(record.height) * (header.isLarge ? 4 : 2));
        Plane& plane = number == kAlpha ? layer.alpha : layer.colour[static_cast<std::size_t>(number)];
        plane = UnpackChannel(header, record.width, record.height, compression, counts, packed);
    }
    for (Plane& plane : layer.colour) plane.resize(PixelCount(layer), 0);
    return layer;
}

// Finds the list of layers, which 16-bit files have in a tagged block.
Section FindLayerInfo(Section layersAndMasks, const Header& header) {
    Section info = TakeCounted(layersAndMasks, header.LengthSize());
    if (info.left > 0 || layersAndMasks.left < 4) return info;
    TakeCounted(layersAndMasks, 4);  // the mask of all layers
    while (layersAndMasks.StartsWith("8BIM") || layersAndMasks.StartsWith("8B64")) {
        const char* const longKeys[] = {"LMsk", "Lr16", "Lr32", "Layr", "Mt16", "Mt32", "Mtrn",
                                        "Alph", "FMsk", "lnk2", "FEid", "FXid", "PxSD"};
        layersAndMasks.Take(4);
        const Section key = layersAndMasks.Take(4);
        const bool isLong = header.isLarge && std::any_of(std::begin(longKeys), std::end(longKeys),
                                                          [&](const char* k) { return key.StartsWith(k); });
        const Section content = TakeCounted(layersAndMasks, isLong ? 8 : 4);
        if (key.StartsWith("Lr16")) return content;
        layersAndMasks.Take(std::min<std::size_t>(layersAndMasks.left, (4 - content.left % 4) % 4));
    }
    return info;
}

}  // namespace

LayeredPicture ReadPsd(const Bytes& bytes, const std::string& name, PsdLayers layers) {
    Section file{bytes.data(), bytes.size(), &name};
    const Header header = ReadHeader(file);
    TakeCounted(file, 4);  // the colour mode's own data
    const Section resources = TakeCounted(file, 4);
    const Section layersAndMasks = TakeCounted(file, header.LengthSize());
    Section info{nullptr, 0, &name};
    if (layersAndMasks.left > 0) info = FindLayerInfo(layersAndMasks, header);
    // A negative number of layers: the merged picture's next channel is its transparency.
    const int count = info.left > 0 ? info.Int16() : 0;
    LayeredPicture result;
    ReadResources(resources, result.merged);
    ReadMerged(file, header, count < 0 && header.channels > header.colours, result.merged);
    if (layers == PsdLayers::kSkip) return result;
    std::vector<LayerRecord> records;
    records.reserve(static_cast<std::size_t>(std::abs(count)));
    for (int i = 0; i < std::abs(count); ++i) records.push_back(ReadLayerRecord(info, header));
    for (std::size_t i = 0; i < std::min<std::size_t>(2, records.size()); ++i)
        result.layers.push_back(ReadLayer(info, header, records[i]));
    return result;
}

}  // namespace images

#include "frond/pe_resources.h"

#include <algorithm>
#include <cctype>

#include "frond/command.h"
#include "images/atomic_file.h"
#include "images/text.h"

namespace frond {

namespace {

constexpr std::uint32_t kSubdirectory = 0x80000000u;  // also marks a named entry
constexpr int kResourceDirectory = 2;                 // index in the data directory

struct Section {
    std::uint32_t address, size, fileOffset;
};

// A parsed PE file.
struct Image {
    const Bytes* bytes;
    std::vector<Section> sections;
    std::size_t resources = 0;  // file offset of the resource tree's root; 0: none
};

std::size_t FileOffset(const Image& image, std::uint32_t address) {
    for (const Section& section : image.sections) {
        if (address >= section.address && address - section.address < section.size) {
            return address - section.address + section.fileOffset;
        }
    }
    throw UnexpectedEnd();
}

// A name in the resource tree: the number of characters, then 16-bit characters.
std::string NameAt(const Image& image, std::uint32_t offset) {
    ByteReader reader{image.bytes, image.resources + offset};
    const std::uint32_t length = reader.Take16();
    std::string name;
    for (std::uint32_t i = 0; i < length; ++i) {
        const std::uint32_t c = reader.Take16();
        name += c < 128 ? static_cast<char>(std::toupper(static_cast<int>(c))) : '?';
    }
    return name;
}

struct Entry {
    std::uint32_t name, target;
};

std::vector<Entry> EntriesAt(const Image& image, std::uint32_t offset) {
    ByteReader reader{image.bytes, image.resources + offset + 12};
    const std::uint32_t count = reader.Take16() + reader.Take16();
    std::vector<Entry> entries;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t name = reader.Take32();
        entries.push_back({name, reader.Take32()});
    }
    return entries;
}

Bytes DataAt(const Image& image, std::uint32_t offset) {
    ByteReader reader{image.bytes, image.resources + offset};
    const std::uint32_t address = reader.Take32(), size = reader.Take32();
    ByteReader data{image.bytes, FileOffset(image, address)};
    const std::string text = data.TakeText(size);
    return Bytes(text.begin(), text.end());
}

// The resource tree has three levels: type, name, language. Only the first language is read.
std::vector<PeResource> ResourcesOf(const Image& image) {
    std::vector<PeResource> resources;
    if (image.resources == 0) return resources;
    for (const Entry& type : EntriesAt(image, 0)) {
        const std::string typeName = (type.name & kSubdirectory) != 0
                                         ? NameAt(image, type.name & ~kSubdirectory)
                                         : "#" + std::to_string(type.name);
        if ((type.target & kSubdirectory) == 0) continue;
        for (const Entry& name : EntriesAt(image, type.target & ~kSubdirectory)) {
            if ((name.target & kSubdirectory) == 0) continue;
            const std::vector<Entry> languages = EntriesAt(image, name.target & ~kSubdirectory);
            if (languages.empty() || (languages[0].target & kSubdirectory) != 0) continue;
            resources.push_back({typeName, (name.name & kSubdirectory) != 0 ? 0 : name.name,
                                 DataAt(image, languages[0].target)});
        }
    }
    return resources;
}

std::string MachineText(std::uint32_t machine) {
    switch (machine) {
        case 0x014c:
            return "32-bit Windows (x86)";
        case 0x8664:
            return "64-bit Windows (x86-64)";
        case 0xaa64:
            return "64-bit Windows (ARM)";
        default:
            return "an unknown Windows machine";
    }
}

PeFile Parse(const Bytes& bytes) {
    ByteReader reader{&bytes};
    PeFile file;
    reader.at = 0x3c;
    reader.at = reader.Take32();
    if (reader.Take32() != 0x00004550) throw UnexpectedEnd();  // "PE", two zero bytes
    file.machine = MachineText(reader.Take16());
    const std::uint32_t sectionCount = reader.Take16();
    reader.at += 12;
    const std::uint32_t optionalSize = reader.Take16();
    reader.at += 2;
    const std::size_t optional = reader.at;
    file.bits = reader.Take16() == 0x20b ? 64 : 32;

    Image image{&bytes, {}};
    reader.at = optional + optionalSize;
    for (std::uint32_t i = 0; i < sectionCount; ++i) {
        reader.at += 8;
        const std::uint32_t virtualSize = reader.Take32(), address = reader.Take32();
        const std::uint32_t rawSize = reader.Take32(), rawOffset = reader.Take32();
        image.sections.push_back({address, std::max(virtualSize, rawSize), rawOffset});
        reader.at += 16;
    }
    reader.at = optional + (file.bits == 64 ? 108 : 92);
    if (reader.Take32() > kResourceDirectory) {
        reader.at += kResourceDirectory * 8;
        const std::uint32_t address = reader.Take32();
        if (address != 0) image.resources = FileOffset(image, address);
    }
    file.resources = ResourcesOf(image);
    return file;
}

}  // namespace

PeFile ParsePeFile(const Bytes& bytes, const std::string& file) {
    if (bytes.size() < 64 || bytes[0] != 'M' || bytes[1] != 'Z') {
        throw Failure(kNoModule, file + ": is not a Windows module");
    }
    try {
        return Parse(bytes);
    } catch (const UnexpectedEnd&) {
        throw Failure(kNoModule, file + ": is not a Windows module, or is damaged");
    }
}

PeFile ReadPeFile(const std::filesystem::path& path) {
    try {
        return ParsePeFile(images::ReadFileBytes(path), images::DisplayName(path));
    } catch (const images::PictureError& error) {
        throw Failure(kBadInput, error.what());
    }
}

}  // namespace frond

#include "host/descriptor.h"

#include <cstring>

namespace host {

namespace {

// A block has 32-bit words: the signature, the number of items, then key, type and value of each item.
constexpr std::uint32_t kSignature = FourCC("dscr");
constexpr std::size_t kHeaderWords = 2;
constexpr std::size_t kItemWords = 3;

}  // namespace

std::vector<std::uint8_t> EncodeDescriptor(const Descriptor& descriptor) {
    std::vector<std::uint32_t> words = {kSignature, static_cast<std::uint32_t>(descriptor.size())};
    for (const DescriptorItem& item : descriptor) {
        words.push_back(item.key);
        words.push_back(item.type);
        words.push_back(static_cast<std::uint32_t>(item.value));
    }
    std::vector<std::uint8_t> block(words.size() * sizeof words[0]);
    std::memcpy(block.data(), words.data(), block.size());
    return block;
}

std::optional<Descriptor> DecodeDescriptor(const void* block, std::size_t size) {
    std::vector<std::uint32_t> words(size / sizeof(std::uint32_t));
    if (words.size() < kHeaderWords || size % sizeof words[0] != 0) return std::nullopt;
    std::memcpy(words.data(), block, size);
    if (words[0] != kSignature || (words.size() - kHeaderWords) % kItemWords != 0 ||
        words[1] != (words.size() - kHeaderWords) / kItemWords) {
        return std::nullopt;
    }
    Descriptor descriptor;
    for (std::size_t i = kHeaderWords; i < words.size(); i += kItemWords) {
        descriptor.push_back({words[i], words[i + 1], static_cast<std::int32_t>(words[i + 2])});
    }
    return descriptor;
}

std::string CodeText(FourCharCode code) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = static_cast<char>(code >> shift);
        text += c >= ' ' && c <= '~' ? c : '.';
    }
    return text;
}

}  // namespace host

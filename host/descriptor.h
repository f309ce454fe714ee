// A descriptor: a run's recorded parameters as a list of keys, types and values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "hostapi/hostapi.h"

namespace host {

constexpr FourCharCode kTypeInteger = FourCC("long");
constexpr FourCharCode kTypeBoolean = FourCC("bool");

struct DescriptorItem {
    FourCharCode key = 0;
    FourCharCode type = 0;  // kTypeInteger, kTypeBoolean, or another type, whose value the module cannot read
    std::int32_t value = 0;  // 0 or 1 for kTypeBoolean
};

inline bool operator==(const DescriptorItem& a, const DescriptorItem& b) {
    return a.key == b.key && a.type == b.type && a.value == b.value;
}

// In the order of recording.
using Descriptor = std::vector<DescriptorItem>;

// Convert to and from the block of a descriptor's handle. Decoding returns nothing for a block that this host
// did not write.
std::vector<std::uint8_t> EncodeDescriptor(const Descriptor& descriptor);
std::optional<Descriptor> DecodeDescriptor(const void* block, std::size_t size);

// A code's four characters, with a dot for each unprintable one.
std::string CodeText(FourCharCode code);

}  // namespace host

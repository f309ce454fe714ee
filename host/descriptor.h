// A run's recorded parameters, as the host keeps them: a list of keys, types and values behind a handle.
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
    FourCharCode type = 0;   // kTypeInteger, kTypeBoolean, or another type, whose value no service gives
    std::int32_t value = 0;  // of a flag: 0 or 1
};

inline bool operator==(const DescriptorItem& a, const DescriptorItem& b) {
    return a.key == b.key && a.type == b.type && a.value == b.value;
}

// A parameter list, in the order of recording.
using Descriptor = std::vector<DescriptorItem>;

// The block that stands behind a descriptor's handle, and back. A block that this host did not write gives
// nothing.
std::vector<std::uint8_t> EncodeDescriptor(const Descriptor& descriptor);
std::optional<Descriptor> DecodeDescriptor(const void* block, std::size_t size);

// The four characters of a code, those that do not print as dots.
std::string CodeText(FourCharCode code);

}  // namespace host

// Describes a filter module's two resources as text.
#pragma once

#include <string>

#include "frond/byte_reader.h"

namespace frond {

// Reads a four-character code as resources store it: low byte first.
std::string TakeCode(ByteReader& reader);

// The property list (`PIPL`) and the terminology (`AETE`). Throw UnexpectedEnd for a truncated block.
std::string DescribePropertyList(const Bytes& list);
std::string DescribeTerminology(const Bytes& table);

}  // namespace frond

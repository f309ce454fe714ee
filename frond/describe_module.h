// A filter module's two resources in words, line by line.
#pragma once

#include <string>

#include "frond/bytes.h"

namespace frond {

// A four-character code as stored in resources: low byte first.
std::string TakeCode(ByteReader& reader);

// The property list (`PIPL`) and the terminology (`AETE`). Both throw OutOfBytes for a block that ends too
// early.
std::string DescribePropertyList(const Bytes& list);
std::string DescribeTerminology(const Bytes& table);

}  // namespace frond

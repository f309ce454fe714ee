// A filter module's two resources in words, line by line.
#pragma once

#include <string>

#include "host/frond/bytes.h"

namespace frond {

// A four-character code as stored in resources: low byte first.
std::string TakeCode(ByteReader& reader);

// The property list (`PIPL`) and the terminology (`AETE`). Both throw OutOfBytes for a block that ends too
// early.
std::string PropertyListInWords(const Bytes& list);
std::string TerminologyInWords(const Bytes& table);

}  // namespace frond

// Codes of the raw resources.
//
// The resource compiler writes raw data little-endian: a number has 16 bits, a number with the suffix L has
// 32 bits, a quoted text has no terminator. Four-character codes are stored low byte first, so they are
// written backwards. The first byte of a string is its length, in octal.
#pragma once

#define CODE_NONE "llun"    // null
#define CODE_VENDOR "MIB8"  // 8BIM
#define CODE_EVENT "1Kds"   // sdK1: class, event and suite of the scripting interface

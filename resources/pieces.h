// Shared pieces of the raw resources.
//
// Everything is laid down byte for byte and little-endian: a bare number is 16 bits, one with the ending L is
// 32 bits, a quoted text is its characters alone, without an end mark. Four-character codes are stored low
// byte first and so read backwards; a string's first byte is its length, written in octal.
#pragma once

#define CODE_NONE "llun"    // null
#define CODE_VENDOR "MIB8"  // 8BIM
#define CODE_EVENT "1Kds"   // sdK1: class, event and suite of the scripting interface

// What the passes over whole numbers share. std::min and std::max are not used here: the linker may keep the
// copy of one instruction set for all of the module.
#pragma once

namespace keying::FROND_VARIANT {

// Pixels that such a pass handles at a time.
constexpr int kBlock = 256;

// Vectors of samples that can be added: the sums of their lanes are exact.
constexpr int kMostAdded = 128;
static_assert(kMostAdded * 255 < 1 << 15 && kMostAdded * 65535 < 1 << 24);

template <class Number>
static inline Number Min(Number a, Number b) {
    return a < b ? a : b;
}

template <class Number>
static inline Number Max(Number a, Number b) {
    return a > b ? a : b;
}

}  // namespace keying::FROND_VARIANT

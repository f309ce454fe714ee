// Vectors of doubles for the vector variants of the engine: one thin layer over the instruction set that the
// including file is compiled for. Everything here computes each lane as the scalar reference computes its one
// value: separate multiplications and additions, IEEE comparisons, the same truncating store.
//
// FROND_VARIANT names the variant and is its namespace, so that three builds of one source can live in one
// module. Each instruction set's header gives the types V (doubles) and M (a mask of lanes), their number
// kLanes, and the operations on them; what follows from those stands here. Comparisons with a non-number are
// false, and a limit that meets one leaves it alone.
#pragma once

#include <cstdint>
#include <cstring>

#if defined(__AVX512F__)
#include "engine/simd/vec_avx512.h"
#elif defined(__AVX2__)
#include "engine/simd/vec_avx2.h"
#else
#include "engine/simd/vec_sse2.h"
#endif

namespace keying::FROND_VARIANT {

inline V LimitTo(V v, V low, V high) {
    return LimitHigh(LimitLow(v, low), high);
}
inline F LimitTo(F v, F low, F high) {
    return LimitHigh(LimitLow(v, low), high);
}
inline M Greater(V a, V b) {
    return Less(b, a);
}
inline FM Greater(F a, F b) {
    return Less(b, a);
}
inline M GreaterEqual(V a, V b) {
    return LessEqual(b, a);
}
inline bool Any(M m) {
    return Bits(m) != 0;
}
inline bool Any(FM m) {
    return Bits(m) != 0;
}
inline bool All(FM m) {
    return Bits(m) == (1u << kFloats) - 1;
}
inline bool All(M m) {
    return Bits(m) == (1u << kLanes) - 1;
}
inline V Largest(V a, V b) {
    return LimitLow(a, b);
}
inline V Smallest(V a, V b) {
    return LimitHigh(a, b);
}

inline F Largest(F a, F b) {
    return LimitLow(a, b);
}
inline F Smallest(F a, F b) {
    return LimitHigh(a, b);
}

// v / (odd * power) with the one rounding of a division, without one: power a power of two, odd below 2^20,
// and v finite and far from the ends of the range.
//
// q is near the quotient, and v / power - odd * q is worked out exactly: q is cut into two halves, whose
// products with odd have no more than 53 bits, and each difference is of two numbers close to each other. The
// quotient is q and a fraction of its last place; since odd divides no power of two, it is never nearer to a
// rounding border than 1 / (2 odd) of that place, and the last sum, whose error is far smaller, rounds as the
// division would.
template <int odd, int power>
inline V DivideBy(V v) {
    constexpr double inverse = 1.0 / odd;
    const V scaled = v * Set(1.0 / power);
    const V q = scaled * Set(inverse);
    const V high = UpperHalf(q), low = q - high;
    return q + (scaled - high * Set(odd) - low * Set(odd)) * Set(inverse);
}

// The first n samples from p on, n at least 1; lanes past them are 0, and memory past them is not touched.
template <class Sample>
inline V LoadSamples(const Sample* p, int n) {
    if (n >= kLanes) return LoadWhole(p);
    Sample part[kLanes] = {};
    std::memcpy(part, p, sizeof(Sample) * static_cast<unsigned>(n));
    return LoadWhole(part);
}

// Stores the first n lanes as samples: cut toward zero, the low bits kept, 0 for a non-number or a value
// beyond the 32-bit range (for which the conversion gives the one integer whose low half is 0).
template <class Sample>
inline void StoreSamples(Sample* p, V v, int n) {
    if (n >= kLanes) {
        StoreWhole(p, v);
        return;
    }
    Sample part[kLanes];
    StoreWhole(part, v);
    std::memcpy(p, part, sizeof(Sample) * static_cast<unsigned>(n));
}

}  // namespace keying::FROND_VARIANT

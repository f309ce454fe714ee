// Two lanes, of SSE2. See lanes.h.
#pragma once

#include <immintrin.h>

#include <cstdint>

namespace FROND_FORM {

using V = __m128d;
using M = __m128d;
constexpr int kLanes = 2;

inline V Set(double v) {
    return _mm_set1_pd(v);
}
inline V Load(const double* p) {
    return _mm_loadu_pd(p);
}
inline void Store(double* p, V v) {
    _mm_storeu_pd(p, v);
}
inline V Sqrt(V v) {
    return _mm_sqrt_pd(v);
}
inline V Abs(V v) {
    return _mm_andnot_pd(_mm_set1_pd(-0.0), v);
}
inline V LimitLow(V v, V low) {
    return _mm_max_pd(low, v);
}
inline V LimitHigh(V v, V high) {
    return _mm_min_pd(high, v);
}
inline M Less(V a, V b) {
    return _mm_cmplt_pd(a, b);
}
inline M LessEqual(V a, V b) {
    return _mm_cmple_pd(a, b);
}
inline M Equal(V a, V b) {
    return _mm_cmpeq_pd(a, b);
}
inline M And(M a, M b) {
    return _mm_and_pd(a, b);
}
inline M Or(M a, M b) {
    return _mm_or_pd(a, b);
}
inline M AndNot(M a, M b) {
    return _mm_andnot_pd(b, a);
}
inline V Select(M m, V a, V b) {
    return _mm_or_pd(_mm_and_pd(m, a), _mm_andnot_pd(m, b));
}
inline unsigned Bits(M m) {
    return static_cast<unsigned>(_mm_movemask_pd(m));
}
inline M FirstLanes(int n) {
    return Less(_mm_set_pd(1, 0), Set(n));
}
inline void StorePacked(double* p, M m, V v) {
    Store(p, Bits(m) == 2 ? _mm_unpackhi_pd(v, v) : v);
}
inline V Gather(const double* table, V index) {
    const __m128i i = _mm_cvttpd_epi32(index);
    return _mm_set_pd(table[_mm_cvtsi128_si32(_mm_shuffle_epi32(i, 1))], table[_mm_cvtsi128_si32(i)]);
}
inline V UpperHalf(V v) {
    return _mm_and_pd(v, _mm_castsi128_pd(_mm_set1_epi64x(~0x7ffffffLL)));
}
// For values within the 32-bit range.
inline V Truncate(V v) {
    return _mm_cvtepi32_pd(_mm_cvttpd_epi32(v));
}

template <class Sample>
inline V LoadWhole(const Sample* p) {
    return _mm_set_pd(p[1], p[0]);
}
template <class Sample>
inline void StoreWhole(Sample* p, V v) {
    const __m128i i = _mm_cvttpd_epi32(v);
    p[0] = static_cast<Sample>(_mm_cvtsi128_si32(i));
    p[1] = static_cast<Sample>(_mm_cvtsi128_si32(_mm_shuffle_epi32(i, 1)));
}

}  // namespace FROND_FORM

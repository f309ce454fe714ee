// Two lanes, of SSE2. See lanes.h.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>

namespace keying::FROND_VARIANT {

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

// Single precision, for what decides by margins.
using F = __m128;
using FM = __m128;
constexpr int kFloats = 4;

inline F SetF(float v) {
    return _mm_set1_ps(v);
}
inline F LoadF(const float* p) {
    return _mm_loadu_ps(p);
}
inline void Store(float* p, F v) {
    _mm_storeu_ps(p, v);
}
inline F Narrow(V low, V high) {
    return _mm_movelh_ps(_mm_cvtpd_ps(low), _mm_cvtpd_ps(high));
}
inline V Widen(const float* p) {
    return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
inline F LimitLow(F v, F low) {
    return _mm_max_ps(low, v);
}
inline F LimitHigh(F v, F high) {
    return _mm_min_ps(high, v);
}
inline FM Less(F a, F b) {
    return _mm_cmplt_ps(a, b);
}
inline FM LessEqual(F a, F b) {
    return _mm_cmple_ps(a, b);
}
inline FM And(FM a, FM b) {
    return _mm_and_ps(a, b);
}
inline FM Or(FM a, FM b) {
    return _mm_or_ps(a, b);
}
inline FM AndNot(FM a, FM b) {
    return _mm_andnot_ps(b, a);
}
inline F Select(FM m, F a, F b) {
    return _mm_or_ps(_mm_and_ps(m, a), _mm_andnot_ps(m, b));
}
inline unsigned Bits(FM m) {
    return static_cast<unsigned>(_mm_movemask_ps(m));
}
inline F Gather(const float* table, F index) {
    alignas(16) std::int32_t i[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(i), _mm_cvttps_epi32(index));
    return _mm_set_ps(table[i[3]], table[i[2]], table[i[1]], table[i[0]]);
}
inline F Truncate(F v) {
    return _mm_cvtepi32_ps(_mm_cvttps_epi32(v));
}
inline F LoadSingles(const std::uint8_t* p) {
    std::int32_t four;
    std::memcpy(&four, p, sizeof four);
    const __m128i zero = _mm_setzero_si128();
    return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(four), zero), zero));
}
inline F LoadSingles(const std::uint16_t* p) {
    const __m128i four = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
    return _mm_cvtepi32_ps(_mm_unpacklo_epi16(four, _mm_setzero_si128()));
}

}  // namespace keying::FROND_VARIANT

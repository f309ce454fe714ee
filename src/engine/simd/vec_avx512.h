// Eight lanes, of AVX-512. See lanes.h.
#pragma once

#include <immintrin.h>

#include <cstdint>

namespace keying::FROND_VARIANT {

using V = __m512d;
using M = __mmask8;
constexpr int kLanes = 8;

inline V Set(double v) {
    return _mm512_set1_pd(v);
}
inline V Load(const double* p) {
    return _mm512_loadu_pd(p);
}
inline void Store(double* p, V v) {
    _mm512_storeu_pd(p, v);
}
inline V Sqrt(V v) {
    return _mm512_sqrt_pd(v);
}
inline V Abs(V v) {
    return _mm512_abs_pd(v);
}
inline V LimitLow(V v, V low) {
    return _mm512_max_pd(low, v);
}
inline V LimitHigh(V v, V high) {
    return _mm512_min_pd(high, v);
}
inline M Less(V a, V b) {
    return _mm512_cmp_pd_mask(a, b, _CMP_LT_OQ);
}
inline M LessEqual(V a, V b) {
    return _mm512_cmp_pd_mask(a, b, _CMP_LE_OQ);
}
inline M Equal(V a, V b) {
    return _mm512_cmp_pd_mask(a, b, _CMP_EQ_OQ);
}
inline M And(M a, M b) {
    return static_cast<M>(a & b);
}
inline M Or(M a, M b) {
    return static_cast<M>(a | b);
}
inline M AndNot(M a, M b) {
    return static_cast<M>(a & ~b);
}
inline V Select(M m, V a, V b) {
    return _mm512_mask_blend_pd(m, b, a);
}
inline unsigned Bits(M m) {
    return m;
}
inline M FirstLanes(int n) {
    return n >= kLanes ? 0xff : static_cast<M>((1u << n) - 1);
}
inline void StorePacked(double* p, M m, V v) {
    _mm512_storeu_pd(p, _mm512_maskz_compress_pd(m, v));
}
inline V Gather(const double* table, V index) {
    return _mm512_i32gather_pd(_mm512_cvttpd_epi32(index), table, 8);
}
// The lower half of the mantissa cleared.
inline V UpperHalf(V v) {
    return _mm512_castsi512_pd(_mm512_and_si512(_mm512_castpd_si512(v), _mm512_set1_epi64(~0x7ffffffLL)));
}
inline V Truncate(V v) {
    return _mm512_roundscale_pd(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
}

inline V LoadWhole(const std::uint8_t* p) {
    return _mm512_cvtepi32_pd(_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
inline V LoadWhole(const std::uint16_t* p) {
    return _mm512_cvtepi32_pd(_mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
}
inline void StoreWhole(std::uint8_t* p, V v) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm256_cvtepi32_epi8(_mm512_cvttpd_epi32(v)));
}
inline void StoreWhole(std::uint16_t* p, V v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_cvtepi32_epi16(_mm512_cvttpd_epi32(v)));
}

// Single precision, for what decides by margins.
using F = __m512;
using FM = __mmask16;
constexpr int kFloats = 16;

inline F SetF(float v) {
    return _mm512_set1_ps(v);
}
inline F LoadF(const float* p) {
    return _mm512_loadu_ps(p);
}
inline void Store(float* p, F v) {
    _mm512_storeu_ps(p, v);
}
inline F Narrow(V low, V high) {
    return _mm512_insertf32x8(_mm512_castps256_ps512(_mm512_cvtpd_ps(low)), _mm512_cvtpd_ps(high), 1);
}
inline V Widen(const float* p) {
    return _mm512_cvtps_pd(_mm256_loadu_ps(p));
}
inline F LimitLow(F v, F low) {
    return _mm512_max_ps(low, v);
}
inline F LimitHigh(F v, F high) {
    return _mm512_min_ps(high, v);
}
inline FM Less(F a, F b) {
    return _mm512_cmp_ps_mask(a, b, _CMP_LT_OQ);
}
inline FM LessEqual(F a, F b) {
    return _mm512_cmp_ps_mask(a, b, _CMP_LE_OQ);
}
inline FM And(FM a, FM b) {
    return static_cast<FM>(a & b);
}
inline FM Or(FM a, FM b) {
    return static_cast<FM>(a | b);
}
inline FM AndNot(FM a, FM b) {
    return static_cast<FM>(a & ~b);
}
inline F Select(FM m, F a, F b) {
    return _mm512_mask_blend_ps(m, b, a);
}
inline unsigned Bits(FM m) {
    return m;
}
inline F Gather(const float* table, F index) {
    return _mm512_i32gather_ps(_mm512_cvttps_epi32(index), table, 4);
}
inline F Truncate(F v) {
    return _mm512_roundscale_ps(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
}
inline F LoadSingles(const std::uint8_t* p) {
    return _mm512_cvtepi32_ps(_mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
}
inline F LoadSingles(const std::uint16_t* p) {
    return _mm512_cvtepi32_ps(_mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p))));
}

}  // namespace keying::FROND_VARIANT

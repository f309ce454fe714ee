// Four lanes, of AVX2. See lanes.h.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>

namespace keying::FROND_VARIANT {

using V = __m256d;
using M = __m256d;
constexpr int kLanes = 4;

inline V Set(double v) {
    return _mm256_set1_pd(v);
}
inline V Load(const double* p) {
    return _mm256_loadu_pd(p);
}
inline void Store(double* p, V v) {
    _mm256_storeu_pd(p, v);
}
inline V Sqrt(V v) {
    return _mm256_sqrt_pd(v);
}
inline V Abs(V v) {
    return _mm256_andnot_pd(_mm256_set1_pd(-0.0), v);
}
inline V LimitLow(V v, V low) {
    return _mm256_max_pd(low, v);
}
inline V LimitHigh(V v, V high) {
    return _mm256_min_pd(high, v);
}
inline M Less(V a, V b) {
    return _mm256_cmp_pd(a, b, _CMP_LT_OQ);
}
inline M LessEqual(V a, V b) {
    return _mm256_cmp_pd(a, b, _CMP_LE_OQ);
}
inline M Equal(V a, V b) {
    return _mm256_cmp_pd(a, b, _CMP_EQ_OQ);
}
inline M And(M a, M b) {
    return _mm256_and_pd(a, b);
}
inline M Or(M a, M b) {
    return _mm256_or_pd(a, b);
}
inline M AndNot(M a, M b) {
    return _mm256_andnot_pd(b, a);
}
inline V Select(M m, V a, V b) {
    return _mm256_blendv_pd(b, a, m);
}
inline unsigned Bits(M m) {
    return static_cast<unsigned>(_mm256_movemask_pd(m));
}
inline M FirstLanes(int n) {
    return Less(_mm256_set_pd(3, 2, 1, 0), Set(n));
}
// Lane order that packs the lanes of a mask to the front, as pairs of 32-bit halves.
alignas(32) constexpr std::int32_t kPackOrder[16][8] = {
    {0, 1, 2, 3, 4, 5, 6, 7}, {0, 1, 2, 3, 4, 5, 6, 7}, {2, 3, 0, 1, 4, 5, 6, 7}, {0, 1, 2, 3, 4, 5, 6, 7},
    {4, 5, 0, 1, 2, 3, 6, 7}, {0, 1, 4, 5, 2, 3, 6, 7}, {2, 3, 4, 5, 0, 1, 6, 7}, {0, 1, 2, 3, 4, 5, 6, 7},
    {6, 7, 0, 1, 2, 3, 4, 5}, {0, 1, 6, 7, 2, 3, 4, 5}, {2, 3, 6, 7, 0, 1, 4, 5}, {0, 1, 2, 3, 6, 7, 4, 5},
    {4, 5, 6, 7, 0, 1, 2, 3}, {0, 1, 4, 5, 6, 7, 2, 3}, {2, 3, 4, 5, 6, 7, 0, 1}, {0, 1, 2, 3, 4, 5, 6, 7}};
inline void StorePacked(double* p, M m, V v) {
    const __m256i order = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kPackOrder[Bits(m)]));
    Store(p, _mm256_castps_pd(_mm256_permutevar8x32_ps(_mm256_castpd_ps(v), order)));
}
inline V Gather(const double* table, V index) {
    return _mm256_i32gather_pd(table, _mm256_cvttpd_epi32(index), 8);
}
inline V UpperHalf(V v) {
    return _mm256_and_pd(v, _mm256_castsi256_pd(_mm256_set1_epi64x(~0x7ffffffLL)));
}
inline V Truncate(V v) {
    return _mm256_round_pd(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
}

inline V LoadWhole(const std::uint8_t* p) {
    std::int32_t four;
    std::memcpy(&four, p, sizeof four);
    return _mm256_cvtepi32_pd(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(four)));
}
inline V LoadWhole(const std::uint16_t* p) {
    return _mm256_cvtepi32_pd(_mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
inline void StoreWhole(std::uint8_t* p, V v) {
    const __m128i low = _mm_set1_epi32(0x0c080400);
    const std::int32_t four = _mm_cvtsi128_si32(_mm_shuffle_epi8(_mm256_cvttpd_epi32(v), low));
    std::memcpy(p, &four, sizeof four);
}
inline void StoreWhole(std::uint16_t* p, V v) {
    const __m128i low = _mm_set_epi8(13, 12, 9, 8, 5, 4, 1, 0, 13, 12, 9, 8, 5, 4, 1, 0);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_shuffle_epi8(_mm256_cvttpd_epi32(v), low));
}

// Single precision, for what decides by margins.
using F = __m256;
using FM = __m256;
constexpr int kFloats = 8;

inline F SetF(float v) {
    return _mm256_set1_ps(v);
}
inline F LoadF(const float* p) {
    return _mm256_loadu_ps(p);
}
inline void Store(float* p, F v) {
    _mm256_storeu_ps(p, v);
}
inline F Narrow(V low, V high) {
    return _mm256_set_m128(_mm256_cvtpd_ps(high), _mm256_cvtpd_ps(low));
}
inline V Widen(const float* p) {
    return _mm256_cvtps_pd(_mm_loadu_ps(p));
}
inline F LimitLow(F v, F low) {
    return _mm256_max_ps(low, v);
}
inline F LimitHigh(F v, F high) {
    return _mm256_min_ps(high, v);
}
inline FM Less(F a, F b) {
    return _mm256_cmp_ps(a, b, _CMP_LT_OQ);
}
inline FM LessEqual(F a, F b) {
    return _mm256_cmp_ps(a, b, _CMP_LE_OQ);
}
inline FM And(FM a, FM b) {
    return _mm256_and_ps(a, b);
}
inline FM Or(FM a, FM b) {
    return _mm256_or_ps(a, b);
}
inline FM AndNot(FM a, FM b) {
    return _mm256_andnot_ps(b, a);
}
inline F Select(FM m, F a, F b) {
    return _mm256_blendv_ps(b, a, m);
}
inline unsigned Bits(FM m) {
    return static_cast<unsigned>(_mm256_movemask_ps(m));
}
inline F Gather(const float* table, F index) {
    return _mm256_i32gather_ps(table, _mm256_cvttps_epi32(index), 4);
}
inline F Truncate(F v) {
    return _mm256_round_ps(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
}
inline F LoadSingles(const std::uint8_t* p) {
    return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
inline F LoadSingles(const std::uint16_t* p) {
    return _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
}

}  // namespace keying::FROND_VARIANT

// Vectors of doubles for the faster forms of the engine: one thin layer over the instruction set that the
// including file is compiled for. Everything here computes each lane as the plain form computes its one
// value: separate multiplications and additions, IEEE comparisons, the same truncating store.
//
// FROND_FORM names the form and is its namespace, so that three builds of one source can live in one module.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>

namespace FROND_FORM {

#if defined(__AVX512F__)

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

#elif defined(__AVX2__)

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

#else

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

#endif

inline V LimitTo(V v, V low, V high) {
    return LimitHigh(LimitLow(v, low), high);
}
inline M Greater(V a, V b) {
    return Less(b, a);
}
inline M GreaterEqual(V a, V b) {
    return LessEqual(b, a);
}
inline bool Any(M m) {
    return Bits(m) != 0;
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

}  // namespace FROND_FORM

// What the vectors of AVX2 do by their own instructions. See vec.h.
#pragma once

namespace keying::FROND_VARIANT {

inline Doubles Max(Doubles a, Doubles b) {
    return _mm256_max_pd(b.raw, a.raw);
}
inline Doubles Min(Doubles a, Doubles b) {
    return _mm256_min_pd(b.raw, a.raw);
}
inline Floats Max(Floats a, Floats b) {
    return _mm256_max_ps(b.raw, a.raw);
}
inline Floats Min(Floats a, Floats b) {
    return _mm256_min_ps(b.raw, a.raw);
}
inline Shorts Max(Shorts a, Shorts b) {
    return a.raw > b.raw ? a.raw : b.raw;
}
inline Shorts Min(Shorts a, Shorts b) {
    return a.raw < b.raw ? a.raw : b.raw;
}
template <class Number>
inline Mask<Number> Less(Vec<Number> a, Vec<Number> b) {
    return {a.raw < b.raw};
}
template <class Number>
inline Mask<Number> LessEqual(Vec<Number> a, Vec<Number> b) {
    return {a.raw <= b.raw};
}
template <class Number>
inline Mask<Number> Equal(Vec<Number> a, Vec<Number> b) {
    return {a.raw == b.raw};
}
template <class Number>
inline Mask<Number> And(Mask<Number> a, Mask<Number> b) {
    return {a.raw & b.raw};
}
template <class Number>
inline Mask<Number> Or(Mask<Number> a, Mask<Number> b) {
    return {a.raw | b.raw};
}
template <class Number>
inline Mask<Number> AndNot(Mask<Number> a, Mask<Number> b) {
    return {a.raw & ~b.raw};
}
template <class Number>
inline Mask<Number> Not(Mask<Number> m) {
    return {~m.raw};
}
inline Doubles Select(DoubleMask m, Doubles a, Doubles b) {
    return _mm256_blendv_pd(b.raw, a.raw, reinterpret_cast<__m256d>(m.raw));
}
inline Floats Select(FloatMask m, Floats a, Floats b) {
    return _mm256_blendv_ps(b.raw, a.raw, reinterpret_cast<__m256>(m.raw));
}
// v in the lanes of the mask, 0 in the others.
inline Floats Only(FloatMask m, Floats v) {
    return reinterpret_cast<Floats::Vector>(m.raw & reinterpret_cast<FloatMask::Type>(v.raw));
}
inline Shorts Only(ShortMask m, Shorts v) {
    return m.raw & v.raw;
}
inline unsigned Bits(DoubleMask m) {
    return static_cast<unsigned>(_mm256_movemask_pd(reinterpret_cast<__m256d>(m.raw)));
}
inline unsigned Bits(FloatMask m) {
    return static_cast<unsigned>(_mm256_movemask_ps(reinterpret_cast<__m256>(m.raw)));
}
inline unsigned Bits(ShortMask m) {
    const __m256i raw = reinterpret_cast<__m256i>(m.raw);
    return static_cast<unsigned>(
        _mm_movemask_epi8(_mm_packs_epi16(_mm256_castsi256_si128(raw), _mm256_extracti128_si256(raw, 1))));
}
// Lane order that packs the lanes of a mask to the front, as pairs of 32-bit halves.
alignas(32) constexpr std::int32_t kPackOrder[16][8] = {
    {0, 1, 2, 3, 4, 5, 6, 7}, {0, 1, 2, 3, 4, 5, 6, 7}, {2, 3, 0, 1, 4, 5, 6, 7}, {0, 1, 2, 3, 4, 5, 6, 7},
    {4, 5, 0, 1, 2, 3, 6, 7}, {0, 1, 4, 5, 2, 3, 6, 7}, {2, 3, 4, 5, 0, 1, 6, 7}, {0, 1, 2, 3, 4, 5, 6, 7},
    {6, 7, 0, 1, 2, 3, 4, 5}, {0, 1, 6, 7, 2, 3, 4, 5}, {2, 3, 6, 7, 0, 1, 4, 5}, {0, 1, 2, 3, 6, 7, 4, 5},
    {4, 5, 6, 7, 0, 1, 2, 3}, {0, 1, 4, 5, 6, 7, 2, 3}, {2, 3, 4, 5, 6, 7, 0, 1}, {0, 1, 2, 3, 4, 5, 6, 7}};
inline void StorePacked(double* p, DoubleMask m, Doubles v) {
    const __m256i order = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kPackOrder[Bits(m)]));
    const __m256 packed = _mm256_permutevar8x32_ps(_mm256_castpd_ps(v.raw), order);
    _mm256_storeu_pd(p, _mm256_castps_pd(packed));
}
inline Doubles Gather(const double* table, Doubles index) {
    return _mm256_i32gather_pd(table, _mm256_cvttpd_epi32(index.raw), 8);
}
inline Floats Gather(const float* table, Floats index) {
    return _mm256_i32gather_ps(table, _mm256_cvttps_epi32(index.raw), 4);
}
inline Doubles Truncate(Doubles v) {
    return _mm256_round_pd(v.raw, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
}
inline Floats Truncate(Floats v) {
    return _mm256_round_ps(v.raw, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
}
inline Floats Narrow(Doubles low, Doubles high) {
    return _mm256_set_m128(_mm256_cvtpd_ps(high.raw), _mm256_cvtpd_ps(low.raw));
}
inline Doubles Widen(const float* p) {
    return _mm256_cvtps_pd(_mm_loadu_ps(p));
}

inline Doubles LoadDoubles(const std::uint8_t* p) {
    std::int32_t four;
    std::memcpy(&four, p, sizeof four);
    return _mm256_cvtepi32_pd(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(four)));
}
inline Doubles LoadDoubles(const std::uint16_t* p) {
    return _mm256_cvtepi32_pd(_mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
inline void StoreDoubles(std::uint8_t* p, Doubles v) {
    const __m128i low = _mm_set1_epi32(0x0c080400);
    const std::int32_t four = _mm_cvtsi128_si32(_mm_shuffle_epi8(_mm256_cvttpd_epi32(v.raw), low));
    std::memcpy(p, &four, sizeof four);
}
inline void StoreDoubles(std::uint16_t* p, Doubles v) {
    const __m128i low = _mm_set_epi8(13, 12, 9, 8, 5, 4, 1, 0, 13, 12, 9, 8, 5, 4, 1, 0);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_shuffle_epi8(_mm256_cvttpd_epi32(v.raw), low));
}
inline Floats LoadFloats(const std::uint8_t* p) {
    return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
inline Floats LoadFloats(const std::uint16_t* p) {
    return _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
}
inline Shorts LoadShorts(const std::uint8_t* p) {
    return reinterpret_cast<Shorts::Vector>(
        _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
}
// The lanes from `lane` on, which is 0 or kFloats.
inline Floats FloatsFrom(Shorts v, int lane) {
    const __m256i raw = reinterpret_cast<__m256i>(v.raw);
    const __m128i half = lane == 0 ? _mm256_castsi256_si128(raw) : _mm256_extracti128_si256(raw, 1);
    return _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(half));
}
inline void StoreWhole(std::int32_t* p, Floats v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm256_cvttps_epi32(v.raw));
}

}  // namespace keying::FROND_VARIANT

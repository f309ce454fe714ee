// What the vectors of AVX-512 do by their own instructions. See vec.h.
#pragma once

namespace keying::FROND_VARIANT {

inline Doubles Max(Doubles a, Doubles b) {
    return _mm512_max_pd(b.raw, a.raw);
}
inline Doubles Min(Doubles a, Doubles b) {
    return _mm512_min_pd(b.raw, a.raw);
}
inline Floats Max(Floats a, Floats b) {
    return _mm512_max_ps(b.raw, a.raw);
}
inline Floats Min(Floats a, Floats b) {
    return _mm512_min_ps(b.raw, a.raw);
}
inline Shorts Max(Shorts a, Shorts b) {
    return reinterpret_cast<Shorts::Vector>(
        _mm512_max_epi16(reinterpret_cast<__m512i>(a.raw), reinterpret_cast<__m512i>(b.raw)));
}
inline Shorts Min(Shorts a, Shorts b) {
    return reinterpret_cast<Shorts::Vector>(
        _mm512_min_epi16(reinterpret_cast<__m512i>(a.raw), reinterpret_cast<__m512i>(b.raw)));
}
inline DoubleMask Less(Doubles a, Doubles b) {
    return {_mm512_cmp_pd_mask(a.raw, b.raw, _CMP_LT_OQ)};
}
inline DoubleMask LessEqual(Doubles a, Doubles b) {
    return {_mm512_cmp_pd_mask(a.raw, b.raw, _CMP_LE_OQ)};
}
inline DoubleMask Equal(Doubles a, Doubles b) {
    return {_mm512_cmp_pd_mask(a.raw, b.raw, _CMP_EQ_OQ)};
}
inline FloatMask Less(Floats a, Floats b) {
    return {_mm512_cmp_ps_mask(a.raw, b.raw, _CMP_LT_OQ)};
}
inline FloatMask LessEqual(Floats a, Floats b) {
    return {_mm512_cmp_ps_mask(a.raw, b.raw, _CMP_LE_OQ)};
}
inline ShortMask Less(Shorts a, Shorts b) {
    return {_mm512_cmplt_epi16_mask(reinterpret_cast<__m512i>(a.raw), reinterpret_cast<__m512i>(b.raw))};
}
inline ShortMask LessEqual(Shorts a, Shorts b) {
    return {_mm512_cmple_epi16_mask(reinterpret_cast<__m512i>(a.raw), reinterpret_cast<__m512i>(b.raw))};
}
template <class Number>
inline Mask<Number> And(Mask<Number> a, Mask<Number> b) {
    return {static_cast<typename Mask<Number>::Type>(a.raw & b.raw)};
}
template <class Number>
inline Mask<Number> Or(Mask<Number> a, Mask<Number> b) {
    return {static_cast<typename Mask<Number>::Type>(a.raw | b.raw)};
}
template <class Number>
inline Mask<Number> AndNot(Mask<Number> a, Mask<Number> b) {
    return {static_cast<typename Mask<Number>::Type>(a.raw & ~b.raw)};
}
template <class Number>
inline Mask<Number> Not(Mask<Number> m) {
    return {static_cast<typename Mask<Number>::Type>(~m.raw)};
}
inline Doubles Select(DoubleMask m, Doubles a, Doubles b) {
    return _mm512_mask_blend_pd(m.raw, b.raw, a.raw);
}
inline Floats Select(FloatMask m, Floats a, Floats b) {
    return _mm512_mask_blend_ps(m.raw, b.raw, a.raw);
}
// v in the lanes of the mask, 0 in the others.
inline Floats Only(FloatMask m, Floats v) {
    return _mm512_maskz_mov_ps(m.raw, v.raw);
}
inline Shorts Only(ShortMask m, Shorts v) {
    return reinterpret_cast<Shorts::Vector>(_mm512_maskz_mov_epi16(m.raw, reinterpret_cast<__m512i>(v.raw)));
}
template <class Number>
inline unsigned Bits(Mask<Number> m) {
    return m.raw;
}
inline void StorePacked(double* p, DoubleMask m, Doubles v) {
    _mm512_storeu_pd(p, _mm512_maskz_compress_pd(m.raw, v.raw));
}
inline Doubles Gather(const double* table, Doubles index) {
    return _mm512_i32gather_pd(_mm512_cvttpd_epi32(index.raw), table, 8);
}
inline Floats Gather(const float* table, Floats index) {
    return _mm512_i32gather_ps(_mm512_cvttps_epi32(index.raw), table, 4);
}
inline Doubles Truncate(Doubles v) {
    return _mm512_roundscale_pd(v.raw, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
}
inline Floats Truncate(Floats v) {
    return _mm512_roundscale_ps(v.raw, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
}
inline Floats Narrow(Doubles low, Doubles high) {
    return _mm512_insertf32x8(_mm512_castps256_ps512(_mm512_cvtpd_ps(low.raw)), _mm512_cvtpd_ps(high.raw), 1);
}
inline Doubles Widen(const float* p) {
    return _mm512_cvtps_pd(_mm256_loadu_ps(p));
}

inline Doubles LoadDoubles(const std::uint8_t* p) {
    return _mm512_cvtepi32_pd(_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
inline Doubles LoadDoubles(const std::uint16_t* p) {
    return _mm512_cvtepi32_pd(_mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
}
inline void StoreDoubles(std::uint8_t* p, Doubles v) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm256_cvtepi32_epi8(_mm512_cvttpd_epi32(v.raw)));
}
inline void StoreDoubles(std::uint16_t* p, Doubles v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_cvtepi32_epi16(_mm512_cvttpd_epi32(v.raw)));
}
inline Floats LoadFloats(const std::uint8_t* p) {
    return _mm512_cvtepi32_ps(_mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
}
inline Floats LoadFloats(const std::uint16_t* p) {
    return _mm512_cvtepi32_ps(_mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p))));
}
inline Shorts LoadShorts(const std::uint8_t* p) {
    return reinterpret_cast<Shorts::Vector>(
        _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p))));
}
// The lanes from `lane` on, which is 0 or kFloats.
inline Floats FloatsFrom(Shorts v, int lane) {
    const __m512i raw = reinterpret_cast<__m512i>(v.raw);
    const __m256i half = lane == 0 ? _mm512_castsi512_si256(raw) : _mm512_extracti64x4_epi64(raw, 1);
    return _mm512_cvtepi32_ps(_mm512_cvtepi16_epi32(half));
}
inline void StoreWhole(std::int32_t* p, Floats v) {
    _mm512_storeu_si512(p, _mm512_cvttps_epi32(v.raw));
}

}  // namespace keying::FROND_VARIANT

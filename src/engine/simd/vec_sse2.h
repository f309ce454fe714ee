// What the vectors of SSE2 do by their own instructions. See vec.h.
#pragma once

namespace keying::FROND_VARIANT {

template <class Number>
inline Vec<Number> Blend(Mask<Number> m, Vec<Number> a, Vec<Number> b) {
    using Integers = typename Raw<Number>::Integers;
    return reinterpret_cast<typename Raw<Number>::Vector>((m.raw & reinterpret_cast<Integers>(a.raw)) |
                                                          (~m.raw & reinterpret_cast<Integers>(b.raw)));
}
inline unsigned Bits(DoubleMask m) {
    return static_cast<unsigned>(_mm_movemask_pd(reinterpret_cast<__m128d>(m.raw)));
}
inline unsigned Bits(FloatMask m) {
    return static_cast<unsigned>(_mm_movemask_ps(reinterpret_cast<__m128>(m.raw)));
}
inline void StorePacked(double* p, DoubleMask m, Doubles v) {
    _mm_storeu_pd(p, Bits(m) == 2 ? _mm_unpackhi_pd(v.raw, v.raw) : v.raw);
}
inline Doubles Gather(const double* table, Doubles index) {
    const __m128i i = _mm_cvttpd_epi32(index.raw);
    return _mm_set_pd(table[_mm_cvtsi128_si32(_mm_shuffle_epi32(i, 1))], table[_mm_cvtsi128_si32(i)]);
}
inline Floats Gather(const float* table, Floats index) {
    alignas(16) std::int32_t i[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(i), _mm_cvttps_epi32(index.raw));
    return _mm_set_ps(table[i[3]], table[i[2]], table[i[1]], table[i[0]]);
}
// For values within the 32-bit range.
inline Doubles Truncate(Doubles v) {
    return _mm_cvtepi32_pd(_mm_cvttpd_epi32(v.raw));
}
inline Floats Truncate(Floats v) {
    return _mm_cvtepi32_ps(_mm_cvttps_epi32(v.raw));
}
inline Floats Narrow(Doubles low, Doubles high) {
    return _mm_movelh_ps(_mm_cvtpd_ps(low.raw), _mm_cvtpd_ps(high.raw));
}
inline Doubles Widen(const float* p) {
    return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}

template <class Sample>
inline Doubles LoadDoubles(const Sample* p) {
    return _mm_set_pd(p[1], p[0]);
}
template <class Sample>
inline void StoreDoubles(Sample* p, Doubles v) {
    const __m128i i = _mm_cvttpd_epi32(v.raw);
    p[0] = static_cast<Sample>(_mm_cvtsi128_si32(i));
    p[1] = static_cast<Sample>(_mm_cvtsi128_si32(_mm_shuffle_epi32(i, 1)));
}
inline Floats LoadFloats(const std::uint8_t* p) {
    std::int32_t four;
    std::memcpy(&four, p, sizeof four);
    const __m128i zero = _mm_setzero_si128();
    return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(four), zero), zero));
}
inline Floats LoadFloats(const std::uint16_t* p) {
    const __m128i four = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
    return _mm_cvtepi32_ps(_mm_unpacklo_epi16(four, _mm_setzero_si128()));
}

}  // namespace keying::FROND_VARIANT

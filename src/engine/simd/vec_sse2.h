// What the vectors of SSE2 do by their own instructions. See vec.h.
#pragma once

namespace keying::FROND_VARIANT {

inline Doubles Max(Doubles a, Doubles b) {
    return _mm_max_pd(b.raw, a.raw);
}
inline Doubles Min(Doubles a, Doubles b) {
    return _mm_min_pd(b.raw, a.raw);
}
inline Floats Max(Floats a, Floats b) {
    return _mm_max_ps(b.raw, a.raw);
}
inline Floats Min(Floats a, Floats b) {
    return _mm_min_ps(b.raw, a.raw);
}
inline Shorts Max(Shorts a, Shorts b) {
    return a.raw > b.raw ? a.raw : b.raw;
}
inline Shorts Min(Shorts a, Shorts b) {
    return a.raw < b.raw ? a.raw : b.raw;
}
inline DoubleMask Less(Doubles a, Doubles b) {
    return {_mm_cmplt_pd(a.raw, b.raw)};
}
inline DoubleMask LessEqual(Doubles a, Doubles b) {
    return {_mm_cmple_pd(a.raw, b.raw)};
}
inline DoubleMask Equal(Doubles a, Doubles b) {
    return {_mm_cmpeq_pd(a.raw, b.raw)};
}
inline FloatMask Less(Floats a, Floats b) {
    return {_mm_cmplt_ps(a.raw, b.raw)};
}
inline FloatMask LessEqual(Floats a, Floats b) {
    return {_mm_cmple_ps(a.raw, b.raw)};
}
inline ShortMask Less(Shorts a, Shorts b) {
    return {a.raw < b.raw};
}
inline ShortMask LessEqual(Shorts a, Shorts b) {
    return {a.raw <= b.raw};
}
inline DoubleMask And(DoubleMask a, DoubleMask b) {
    return {_mm_and_pd(a.raw, b.raw)};
}
inline DoubleMask Or(DoubleMask a, DoubleMask b) {
    return {_mm_or_pd(a.raw, b.raw)};
}
inline DoubleMask AndNot(DoubleMask a, DoubleMask b) {
    return {_mm_andnot_pd(b.raw, a.raw)};
}
inline DoubleMask Not(DoubleMask m) {
    return {_mm_xor_pd(m.raw, _mm_castsi128_pd(_mm_set1_epi32(-1)))};
}
inline FloatMask And(FloatMask a, FloatMask b) {
    return {_mm_and_ps(a.raw, b.raw)};
}
inline FloatMask Or(FloatMask a, FloatMask b) {
    return {_mm_or_ps(a.raw, b.raw)};
}
inline FloatMask AndNot(FloatMask a, FloatMask b) {
    return {_mm_andnot_ps(b.raw, a.raw)};
}
inline FloatMask Not(FloatMask m) {
    return {_mm_xor_ps(m.raw, _mm_castsi128_ps(_mm_set1_epi32(-1)))};
}
inline ShortMask And(ShortMask a, ShortMask b) {
    return {a.raw & b.raw};
}
inline ShortMask AndNot(ShortMask a, ShortMask b) {
    return {a.raw & ~b.raw};
}
inline Doubles Select(DoubleMask m, Doubles a, Doubles b) {
    return _mm_or_pd(_mm_and_pd(m.raw, a.raw), _mm_andnot_pd(m.raw, b.raw));
}
inline Floats Select(FloatMask m, Floats a, Floats b) {
    return _mm_or_ps(_mm_and_ps(m.raw, a.raw), _mm_andnot_ps(m.raw, b.raw));
}
// v in the lanes of the mask, 0 in the others.
inline Floats Only(FloatMask m, Floats v) {
    return _mm_and_ps(m.raw, v.raw);
}
inline Shorts Only(ShortMask m, Shorts v) {
    return m.raw & v.raw;
}
inline unsigned Bits(DoubleMask m) {
    return static_cast<unsigned>(_mm_movemask_pd(m.raw));
}
inline unsigned Bits(FloatMask m) {
    return static_cast<unsigned>(_mm_movemask_ps(m.raw));
}
inline unsigned Bits(ShortMask m) {
    const __m128i raw = reinterpret_cast<__m128i>(m.raw);
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(raw, _mm_setzero_si128())));
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
inline Shorts LoadShorts(const std::uint8_t* p) {
    const __m128i eight = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
    return reinterpret_cast<Shorts::Vector>(_mm_unpacklo_epi8(eight, _mm_setzero_si128()));
}
// The lanes from `lane` on, which is 0 or kFloats.
inline Floats FloatsFrom(Shorts v, int lane) {
    const __m128i raw = reinterpret_cast<__m128i>(v.raw);
    const __m128i high = lane == 0 ? _mm_unpacklo_epi16(raw, raw) : _mm_unpackhi_epi16(raw, raw);
    return _mm_cvtepi32_ps(_mm_srai_epi32(high, 16));
}
inline void StoreWhole(std::int32_t* p, Floats v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_cvttps_epi32(v.raw));
}

}  // namespace keying::FROND_VARIANT

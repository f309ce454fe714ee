// Vectors of doubles, floats and 16-bit integers for the vector variants, as wide as the instruction set that
// the including file is compiled for. FROND_VARIANT names the variant and is its namespace, so that three
// builds of one source are in one module.
//
// A line on vectors reads like the scalar line that it must equal: the operators work on every lane, and a
// number beside a vector is the same in every lane. Each lane computes what the scalar reference computes:
// separate multiplications and additions in the written order, IEEE comparisons, correctly rounded roots.
//
// Arithmetic, root and absolute value are the compilers' vector extension: GCC 12 and Clang make the same
// single instructions of them as of the instruction sets' own functions. The headers of the instruction sets
// hold the rest:
//     Max, Min       the first argument where either is a NaN or both are equal. As a limit a NaN has no
//                    effect, and as the limited value it passes through. GCC 12 makes two instructions of
//                    a conditional expression that has a constant in it.
//     <, &, Select   comparisons, masks and selection. The extension knows no mask registers, and with SSE2
//                    GCC 12 takes some masks apart into scalars: keying took 13 % longer. With AVX2 it is
//                    the extension that compares and combines masks, because GCC 12 compares the other
//                    kind of mask with 0 again before it selects by it.
//     conversions    the extension leaves numbers out of range undefined, and GCC 12 converts samples one
//                    by one.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>

namespace keying::FROND_VARIANT {

#if defined(__AVX512F__)
constexpr int kVectorBytes = 64;
#elif defined(__AVX2__)
constexpr int kVectorBytes = 32;
#else
constexpr int kVectorBytes = 16;
#endif
constexpr int kDoubles = kVectorBytes / sizeof(double);
constexpr int kFloats = kVectorBytes / sizeof(float);
constexpr int kShorts = kVectorBytes / sizeof(std::int16_t);

template <class Number>
struct Raw;
template <>
struct Raw<double> {
    typedef double Vector __attribute__((vector_size(kVectorBytes)));
    typedef std::int64_t Integers __attribute__((vector_size(kVectorBytes)));
    using Bits = std::uint8_t;
};
template <>
struct Raw<float> {
    typedef float Vector __attribute__((vector_size(kVectorBytes)));
    typedef std::int32_t Integers __attribute__((vector_size(kVectorBytes)));
    using Bits = std::uint16_t;
};
template <>
struct Raw<std::int16_t> {
    typedef std::int16_t Vector __attribute__((vector_size(kVectorBytes)));
    using Integers = Vector;
    using Bits = std::uint32_t;
};

template <class Number>
struct Inverse;

// One truth value for each lane.
template <class Number>
struct Mask {
#if defined(__AVX512F__)
    using Type = typename Raw<Number>::Bits;
#elif defined(__AVX2__)
    using Type = typename Raw<Number>::Integers;
#else
    using Type = typename Raw<Number>::Vector;
#endif
    Type raw;

    friend Mask operator&(Mask a, Mask b) {
        return And(a, b);
    }
    friend Mask operator|(Mask a, Mask b) {
        return Or(a, b);
    }
    friend Mask operator&(Mask a, Inverse<Number> b) {
        return AndNot(a, b.mask);
    }
    friend Inverse<Number> operator!(Mask m) {
        return {m};
    }
};

// What `!` makes of a mask, which makes `a & !b` one instruction.
template <class Number>
struct Inverse {
    Mask<Number> mask;

    operator Mask<Number>() const { return Not(mask); }
};

template <class Number>
struct Vec {
    using Vector = typename Raw<Number>::Vector;
    Vector raw;

    Vec() = default;
    Vec(Number number) : raw(number - Vector{}) {}  // in every lane; keeps the sign of a zero
    Vec(Vector vector) : raw(vector) {}

    friend Vec operator+(Vec a, Vec b) { return a.raw + b.raw; }
    friend Vec operator-(Vec a, Vec b) { return a.raw - b.raw; }
    friend Vec operator*(Vec a, Vec b) { return a.raw * b.raw; }
    friend Vec operator/(Vec a, Vec b) { return a.raw / b.raw; }
    friend Mask<Number> operator<(Vec a, Vec b) { return Less(a, b); }
    friend Mask<Number> operator<=(Vec a, Vec b) { return LessEqual(a, b); }
    friend Mask<Number> operator==(Vec a, Vec b) { return Equal(a, b); }
    friend Mask<Number> operator>(Vec a, Vec b) { return Less(b, a); }
    friend Mask<Number> operator>=(Vec a, Vec b) { return LessEqual(b, a); }

    friend Vec LimitTo(Vec v, Vec low, Vec high) { return Min(Max(v, low), high); }
};

using Doubles = Vec<double>;
using Floats = Vec<float>;
using Shorts = Vec<std::int16_t>;
using DoubleMask = Mask<double>;
using FloatMask = Mask<float>;
using ShortMask = Mask<std::int16_t>;

}  // namespace keying::FROND_VARIANT

#if defined(__AVX512F__)
#include "engine/simd/vec_avx512.h"
#elif defined(__AVX2__)
#include "engine/simd/vec_avx2.h"
#else
#include "engine/simd/vec_sse2.h"
#endif

namespace keying::FROND_VARIANT {

template <class Number>
inline bool Any(Mask<Number> m) {
    return Bits(m) != 0;
}
template <class Number>
inline bool All(Mask<Number> m) {
    return Bits(m) == (1u << (kVectorBytes / sizeof(Number))) - 1;
}

inline Doubles Sqrt(Doubles v) {
    for (int i = 0; i < kDoubles; ++i) v.raw[i] = __builtin_sqrt(v.raw[i]);
    return v;
}
inline Floats Sqrt(Floats v) {
    for (int i = 0; i < kFloats; ++i) v.raw[i] = __builtin_sqrtf(v.raw[i]);
    return v;
}
inline Doubles Abs(Doubles v) {
    using Integers = Raw<double>::Integers;
    return reinterpret_cast<Doubles::Vector>(reinterpret_cast<Integers>(v.raw) & INT64_MAX);
}

template <class Number>
inline Vec<Number> Load(const Number* p) {
    typename Vec<Number>::Vector v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <class Number>
inline void Store(Number* p, Vec<Number> v) {
    std::memcpy(p, &v.raw, sizeof v.raw);
}

// 0, 1, 2 and so on.
template <class Number>
inline Vec<Number> LaneNumbers() {
    Vec<Number> v;
    for (unsigned i = 0; i < kVectorBytes / sizeof(Number); ++i) v.raw[i] = static_cast<Number>(i);
    return v;
}

// The first n lanes, n in the numbers' range.
template <class Number>
inline Mask<Number> FirstLanes(int n) {
    return LaneNumbers<Number>() < static_cast<Number>(n);
}

// v / divisor with the one rounding of a division, without one: for a whole divisor whose odd part is below
// 2^20, and v finite and far from the ends of the range.
//
// With divisor = odd * power, q is near the quotient, and v / power - odd * q is exact: q is cut into two
// halves, whose products with odd have no more than 53 bits, and each difference is of two numbers close to
// each other. The quotient is q and a fraction of its last place. Since odd divides no power of two, it is
// never nearer to a rounding border than 1 / (2 odd) of that place, and the last sum, whose error is far
// smaller, rounds as the division does.
template <int divisor>
inline Doubles DivideBy(Doubles v) {
    constexpr int kPower = divisor & -divisor, kOdd = divisor / kPower;
    constexpr double kInverse = 1.0 / kOdd;
    const Doubles scaled = v * (1.0 / kPower);
    const Doubles q = scaled * kInverse;
    const Raw<double>::Integers bits =
        reinterpret_cast<Raw<double>::Integers>(q.raw) & ~std::int64_t{0x7ffffff};
    const Doubles high = reinterpret_cast<Doubles::Vector>(bits), low = q - high;
    return q + (scaled - high * kOdd - low * kOdd) * kInverse;
}

// k, what one 8-bit level measures in samples. It is a power of two, so that a product with its inverse is
// the quotient.
struct Scale {
    double k;

    operator Doubles() const { return k; }
    friend Doubles operator*(double levels, Scale s) { return levels * s.k; }
    friend Doubles operator/(Doubles v, Scale s) { return v * (1 / s.k); }
};

// The first n samples from p on, n at least 1. The other lanes are 0, and memory behind is not read.
template <class Sample>
inline Doubles LoadSamples(const Sample* p, int n) {
    if (n >= kDoubles) return LoadDoubles(p);
    Sample part[kDoubles] = {};
    std::memcpy(part, p, sizeof(Sample) * static_cast<unsigned>(n));
    return LoadDoubles(part);
}

template <class Sample>
inline Floats LoadFloats(const Sample* p, int n) {
    if (n >= kFloats) return LoadFloats(p);
    Sample part[kFloats] = {};
    std::memcpy(part, p, sizeof(Sample) * static_cast<unsigned>(n));
    return LoadFloats(part);
}

// The lanes of whole numbers: samples of 8 bits and their products up to 128 fit into 16 bits, those of 16
// bits are exact in floats.
template <class Sample>
struct WholeOf {
    using Number = float;
};
template <>
struct WholeOf<std::uint8_t> {
    using Number = std::int16_t;
};
template <class Sample>
using Whole = Vec<typename WholeOf<Sample>::Number>;
template <class Sample>
constexpr int kWhole = kVectorBytes / sizeof(typename WholeOf<Sample>::Number);

inline Shorts LoadWhole(const std::uint8_t* p) {
    return LoadShorts(p);
}
inline Floats LoadWhole(const std::uint16_t* p) {
    return LoadFloats(p);
}
template <class Sample>
inline Whole<Sample> LoadWhole(const Sample* p, std::int64_t n) {
    if (n >= kWhole<Sample>) return LoadWhole(p);
    Sample part[kWhole<Sample>] = {};
    std::memcpy(part, p, sizeof(Sample) * static_cast<std::size_t>(n));
    return LoadWhole(part);
}

// The same of floats, whose lanes are all of them.
inline Floats FloatsFrom(Floats v, int) {
    return v;
}

// The sum of the lanes.
inline double SumOf(Floats v) {
    double sum = 0;
    for (int i = 0; i < kFloats; ++i) sum += static_cast<double>(v.raw[i]);
    return sum;
}
inline double SumOf(Shorts v) {
    std::int32_t sum = 0;
    for (int i = 0; i < kShorts; ++i) sum += v.raw[i];
    return sum;
}

// Stores the first n lanes as samples: cut toward zero, the low bits kept, 0 for a NaN or a value beyond the
// 32-bit range (for which the conversion gives the one integer whose low half is 0).
template <class Sample>
inline void StoreSamples(Sample* p, Doubles v, int n) {
    if (n >= kDoubles) {
        StoreDoubles(p, v);
        return;
    }
    Sample part[kDoubles];
    StoreDoubles(part, v);
    std::memcpy(p, part, sizeof(Sample) * static_cast<unsigned>(n));
}

}  // namespace keying::FROND_VARIANT

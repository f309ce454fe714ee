// The ways in which pixels reach the out planes and the ring: keyed ones, uniform groups, and those that
// nothing keys.
#pragma once

#include <cstdint>
#include <cstring>

#include "engine/constants.h"
#include "engine/samples.h"
#include "engine/simd/classify.h"
#include "engine/simd/uniform_groups.h"

namespace keying::FROND_VARIANT {

struct Colours {
    Doubles r, g, b;
};

// Brings `peak` down to M where it is above, and the others with it.
static inline void RescaleBy(Doubles* peak, Doubles* other1, Doubles* other2, Doubles M) {
    const DoubleMask over = *peak > M;
    if (!Any(over)) return;
    *other1 = Select(over, M * *other1 / *peak, *other1);
    *other2 = Select(over, M * *other2 / *peak, *other2);
    *peak = Select(over, M, *peak);
}

static inline void Rescale(Colours* comp, Doubles M) {
    RescaleBy(&comp->g, &comp->r, &comp->b, M);
    RescaleBy(&comp->r, &comp->g, &comp->b, M);
    RescaleBy(&comp->b, &comp->g, &comp->r, M);
}

// newest: ring index of the newest row's cell under the first lane.
static inline void LiftSoftEdges(const KeyRun& run, std::size_t newest, Colours* comp) {
    const RowRing& ring = run.ring;
    const Doubles a = Load(ring.ringAlpha + newest);
    const DoubleMask soft = (a < kLiftBelow) & (a > kLiftAbove);
    if (!Any(soft)) return;

    const double k = run.levelScale;
    const double liftBase = kLiftLevel * k;
    const double weightG = run.blueLogic ? kLumaBlue : kLumaGreen;
    const double weightB = run.blueLogic ? kLumaGreen : kLumaBlue;
    const Doubles bgLuma = Load(ring.ringBottomB + newest) * weightB +
                           Load(ring.ringBottomG + newest) * weightG +
                           Load(ring.ringBottomR + newest) * kLumaRed;
    const Doubles liftOffset = Max(Min(Truncate(liftBase - bgLuma), 0), -liftBase);

    const Doubles q =
        a * kLiftOwnShare + a * kLiftLumaShare * (liftBase * k + liftOffset) / (run.maxSample - liftBase * k);
    const Doubles lift = (a / q - 1) * kLiftStrength * (1 - a);
    Colours lifted{comp->r + lift, comp->g + lift, comp->b + lift};
    Rescale(&lifted, run.maxSample);
    comp->r = Select(soft, lifted.r, comp->r);
    comp->g = Select(soft, lifted.g, comp->g);
    comp->b = Select(soft, lifted.b, comp->b);
}

// The direct writer over a part of a span.
template <class Sample>
static inline void WriteSpan(const KeyRun& run, const PlaneView<Sample>& row, std::int32_t x0, int from,
                             int to, const Span& span) {
    for (int x = from; x < to; x += kDoubles) {
        const std::int32_t i = x0 + x;
        const int left = to - x;
        const Doubles a = Load(span.alpha + x);
        const Doubles fgR = Load(span.fgR + x), fgG = Load(span.fgG + x), fgB = Load(span.fgB + x);
        const Doubles topAlpha = LoadSamples(row.top.a + i, left);
        Doubles r, g, b, alpha;
        if (run.outputAlpha) {
            r = LimitTo(fgR, kLeastVisible, run.maxSample);
            g = LimitTo(fgG, kLeastVisible, run.maxSample);
            b = LimitTo(fgB, kLeastVisible, run.maxSample);
            alpha = topAlpha * a;
        } else {
            r = fgR * a + (1 - a) * LoadSamples(row.bottom.r + i, left);
            g = fgG * a + (1 - a) * LoadSamples(row.bottom.g + i, left);
            b = fgB * a + (1 - a) * LoadSamples(row.bottom.b + i, left);
            alpha = sizeof(Sample) == 1 ? kOpaqueByte * a : topAlpha;
        }
        StoreSamples(row.out.r + i, r, left);
        StoreSamples(row.out.g + i, g, left);
        StoreSamples(row.out.b + i, b, left);
        StoreSamples(row.out.a + i, alpha, left);
    }
}

template <class Sample>
static inline void CopySamples(Sample* to, const Sample* from, int n) {
    std::memcpy(to, from, sizeof(Sample) * static_cast<unsigned>(n));
}

// The samples of a group.
template <class Sample>
struct Group {
    typedef Sample Vector __attribute__((vector_size(kFloats * sizeof(Sample))));
};

// The top layer's colours of whole groups as they are fetched.
template <class Sample>
static inline void CopyFetched(const KeyRun& run, const PlaneView<Sample>& row, std::int32_t i, int n) {
    using Vector = typename Group<Sample>::Vector;
    const Vector most = static_cast<Sample>(run.maxSample) - Vector{};
    CopySamples(row.out.r + i, row.top.r + i, n);
    for (const std::int32_t end = i + n; i < end; i += kFloats) {
        Vector g, b;
        std::memcpy(&g, row.top.g + i, sizeof g);
        std::memcpy(&b, row.top.b + i, sizeof b);
        g = g == 0 ? 1 - Vector{} : g;
        b = b > most ? most : b;
        std::memcpy(row.out.g + i, &g, sizeof g);
        std::memcpy(row.out.b + i, &b, sizeof b);
    }
}

// The direct writer's alpha plane over uniform groups.
template <class Sample>
static inline void WriteUniformAlpha(const PlaneView<Sample>& row, std::int32_t i, int n, GroupKind kind) {
    if (sizeof(Sample) == 1) {
        std::memset(row.out.a + i, kind == kBackdrop ? 0 : 255, static_cast<unsigned>(n));
    } else {
        CopySamples(row.out.a + i, row.top.a + i, n);
    }
}

// The direct writer over a uniform group, whose alpha is 0 or 1: the result is one of the layers unchanged.
// One group at a time is faster than a run of them, whose length the processor cannot foresee.
template <class Sample>
static inline void WriteUniform(const KeyRun& run, const PlaneView<Sample>& row, std::int32_t i,
                                GroupKind kind) {
    if (kind == kBackdrop) {
        CopySamples(row.out.r + i, row.bottom.r + i, kFloats);
        CopySamples(row.out.g + i, row.bottom.g + i, kFloats);
        CopySamples(row.out.b + i, row.bottom.b + i, kFloats);
    } else {
        CopyFetched(run, row, i, kFloats);
    }
    WriteUniformAlpha(row, i, kFloats, kind);
}

// The same for the ring. A foreground whose alpha is 0 is not seen.
template <class Sample>
static inline void KeepUniform(const KeyRun& run, const PlaneView<Sample>& row, std::int32_t x0, int from,
                               int to, GroupKind kind, Span* span) {
    const bool keyed = kind == kBackdrop;
    CopyFetched(run, row, x0 + from, to - from);
    for (int x = from; x < to; x += kDoubles) {
        const std::int32_t i = x0 + x;
        Store(span->fgR + x, keyed ? Doubles(0) : LoadDoubles(row.out.r + i));
        Store(span->fgG + x, keyed ? Doubles(0) : LoadDoubles(row.out.g + i));
        Store(span->fgB + x, keyed ? Doubles(0) : LoadDoubles(row.out.b + i));
        Store(span->alpha + x, Doubles(keyed ? 0 : 1));
    }
}

// Keys groups of kGreyish, for the direct writer or for the ring.
template <class Sample>
static inline void KeyGreyish(const KeyRun& run, const PlaneView<Sample>& row, std::int32_t x0, int from,
                              int to, Span* span) {
    const Doubles maxSample = run.maxSample;
    for (int x = from; x < to; x += kDoubles) {
        const std::int32_t i = x0 + x;
        Pixels p;
        p.R = p.fgR = LoadDoubles(row.top.r + i);
        p.G = p.fgG = Max(LoadDoubles(row.top.g + i), 1);
        p.B = p.fgB = Min(LoadDoubles(row.top.b + i), maxSample);
        PullToGrey(run, &p);
        if (run.realityInteg) {
            StoreDoubles(row.out.r + i, p.fgR);
            StoreDoubles(row.out.g + i, p.fgG);
            StoreDoubles(row.out.b + i, p.fgB);
        } else {
            Store(span->fgR + x, p.fgR);
            Store(span->fgG + x, p.fgG);
            Store(span->fgB + x, p.fgB);
            Store(span->alpha + x, Doubles(1));
        }
    }
    if (run.realityInteg) {
        WriteUniformAlpha(row, x0 + from, to - from, kGreyish);
    } else {
        CopyFetched(run, row, x0 + from, to - from);
    }
}

template <class Sample>
static inline void WidenSamples(const Sample* samples, int n, RingCell* cells) {
    int x = 0;
    for (; x + kDoubles <= n; x += kDoubles) Store(cells + x, LoadDoubles(samples + x));
    for (; x < n; ++x) cells[x] = samples[x];
}

// Puts a keyed span into the newest ring row, with the bottom layer beside it.
template <class Sample>
static inline void FillRing(const KeyRun& run, const PlaneView<Sample>& row, std::int32_t x0, int n,
                            const Span& span) {
    const RowRing& ring = run.ring;
    const std::size_t cell = RingRow(ring, ring.ringSlot) + static_cast<std::size_t>(x0);
    const std::size_t bytes = sizeof(double) * static_cast<std::size_t>(n);
    std::memcpy(ring.ringFgR + cell, span.fgR, bytes);
    std::memcpy(ring.ringFgG + cell, span.fgG, bytes);
    std::memcpy(ring.ringFgB + cell, span.fgB, bytes);
    std::memcpy(ring.ringAlpha + cell, span.alpha, bytes);
    WidenSamples(row.bottom.r + x0, n, ring.ringBottomR + cell);
    WidenSamples(row.bottom.g + x0, n, ring.ringBottomG + cell);
    WidenSamples(row.bottom.b + x0, n, ring.ringBottomB + cell);
}

// With both flags of the writers' table on, no writer runs and the ring has no reader: the fetch is all that
// reaches the picture.
template <class Sample>
static inline void CopyRow(const KeyRun& run, const PlaneView<Sample>& row) {
    for (std::int32_t x = 0; x < run.width; x += kDoubles) {
        const int left = run.width - x;
        const Doubles G = LoadSamples(row.top.g + x, left);
        StoreSamples(row.out.r + x, LoadSamples(row.top.r + x, left), left);
        StoreSamples(row.out.g + x, Select(G == 0, 1, G), left);
        StoreSamples(row.out.b + x, Min(LoadSamples(row.top.b + x, left), run.maxSample), left);
    }
}

}  // namespace keying::FROND_VARIANT

// Where the alpha plane steps across a fixed level, a short stretch of colour is replaced by a straight line
// between the mean colours on both sides: along rows first, then along columns.
//
// Colours are read from working copies and written to the output planes, so that within a pass nothing
// written feeds a later mean. The last candidate to touch a pixel sets it. At 16 bits the fixed level is near
// transparent, on purpose.
#include <cstdlib>
#include <cstring>

#include "engine/constants.h"
#include "engine/keying.h"
#include "engine/samples.h"
#include "engine/scalar/edge_blending.h"

namespace keying {

namespace {

template <class Sample>
struct Blend {
    std::int64_t width, height;
    std::int32_t blendRadius;
    std::int32_t halfMax;
    Channels<Sample> out;
    const Sample* work[3];  // copies of red, green, blue
};

// A line of samples through the candidate: along a row or a column.
struct Line {
    std::int64_t position;  // of the candidate on the line
    std::int64_t length;
    std::int64_t first;   // index of the line's first sample
    std::int64_t stride;  // from one sample of the line to the next
};

struct Edge {
    bool rising, falling;
};

struct Means {
    double before[3], after[3];
};

// Whether the sample at distance o spoils the candidate: alpha below half on the side that should be opaque.
template <class Sample>
bool Refuses(const Blend<Sample>& blend, const Edge& edge, std::int32_t o, Sample alpha) {
    return alpha < blend.halfMax && ((o > 0 && edge.rising) || (o < 0 && edge.falling));
}

// Mean colours before and after the candidate, each sample weighted by its distance. False when the candidate
// is refused: the row pass asks each sample's alpha, the column pass the candidate's own for every sample
// (ownAlpha), on purpose.
template <class Sample>
bool GatherMeans(const Blend<Sample>& blend, const Line& line, const Edge& edge, bool ownAlpha,
                 Means* means) {
    double before[3] = {}, after[3] = {};
    std::int32_t wBefore = 0, wAfter = 0;
    const std::int64_t own = line.first + line.position * line.stride;
    for (std::int32_t o = -2 * blend.blendRadius; o <= 2 * blend.blendRadius; ++o) {
        const std::int64_t at = line.position + o;
        if (o == 0 || at < 0 || at >= line.length) continue;
        const std::int64_t j = line.first + at * line.stride;
        if (Refuses(blend, edge, o, blend.out.a[ownAlpha ? own : j])) return false;
        const std::int32_t weight = std::abs(o);
        (o > 0 ? wAfter : wBefore) += weight;
        double* sums = o > 0 ? after : before;
        for (int c = 0; c < 3; ++c) sums[c] += blend.work[c][j] * weight;
    }
    for (int c = 0; c < 3; ++c) {
        means->before[c] = before[c] / wBefore;
        means->after[c] = after[c] / wAfter;
    }
    return true;
}

// t counts the samples outside the picture too, so that a pixel's share does not depend on them.
template <class Sample>
void WriteRamp(const Blend<Sample>& blend, const Line& line, const Means& means) {
    Sample* const planes[3] = {blend.out.r, blend.out.g, blend.out.b};
    std::int32_t t = -1;
    for (std::int32_t o = -blend.blendRadius; o <= blend.blendRadius; ++o) {
        ++t;
        const std::int64_t at = line.position + o;
        if (at < 0 || at >= line.length) continue;
        const double f = static_cast<double>(t) / (2 * blend.blendRadius);
        const std::int64_t j = line.first + at * line.stride;
        for (int c = 0; c < 3; ++c) {
            planes[c][j] = StoreSample<Sample>((1 - f) * means.before[c] + means.after[c] * f);
        }
    }
}

template <class Sample>
void BlendCandidate(const Blend<Sample>& blend, const Line& line, const Edge& edge, bool ownAlpha) {
    Means means;
    if (GatherMeans(blend, line, edge, ownAlpha, &means)) WriteRamp(blend, line, means);
}

template <class Sample>
void BlendAlongRows(const Blend<Sample>& blend) {
    for (std::int64_t y = 0; y < blend.height; ++y) {
        const std::int64_t first = y * blend.width;
        for (std::int64_t x = 2; x < blend.width - 2; ++x) {
            const Sample* A = blend.out.a + first + x;
            const Edge edge{(A[-1] < kAlphaEdgeLevel && A[1] > kAlphaEdgeLevel) ||
                                (A[-2] < kAlphaEdgeLevel && A[2] > kAlphaEdgeLevel),
                            (A[-1] > kAlphaEdgeLevel && A[1] < kAlphaEdgeLevel) ||
                                (A[-2] > kAlphaEdgeLevel && A[2] < kAlphaEdgeLevel)};
            if (edge.rising || edge.falling) BlendCandidate(blend, {x, blend.width, first, 1}, edge, false);
        }
    }
}

// The wider tests pair a sample two away with one that is one away: not the mirror of the row pass, on
// purpose.
template <class Sample>
void BlendAlongColumns(const Blend<Sample>& blend) {
    const std::int64_t W = blend.width;
    for (std::int64_t y = 2; y < blend.height - 2; ++y) {
        for (std::int64_t x = 0; x < W; ++x) {
            const Sample* A = blend.out.a + y * W + x;
            const Edge edge{(A[-W] < kAlphaEdgeLevel && A[W] > kAlphaEdgeLevel) ||
                                (A[-2 * W] < kAlphaEdgeLevel && A[W] > kAlphaEdgeLevel),
                            (A[-W] > kAlphaEdgeLevel && A[W] < kAlphaEdgeLevel) ||
                                (A[-W] > kAlphaEdgeLevel && A[2 * W] < kAlphaEdgeLevel)};
            if (edge.rising || edge.falling) BlendCandidate(blend, {y, blend.height, x, W}, edge, true);
        }
    }
}

}  // namespace

std::int32_t BlendRadius(std::int32_t planeWidth) {
    const std::int32_t radius = planeWidth / kColumnsPerBlendRadius;
    return radius < 1 ? 1 : radius > kMostBlendRadius ? kMostBlendRadius : radius;
}

template <class Sample>
bool BlendColours(const PlaneView<Sample>& planes, Workers*) {
    const std::size_t bytes =
        sizeof(Sample) * static_cast<std::size_t>(planes.width) * static_cast<std::size_t>(planes.height);
    Sample* work[3];
    for (Sample*& copy : work) copy = static_cast<Sample*>(std::malloc(bytes));
    const bool made = work[0] != nullptr && work[1] != nullptr && work[2] != nullptr;
    if (made) {
        const Blend<Sample> blend{planes.width,         planes.height, BlendRadius(planes.width),
                                  planes.maxSample / 2, planes.out,    {work[0], work[1], work[2]}};
        const auto copyPlanes = [&] {
            std::memcpy(work[0], blend.out.r, bytes);
            std::memcpy(work[1], blend.out.g, bytes);
            std::memcpy(work[2], blend.out.b, bytes);
        };
        copyPlanes();
        BlendAlongRows(blend);
        copyPlanes();
        BlendAlongColumns(blend);
    }
    for (Sample* copy : work) std::free(copy);
    return made;
}

template bool BlendColours(const PlaneView<std::uint8_t>&, Workers*);
template bool BlendColours(const PlaneView<std::uint16_t>&, Workers*);

}  // namespace keying

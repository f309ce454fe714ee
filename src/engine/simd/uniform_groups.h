// Groups of neighbouring pixels that single precision can settle: all backdrop by their shape, or all plainly
// foreground. Most groups of a photograph before a backdrop are one or the other.
//
// Each question that the classification asks is asked here with a margin for the rounding of floats, and a
// group with a single pixel that is not clear stays open. Samples and the sums of two are exact. A backdrop
// channel, below 512 levels before its limit, is off by less than 0.0002 of a level.
#pragma once

#include <cstdint>

#include "engine/key_run.h"
#include "engine/simd/vec.h"

namespace keying::FROND_VARIANT {

// One bit for each settled kind: what groups have in common is the `and` of their kinds.
enum GroupKind : std::uint8_t { kMixed = 0, kBackdrop = 1, kForeground = 2 };

// What is the same for all groups of a run, in samples.
struct GroupRun {
    bool use;  // false: every group is open
    F maxSample, level;
    F plainFrom;      // square of the distance from which a pixel is not plain backdrop
    F greyFrom;       // chroma squared from which it is not grey
    F colouredAbove;  // chroma squared above which its shape is asked for
    F paleBelow;      // chroma squared below which it is not
    F shapeLimit;     // the limit of the shape test, for a backdrop key channel of 1
    F shapeError;     // what rounding can add to the test's sum of squares
    F opaqueLead;     // the lead of the stronger of red and third channel from which a pixel is opaque
    F greySpread;     // the spread from which the corrections leave it alone, for a key channel of 1
};

// False colours and the transparent layer need more than a settled pixel's alpha. The rest keeps the numbers
// within the ranges that the margins are made for.
static inline GroupRun GroupRunOf(const KeyRun& run) {
    const double k = run.levelScale, most = run.maxSample;
    const auto set = [](double v) { return SetF(static_cast<float>(v)); };
    GroupRun groups;
    groups.use = !run.orgPhoto && !run.showSelect && !run.outputAlpha && run.limits.shapeIsConstant &&
                 run.sRemove >= 1 && run.sRemove <= 1000 && run.sAdjust >= 0 && run.sAdjust <= 200;
    groups.maxSample = set(most);
    groups.level = set(k);
    groups.plainFrom = set(0.2 * k * k);
    groups.greyFrom = set(run.limits.greyBelow * 1.0001);
    groups.colouredAbove = set(run.limits.colouredAbove * 1.0001);
    groups.paleBelow = set(run.limits.colouredAbove * 0.9999);
    groups.shapeLimit = set(run.sRemove * most * k);
    groups.shapeError = set(200 * k * k * k * k);
    groups.opaqueLead = set(40 * k);
    groups.greySpread = set(50 * k / most);
    return groups;
}

struct GroupPixels {
    F R, G, B;  // as fetched
    F bgR, bgG, bgB;
};

static inline F SquareF(F v) {
    return v * v;
}

// The shape test by the bounds of IsBackdropByShape. X, Y and Z are off by a quarter of a level's square at
// most, which a thousandth more or less of the sum of their squares covers, and shapeError.
static inline GroupKind KindOf(const GroupRun& run, const GroupPixels& p) {
    const F distance = SquareF(p.R - p.bgR) + SquareF(p.G - p.bgG) + SquareF(p.B - p.bgB);
    const F chroma = SquareF(p.R - p.G) + SquareF(p.G - p.B);
    const F strong = Largest(p.R, p.B);
    const F X = p.R * p.bgG - p.bgR * p.G, Y = p.B * p.bgG - p.bgB * p.G, Z = p.B * p.bgR - p.bgB * p.R;
    const F squares = SquareF(X) + SquareF(Y) + SquareF(Z);
    const F factor = run.maxSample - p.G + strong, limit = SquareF(run.shapeLimit * p.bgG);
    const F one = SetF(1.001f) * run.level;
    const FM posed =
        And(And(Less(one, p.bgR), Less(one, p.bgG)), And(Less(one, p.bgB), Less(SetF(0), factor)));
    const FM asked = And(Less(run.plainFrom, distance), Less(run.greyFrom, chroma));

    const F most = (squares * SetF(1.001f) + run.shapeError) * SquareF(factor) * SetF(6);
    FM inside = And(And(asked, posed), Less(run.colouredAbove, chroma));
    inside = And(inside, Less(most, limit * SetF(0.999f)));
    if (All(inside)) return kBackdrop;

    const F least = (squares * SetF(0.999f) - run.shapeError) * SquareF(factor) * SetF(4);
    const FM outside = Or(Less(chroma, run.paleBelow), And(posed, Less(limit * SetF(1.001f), least)));
    const F spread = SquareF(p.R - p.B) + SquareF(p.G - p.B) + SquareF(p.G - p.R);
    FM opaque = And(And(asked, outside), Less(run.opaqueLead + p.G, strong));
    opaque = And(opaque, Less(SquareF(p.G * run.greySpread) * SetF(1.001f), spread));
    return All(opaque) ? kForeground : kMixed;
}

// The kinds of the groups of a ring row, from its first pixel on.
static inline GroupKind* KindsOfRow(const KeyRun& run, std::int32_t slot) {
    static_assert(kFloats >= kSmallestGroup && sizeof(GroupKind) == 1);
    return reinterpret_cast<GroupKind*>(run.groupKinds) + slot * GroupRoom(run.width);
}

// Calls visit(from, to, kind) for each stretch of groups of one kind.
template <class Visit>
static inline void ForEachRun(const GroupKind* kinds, int n, Visit visit) {
    for (int from = 0; from < n;) {
        const GroupKind kind = kinds[from / kFloats];
        int to = from + kFloats;
        while (to < n && kinds[to / kFloats] == kind) to += kFloats;
        visit(from, to < n ? to : n, kind);
        from = to;
    }
}

// FillChannel in single precision.
static inline void FillBackdropF32(const KeyRun& run, const double* table, const GridPlace& row,
                                   std::int32_t x0, int n, float* level) {
    const double adjust = run.sAdjust / 100;
    const F limit = SetF(static_cast<float>(255 * run.levelScale));
    ForCells(run.columns, table, row, x0, n, [&](const double* c, int from, int to) {
        const double left = (c[0] * row.low + c[kGridSide] * row.high) * adjust;
        const double right = (c[1] * row.low + c[kGridSide + 1] * row.high) * adjust;
        const F start = SetF(static_cast<float>(left)), rise = SetF(static_cast<float>(right - left));
        for (int x = from; x < to; x += kFloats) {
            Store(level + x, LimitHigh(start + rise * LoadF(run.columns.share + x0 + x), limit));
        }
    });
}

}  // namespace keying::FROND_VARIANT

// What single precision can decide of a group of neighbouring pixels. Most groups of a photograph before a
// backdrop are uniform: all backdrop by their shape, or all opaque foreground. In the others, most pixels are
// one or the other or need the search.
//
// Each test of the classification is made here with a margin for the rounding of floats. Samples and the sums
// of two are exact. A backdrop channel, below 512 levels before its limit, is off by less than 0.0002 of a
// level.
#pragma once

#include <cstdint>

#include "engine/colour.h"
#include "engine/constants.h"
#include "engine/key_run.h"
#include "engine/simd/vec.h"

namespace keying::FROND_VARIANT {

// Pixels that a pass handles at a time: whole groups.
constexpr int kSpan = 256;

// One bit for each uniform kind: what groups have in common is the `and` of their kinds. kForeground is as it
// was seen, kGreyish is opaque too and only has to be pulled towards grey. Each lane of a kSorted group has a
// decision. Nothing is known of a kMixed group.
enum GroupKind : std::uint8_t { kMixed = 0, kBackdrop = 1, kForeground = 2, kGreyish = 4, kSorted = 8 };

// The decision of a lane: its alpha where it is like that of a uniform kind, or what has to follow.
constexpr float kIsBackdrop = 0, kIsForeground = 1, kIsSearched = 2, kIsUndecided = 3;

// Factors that cover the rounding of floats.
constexpr float kMore = 1.001f, kLess = 0.999f;

// What is the same for all groups of a run, in samples.
struct GroupRun {
    bool use;  // false: every group is mixed
    Floats maxSample;
    Floats plainFrom;      // square of the distance from which a pixel is not plain backdrop
    Floats greyFrom;       // chroma squared from which it is not grey
    Floats colouredAbove;  // chroma squared above which its shape is asked for
    Floats paleBelow;      // chroma squared below which it is not
    Floats leastBackdrop;  // a backdrop channel that is at least one level is above it
    Floats shapeLimit;     // the limit of the shape test, for a backdrop key channel of 1
    Floats insideBelow;    // likewise, the bound below which the sum of squares is inside for certain
    Floats outsideAbove;   // and that above which it is outside
    Floats shapeError;     // what rounding can add to the test's sum of squares
    Floats rootError;      // and to its sum of roots
    Floats opaqueLead;     // the lead of the stronger of red and third channel from which a pixel is opaque
    Floats clear;          // the margin of the comparisons that follow
    Floats dark;           // the level below which the search stops at once
    Floats redLead, thirdLead;  // the leads of the key channel below which it does
    Floats gain;                // of the backdrop in the first estimates of alpha
    Floats greySpread;  // the spread from which the corrections leave it alone, for a key channel of 1
    Floats wideLead;    // the lead of the stronger of red and third channel from which no wide pull applies
    Floats brightFrom;  // the sum of the channels from which no dark rescue applies
    bool blueLogic;
};

// False colours and the transparent layer need more than a uniform pixel's alpha. The other conditions keep
// the numbers within the ranges of the margins.
static inline GroupRun GroupRunOf(const KeyRun& run) {
    const double k = run.levelScale, most = run.maxSample;
    const auto set = [](double v) { return static_cast<float>(v); };
    GroupRun groups;
    groups.use = !run.orgPhoto && !run.showSelect && !run.outputAlpha && run.limits.shapeIsConstant &&
                 run.sRemove >= 1 && run.sRemove <= 1000 && run.sAdjust >= 0 && run.sAdjust <= 200;
    groups.maxSample = set(most);
    groups.plainFrom = set(1.25 * Square(kPlainDistance * k));
    groups.greyFrom = set(run.limits.greyBelow * 1.0001);
    groups.colouredAbove = set(run.limits.colouredAbove * 1.0001);
    groups.paleBelow = set(run.limits.colouredAbove * 0.9999);
    groups.leastBackdrop = set(kMore * k);
    groups.shapeLimit = set(run.sRemove * most * k);
    groups.insideBelow = set(Square(run.sRemove * most * k) / 6 * kLess * kLess);
    groups.outsideAbove = set(Square(run.sRemove * most * k) / 4 * kMore * kMore);
    groups.shapeError = set(201 * k * k * k * k);
    groups.rootError = set(1.1 * k * k);
    groups.opaqueLead = set(kOpaqueLead * k);
    groups.clear = set(0.01 * k);
    groups.dark = set(kStopDark * k);
    groups.redLead = set((run.sAlter - kStopSlack - kAlterNeutral) * k);
    groups.thirdLead = set(((run.blueLogic ? -kStopSlack : kStopLead) + run.sAlter - kAlterNeutral) * k);
    groups.gain = set(run.darkGain);
    groups.greySpread = set(kGreyLimit * k / most);
    groups.wideLead = set(kWideLead * k);
    groups.brightFrom = set((run.sBlack + run.sBlack + 0.01) * k);
    groups.blueLogic = run.blueLogic;
    return groups;
}

struct GroupPixels {
    Floats R, G, B;  // as fetched
    Floats bgR, bgG, bgB;
};

// The alpha search's stop test at its first step, a = 1: the lanes that stop there for certain, and those
// that do not. Of the two leads of a blue backdrop the smaller decides. Sums and halves of samples are exact.
struct FirstStep {
    FloatMask stops, goesOn;
};

static inline FirstStep TestFirstStep(const GroupRun& run, const GroupPixels& p) {
    const Floats R = Min(p.R, run.maxSample), G = Min(p.G, run.maxSample), B = p.B;
    const FloatMask blue = p.B > p.R, halfwayTest = run.blueLogic ? blue : p.B <= p.R;
    const FloatMask exactly = (Max(G, Max(R, B)) < run.dark) | (halfwayTest & (G + G <= R + B));
    const Floats lead = Min(G - R - run.redLead, G - B - run.thirdLead);
    return {exactly | (lead < 0 - run.clear), (lead > run.clear) & !exactly};
}

// IsOpaqueByEstimate, with a margin of 1 for the level.
static inline FloatMask IsOpaqueByEstimate(const GroupRun& run, const GroupPixels& p) {
    const FloatMask blue = p.B > p.R;
    const Floats level = Select(blue, p.bgB, p.bgR) * run.gain;
    return (Max(p.R, p.B) >= kEstimateWhite) & (level < kEstimateWhite - 1) & (level > -1e8f);
}

// Few groups need it. Inlined, it would keep KindOf from being inlined.
__attribute__((noinline)) static Floats SumOfRoots(Floats xx, Floats yy, Floats zz) {
    return Sqrt(xx + yy) + Sqrt(xx + zz) + Sqrt(yy + zz);
}

// The shape test as in IsBackdropByShape: by two bounds, and by the sum itself where they do not decide.
//
// X, Y and Z are each off by a quarter of a level's square at most. A thousandth more or less of the sum of
// their squares covers that, with shapeError. Each of the three roots is off by 1.42 times as much at most,
// which rootError covers.
//
// decisions: those of a kSorted group.
static inline GroupKind KindOf(const GroupRun& run, const GroupPixels& p, float* decisions) {
    const Floats distance = Square(p.R - p.bgR) + Square(p.G - p.bgG) + Square(p.B - p.bgB);
    const Floats chroma = Square(p.R - p.G) + Square(p.G - p.B);
    const Floats strong = Max(p.R, p.B);
    const Floats X = p.R * p.bgG - p.bgR * p.G, Y = p.B * p.bgG - p.bgB * p.G, Z = p.B * p.bgR - p.bgB * p.R;
    const Floats xx = Square(X), yy = Square(Y), zz = Square(Z), squares = xx + yy + zz;
    const Floats factor = run.maxSample - p.G + strong;
    const FloatMask bounded = Min(Min(p.bgR, p.bgG), p.bgB) > run.leastBackdrop;
    const FloatMask away = distance > run.plainFrom;  // false for a backdrop that is no number

    // What is coloured enough for the shape test is not grey. Where the factor is not positive, the shape
    // test always says backdrop.
    const FloatMask asked = away & bounded & (chroma > run.colouredAbove);
    FloatMask inside =
        asked & ((squares + run.shapeError) * Square(factor) < Square(p.bgG) * run.insideBelow);
    if (All(inside)) return kBackdrop;

    const FloatMask tested = bounded & (factor > 0);
    FloatMask outside =
        (chroma < run.paleBelow) |
        (tested & ((squares - run.shapeError) * Square(factor) > Square(p.bgG) * run.outsideAbove));
    if (!All(inside | outside)) {
        const Floats sum = SumOfRoots(xx, yy, zz), limit = run.shapeLimit * p.bgG;
        inside = inside | (asked & ((sum + run.rootError) * factor < limit * kLess));
        if (All(inside)) return kBackdrop;
        outside = outside | (tested & ((sum - run.rootError) * factor > limit * kMore));
    }
    const FloatMask coloured = (chroma > run.greyFrom) | (Max(strong, p.G) > p.bgG - p.bgR + run.clear);
    const FloatMask opaque = strong > run.opaqueLead + p.G;
    const FloatMask seen = away & coloured & outside;  // some of the subject is
    const FirstStep first = TestFirstStep(run, p);
    const FloatMask whole = seen & (opaque | (bounded & (first.stops | IsOpaqueByEstimate(run, p))));
    const FloatMask bright = p.R + p.G + p.B > run.brightFrom;
    const Floats spread = Square(p.R - p.B) + Square(p.G - p.B) + Square(p.G - p.R);
    const FloatMask leftAlone = (spread > Square(p.G * run.greySpread) * kMore) &
                                (opaque | (bright & (strong >= p.G + run.wideLead)));
    const FloatMask foreground = whole & leftAlone;
    if (All(foreground)) return kForeground;
    if (All(whole & bright)) return kGreyish;
    const FloatMask searched = seen & first.goesOn & !whole;
    const Floats subject = Select(foreground, kIsForeground, Select(searched, kIsSearched, kIsUndecided));
    Store(decisions, Select(inside, kIsBackdrop, subject));
    return kSorted;
}

// The kinds of the groups of a ring row, from its first pixel on.
static inline GroupKind* KindsOfRow(const KeyRun& run, std::int32_t slot) {
    static_assert(kFloats >= kSmallestGroup && sizeof(GroupKind) == 1);
    return reinterpret_cast<GroupKind*>(run.groupKinds) + slot * GroupRoom(run.width);
}

// Calls visit(from, to, kind) for each run of groups of one kind.
template <class Visit>
static inline void ForEachRun(const GroupKind* kinds, int n, Visit visit) {
    const int groups = (n + kFloats - 1) / kFloats;
    for (int from = 0; from < groups;) {
        const GroupKind kind = kinds[from];
        int to = from + 1;
        while (to < groups && kinds[to] == kind) ++to;
        visit(from * kFloats, to < groups ? to * kFloats : n, kind);
        from = to;
    }
}

// The backdrop of a span in single precision.
struct BackdropF32 {
    float r[kSpan + kFloats], g[kSpan + kFloats], b[kSpan + kFloats];
};

static inline void FillBackdropF32(const KeyRun& run, const GridPlace& row, std::int32_t x0, int n,
                                   BackdropF32* backdrop) {
    const double adjust = run.sAdjust / kAdjustUnit;
    const Floats limit = static_cast<float>(kBackdropLimit * run.levelScale);
    struct Line {
        Floats start, rise;
    };
    ForCells(run.columns, row, x0, n, [&](int cell, int from, int to) {
        const auto line = [&](const double* table) {
            const double* c = table + cell;
            const double left = (c[0] * row.low + c[kGridSide] * row.high) * adjust;
            const double right = (c[1] * row.low + c[kGridSide + 1] * row.high) * adjust;
            return Line{static_cast<float>(left), static_cast<float>(right - left)};
        };
        const Line r = line(run.grid->gridR), g = line(run.grid->gridG), b = line(run.grid->gridB);
        for (int x = from; x < to; x += kFloats) {
            const Floats share = Load(run.columns.share + x0 + x);
            Store(backdrop->r + x, Min(r.start + r.rise * share, limit));
            Store(backdrop->g + x, Min(g.start + g.rise * share, limit));
            Store(backdrop->b + x, Min(b.start + b.rise * share, limit));
        }
    });
}

}  // namespace keying::FROND_VARIANT

// The alpha search in single precision, without a division by a candidate: it finds the step that a search
// ends with wherever that is certain.
//
// Single precision is enough because margins are kept: what is compared lies within some 2500 levels, and is
// off by less than 0.0005 of a level there. A pixel whose margin is not clear stays undecided.
#pragma once

#include "engine/key_run.h"
#include "engine/simd/search_steps.h"
#include "engine/simd/vec.h"

namespace keying::FROND_VARIANT {

// What is the same for all pixels of a run, in samples.
struct SearchConstants {
    F maxSample, level;  // level: what one 8-bit level measures
    F dark;
    // The lead of the key channel at which the search stops: over red, and over the third channel.
    F redLead, coarseLead, fineLead;
    bool blueLogic;
};

static inline SearchConstants SearchConstantsOf(const KeyRun& run) {
    const double k = run.levelScale;
    const auto set = [](double v) { return SetF(static_cast<float>(v)); };
    // The lopsided 20 of the red side's coarse search under blue logic is meant.
    return {set(run.maxSample),
            set(k),
            set(5 * k),
            set((run.sAlter - 140) * k),
            set((20 + run.sAlter - 100) * k),
            set(((run.blueLogic ? -40 : 20) + run.sAlter - 100) * k),
            run.blueLogic};
}

struct QuickPixels {
    F R, G, B;
    F bgR, bgG, bgB;
    FM blue;     // the third channel is stronger than red
    FM halfway;  // the half-way test runs
};

// A line that starts s above its bound and falls by `fall` for each unit of 1 / a. A start that is not above
// the bound is the soonest of all.
struct FallingLine {
    F s, fall;
};

// The line that reaches its bound first, if any falls.
static inline FallingLine EarlierCrossing(const FallingLine& a, const FallingLine& b) {
    const F zero = SetF(0);
    const FM second = Or(And(Less(zero, a.s), Less(b.s * a.fall, a.s * b.fall)), LessEqual(b.s, zero));
    return {Select(second, b.s, a.s), Select(second, b.fall, a.fall)};
}

// A value of a above which no stop test of the pixels can say stop; 1 where nothing is known.
//
// With x = 1 / a, a candidate channel is w + (w - bg) t, t = x - 1, limited to 0..M. So fG is at least the
// smaller of wG + dG t and M, and fR and fB are at most the larger of wR + dR t, wB + dB t and 0, where d = w
// - bg. Put into the four conditions, this leaves straight lines in t, each of which must have fallen below
// its bound before the condition can hold: a line that starts s above its bound and falls by `fall` each unit
// of t stays above while s > fall t, that is while a > fall / (fall + s). The smallest s / fall of all lines
// counts. s is taken a hundredth of a level short, far more than all rounding amounts to.
static inline F StopBound(const SearchConstants& run, const QuickPixels& p, F lead) {
    const F zero = SetF(0), one = SetF(1), slack = SetF(0.01f) * run.level, top = run.maxSample;
    const F dR = p.R - p.bgR, dB = p.B - p.bgB, rise = p.bgG - p.G;

    // Dark: both the key channel and the strong one must fall below 5 levels, so the higher one must.
    const F strong = Select(p.blue, p.B, p.R);
    const FM keyHigher = Greater(p.G, strong);
    const FallingLine dark{Select(keyHigher, p.G, strong) - run.dark - slack,
                           Select(keyHigher, rise, zero - Select(p.blue, dB, dR))};
    // Against red and against the third channel, where nothing, the lower end or the upper end limits.
    const F redBound = run.redLead + slack, thirdBound = lead + slack;
    const FallingLine red =
        EarlierCrossing({p.G - p.R - redBound, dR + rise},
                        EarlierCrossing({p.G - redBound, rise}, {top - p.R - redBound, dR}));
    const FallingLine third =
        EarlierCrossing({p.G - p.B - thirdBound, dB + rise},
                        EarlierCrossing({p.G - thirdBound, rise}, {top - p.B - thirdBound, dB}));
    // Half-way, doubled, alike; where the test does not run, its lines are far off.
    const F off = Select(p.halfway, zero, SetF(1e30f)) - slack;
    const F twice = p.G + p.G + off, twiceRise = rise + rise, twiceTop = top + top + off;
    const FallingLine low = EarlierCrossing(
        EarlierCrossing({twice - p.R - p.B, twiceRise + dR + dB}, {twice - p.R, twiceRise + dR}),
        EarlierCrossing({twice - p.B, twiceRise + dB}, {twice, twiceRise}));
    const FallingLine high = EarlierCrossing({twiceTop - p.R - p.B, dR + dB},
                                             EarlierCrossing({twiceTop - p.R, dR}, {twiceTop - p.B, dB}));
    const FallingLine first =
        EarlierCrossing(EarlierCrossing(dark, red), EarlierCrossing(third, EarlierCrossing(low, high)));
    // Where no line falls, nothing stops. A non-number compares false.
    const F fall = LimitLow(first.fall, zero);
    const F bound = fall / (fall + first.s);
    return Select(And(Less(zero, first.s), Less(bound, one)), bound, one);
}

// The number of steps of the given size from `start` on that lie above the bound for certain. A hundredth of
// a step covers all rounding and the drift of the repeated subtraction.
static inline F StepsAbove(F start, F bound, float stepsPerOne) {
    return Truncate(LimitLow((start - bound) * SetF(stepsPerOne) + SetF(0.99f), SetF(0)));
}

// What the stop test says for certain; where neither, it must be made as it is defined.
struct Verdict {
    FM goesOn, stops;
};

// The stop test at x = 1 / a, by the range that each candidate lies in. As bg + (w - bg) x, a candidate is
// off by the rounding of bg and of the difference, times x, and by that of the result. An x of 0 stands for
// an a that is not above 0, where every search ends.
static inline Verdict TestAt(const SearchConstants& run, const QuickPixels& p, F lead, F x) {
    const F zero = SetF(0), half = SetF(0.5f), top = run.maxSample;
    const F margin = SetF(0.001f) * run.level * (SetF(1) + x);
    const F R = p.bgR + (p.R - p.bgR) * x, G = p.bgG + (p.G - p.bgG) * x, B = p.bgB + (p.B - p.bgB) * x;
    const F lowR = LimitTo(R - margin, zero, top), highR = LimitTo(R + margin, zero, top);
    const F lowG = LimitTo(G - margin, zero, top), highG = LimitTo(G + margin, zero, top);
    const F lowB = LimitTo(B - margin, zero, top), highB = LimitTo(B + margin, zero, top);

    // Each of the four conditions stops the search when its number is below 0.
    const F leastDark = Largest(lowG, Select(p.blue, lowB, lowR)) - run.dark;
    const F mostDark = Largest(highG, Select(p.blue, highB, highR)) - run.dark;
    const F leastRed = lowG - highR - run.redLead, mostRed = highG - lowR - run.redLead;
    const F leastThird = lowG - highB - lead, mostThird = highG - lowB - lead;
    const F leastHalf = Select(p.halfway, lowG - (highR + highB) * half, leastThird);
    const F mostHalf = Select(p.halfway, highG - (lowR + lowB) * half, mostThird);
    const F least = Smallest(Smallest(leastDark, leastRed), Smallest(leastThird, leastHalf));
    const F most = Smallest(Smallest(mostDark, mostRed), Smallest(mostThird, mostHalf));
    const F clear = SetF(0.0005f) * run.level;
    return {Less(clear, least), Or(Less(most, zero - clear), LessEqual(x, zero))};
}

// Takes the lanes that are open to the first step that they do not pass for certain; gives those that stop
// there for certain. inverses: 1 / a of the steps.
static inline FM DescendQuickly(const SearchConstants& run, const QuickPixels& p, F lead,
                                const float* inverses, FM open, F* step) {
    FM stopped = AndNot(open, open);
    while (Any(open)) {
        const Verdict verdict = TestAt(run, p, lead, Gather(inverses, *step));
        stopped = Or(stopped, And(open, verdict.stops));
        open = AndNot(And(open, verdict.goesOn), verdict.stops);
        *step = Select(open, *step + SetF(1), *step);
    }
    return stopped;
}

// What is certain of the lanes' searches: the coarse step before which a search does not stop, and the fine
// step that it ends with, an index of kSearchSteps.fine, or -1.
struct FoundSteps {
    F coarse, fine;
};

static inline FoundSteps FindSteps(const SearchConstants& run, const QuickPixels& p) {
    const F one = SetF(1), none = SetF(-1), farthest = SetF(-1000) * run.level;
    const FM inRange = And(Less(farthest, p.bgR), And(Less(farthest, p.bgG), Less(farthest, p.bgB)));
    const F coarseLead = Select(p.blue, run.fineLead, run.coarseLead);
    F bound = StopBound(run, p, coarseLead);
    F coarse = Select(inRange, StepsAbove(one, bound, 10), SetF(0));
    const FM found = DescendQuickly(run, p, coarseLead, kInverseSteps.coarse, inRange, &coarse);

    // The row of fine steps starts one coarse step back, unless the first test stopped.
    if (run.blueLogic) bound = StopBound(run, p, run.fineLead);
    const F start = Smallest(SetF(1.1f) - coarse * SetF(0.1f), one);
    F fine = coarse * SetF(kFineStride) + StepsAbove(start, bound, 200);
    const FM settled = DescendQuickly(run, p, run.fineLead, kInverseSteps.fine, found, &fine);
    return {coarse, Select(settled, fine, none)};
}

}  // namespace keying::FROND_VARIANT

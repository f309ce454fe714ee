// The alpha search in single precision, without a division by a candidate: it finds the step that a search
// ends with wherever that is certain.
//
// Single precision is enough because margins are kept: compared values are within some 2500 levels, and are
// off by less than 0.0005 of a level there. A pixel whose margin is not clear stays undecided.
#pragma once

#include "engine/constants.h"
#include "engine/key_run.h"
#include "engine/simd/search_steps.h"
#include "engine/simd/vec.h"

namespace keying::FROND_VARIANT {

// What is the same for all pixels of a run, in samples.
struct SearchConstants {
    Floats maxSample, level;  // level: what one 8-bit level measures
    Floats dark;
    // The lead of the key channel at which the search stops: over red, and over the third channel.
    Floats redLead, coarseLead, fineLead;
    bool blueLogic;
};

static inline SearchConstants SearchConstantsOf(const KeyRun& run) {
    const double k = run.levelScale;
    const auto set = [](double v) { return static_cast<float>(v); };
    const double lead = run.blueLogic ? -kStopSlack : kStopLead;
    // The lopsided kStopLead of the red side's coarse search under blue logic is intended.
    return {set(run.maxSample),
            set(k),
            set(kStopDark * k),
            set((run.sAlter - (kStopSlack + kAlterNeutral)) * k),
            set((kStopLead + run.sAlter - kAlterNeutral) * k),
            set((lead + run.sAlter - kAlterNeutral) * k),
            run.blueLogic};
}

struct FloatPixels {
    Floats R, G, B;
    Floats bgR, bgG, bgB;
    FloatMask blue;         // the third channel is stronger than red
    FloatMask halfwayTest;  // the half-way test runs
};

// A line that starts s above its bound and falls by `fall` for each unit of 1 / a. A start that is not above
// the bound is the earliest of all.
struct FallingLine {
    Floats s, fall;
};

// The line that reaches its bound first, if any falls.
static inline FallingLine EarlierCrossing(const FallingLine& a, const FallingLine& b) {
    const FloatMask second = ((a.s > 0) & (b.s * a.fall < a.s * b.fall)) | (b.s <= 0);
    return {Select(second, b.s, a.s), Select(second, b.fall, a.fall)};
}

// A value of a above which no stop test of the pixels can say stop; 1 where nothing is known.
//
// With x = 1 / a, a candidate channel is w + (w - bg) t, t = x - 1, limited to 0..M. So fG is at least the
// smaller of wG + dG t and M, and fR and fB are at most the larger of wR + dR t, wB + dB t and 0, where d = w
// - bg. In the four conditions, this leaves straight lines in t, each of which must have fallen below its
// bound before the condition can hold. A line that starts s above its bound and falls by `fall` each unit of
// t stays above while s > fall t, that is while a > fall / (fall + s). The smallest s / fall of all lines
// counts. s is taken a hundredth of a level short, far more than all rounding.
static inline Floats StopBound(const SearchConstants& run, const FloatPixels& p, Floats lead) {
    const Floats slack = 0.01f * run.level, top = run.maxSample;
    const Floats dR = p.R - p.bgR, dB = p.B - p.bgB, rise = p.bgG - p.G;

    // Dark: both the key channel and the strong one must fall below 5 levels, so the higher one must.
    const Floats strong = Select(p.blue, p.B, p.R);
    const FloatMask keyHigher = p.G > strong;
    const FallingLine dark{Select(keyHigher, p.G, strong) - run.dark - slack,
                           Select(keyHigher, rise, 0 - Select(p.blue, dB, dR))};
    // Against red and against the third channel, where nothing, the lower end or the upper end limits.
    const Floats redBound = run.redLead + slack, thirdBound = lead + slack;
    const FallingLine red =
        EarlierCrossing({p.G - p.R - redBound, dR + rise},
                        EarlierCrossing({p.G - redBound, rise}, {top - p.R - redBound, dR}));
    const FallingLine third =
        EarlierCrossing({p.G - p.B - thirdBound, dB + rise},
                        EarlierCrossing({p.G - thirdBound, rise}, {top - p.B - thirdBound, dB}));
    // Half-way, doubled, alike; where the test does not run, its lines are far off.
    const Floats off = Select(p.halfwayTest, 0, 1e30f) - slack;
    const Floats twice = p.G + p.G + off, twiceRise = rise + rise, twiceTop = top + top + off;
    const FallingLine low = EarlierCrossing(
        EarlierCrossing({twice - p.R - p.B, twiceRise + dR + dB}, {twice - p.R, twiceRise + dR}),
        EarlierCrossing({twice - p.B, twiceRise + dB}, {twice, twiceRise}));
    const FallingLine high = EarlierCrossing({twiceTop - p.R - p.B, dR + dB},
                                             EarlierCrossing({twiceTop - p.R, dR}, {twiceTop - p.B, dB}));
    const FallingLine first =
        EarlierCrossing(EarlierCrossing(dark, red), EarlierCrossing(third, EarlierCrossing(low, high)));
    // Where no line falls, nothing stops. A NaN compares false.
    const Floats fall = Max(first.fall, 0);
    const Floats bound = fall / (fall + first.s);
    return Select((first.s > 0) & (bound < 1), bound, 1);
}

// The number of steps of the given size from `start` on that are above the bound for certain. A hundredth of
// a step covers all rounding and the drift of the repeated subtraction.
static inline Floats StepsAbove(Floats start, Floats bound, double step) {
    return Truncate(Max((start - bound) * static_cast<float>(1 / step) + 0.99f, 0));
}

// The certain results of the stop test. Where neither holds, the test must be computed as it is defined.
struct Verdict {
    FloatMask goesOn, stops;
    Floats bound;  // of the lanes that go on: they do so at each smaller a above this one
};

// The stop test at x = 1 / a. As bg + (w - bg) x, a candidate is off by the rounding of bg and of the
// difference, times x, and by that of the result; a condition compares two of them. An x of 0 means an a that
// is not above 0, where every search ends. At an `a` of nearly 0 every candidate whose seen and backdrop
// channel differ is at an end of its range.
//
// As x grows, the number of a condition falls no faster than the key channel falls and the others rise. A
// channel that has reached an end of its range stays there. `drift` covers the rounding of a channel's slope.
static inline Verdict TestAt(const SearchConstants& run, const FloatPixels& p, Floats lead, Floats x) {
    const Floats top = run.maxSample, dR = p.R - p.bgR, dG = p.G - p.bgG, dB = p.B - p.bgB;
    Floats margin = 0.002f * run.level * (1 + x) + 0.0005f * run.level;
    const FloatMask last = x > kLastInverse;
    if (Any(last)) {
        const Floats least = Min(Min(Max(dR, 0 - dR), Max(dG, 0 - dG)), Max(dB, 0 - dB));
        margin = Select(last & (least > 0.01f * run.level), 0.0005f * run.level, margin);
    }
    const Floats R = LimitTo(p.bgR + dR * x, 0, top), B = LimitTo(p.bgB + dB * x, 0, top);
    const Floats G = LimitTo(p.bgG + dG * x, 0, top), key = G - margin, drift = 0.001f * run.level;
    const Floats fallG = Select(G > 0, Max(0 - dG, 0), 0) + drift;
    const Floats riseR = Select(R < top, Max(dR, 0), 0) + drift;
    const Floats riseB = Select(B < top, Max(dB, 0), 0) + drift;

    // Each of the four conditions stops the search when its number, here less the margin, is below 0.
    const Floats strong = Select(p.blue, B, R);
    const FloatMask keyHigher = G > strong;
    const FallingLine dark{Select(keyHigher, G, strong) - margin - run.dark,
                           Select(keyHigher, fallG, Max(0 - Select(p.blue, dB, dR), 0) + drift)};
    const FallingLine red{key - R - run.redLead, fallG + riseR}, third{key - B - lead, fallG + riseB};
    const FallingLine half{Select(p.halfwayTest, key - (R + B) * 0.5f, third.s),
                           fallG + (riseR + riseB) * 0.5f};
    const Floats least = Min(Min(dark.s, red.s), Min(third.s, half.s));
    const FallingLine first = EarlierCrossing(EarlierCrossing(dark, red), EarlierCrossing(third, half));
    return {least > 0, (least + margin + margin < 0) | (x <= 0), first.fall / (first.fall * x + first.s)};
}

// Takes the searching lanes from the first step, `start`, to the first one that they do not pass for certain;
// gives those that stop there for certain. inverses: 1 / a of the steps, which are `size` apart. *passed: the
// value of a above which the lanes go on.
static inline FloatMask DescendToStop(const SearchConstants& run, const FloatPixels& p, Floats lead,
                                      const float* inverses, Floats start, double size, FloatMask searching,
                                      Floats* step, Floats* passed) {
    FloatMask stopped = searching & !searching;
    const Floats first = *step;
    *step = first + StepsAbove(start, *passed, size);
    while (Any(searching)) {
        const Verdict verdict = TestAt(run, p, lead, Gather(inverses, *step));
        stopped = stopped | (searching & verdict.stops);
        searching = searching & verdict.goesOn & !verdict.stops;
        *passed = Select(searching, verdict.bound, *passed);
        *step = Select(searching, Max(*step + 1, first + StepsAbove(start, *passed, size)), *step);
    }
    return stopped;
}

// What is certain of the lanes' searches: the coarse step before which a search does not stop, or one of the
// two numbers below; and the fine step, an index of kSearchSteps.fine.
struct FoundSteps {
    Floats coarse, fine;
};

// firstPassed: no lane stops at its first step, a = 1.
static inline FoundSteps FindSteps(const SearchConstants& run, const FloatPixels& p, bool firstPassed) {
    const Floats farthest = -1000 * run.level;
    const FloatMask inRange = (p.bgR > farthest) & (p.bgG > farthest) & (p.bgB > farthest);
    const Floats coarseLead = Select(p.blue, run.fineLead, run.coarseLead);
    // The fine step after 1 is 0.995.
    Floats passed = Min(StopBound(run, p, coarseLead), firstPassed ? 0.996f : 1);
    Floats coarse = 0;
    const FloatMask found =
        DescendToStop(run, p, coarseLead, kInverseSteps.coarse, 1, kCoarseStep, inRange, &coarse, &passed);

    // The row of fine steps starts one coarse step back, unless the first test stopped. The fine search
    // passes what the coarse one passes, since its lead is not larger.
    constexpr float kStep = static_cast<float>(kCoarseStep);
    const Floats start = Min(1 + kStep - coarse * kStep, 1);
    Floats fine = coarse * kFineStride;
    const FloatMask decided =
        DescendToStop(run, p, run.fineLead, kInverseSteps.fine, start, kFineStep, found, &fine, &passed);
    return {Select(decided, kDecided, Select(found, kCoarseFound, Select(inRange, coarse, 0))), fine};
}

}  // namespace keying::FROND_VARIANT

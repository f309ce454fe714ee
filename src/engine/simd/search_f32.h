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
};

// The stop test at x = 1 / a, by the range that each candidate is in. As bg + (w - bg) x, a candidate is off
// by the rounding of bg and of the difference, times x, and by that of the result. An x of 0 means an a that
// is not above 0, where every search ends.
static inline Verdict TestAt(const SearchConstants& run, const FloatPixels& p, Floats lead, Floats x) {
    const Floats top = run.maxSample, margin = 0.001f * run.level * (1 + x);
    const Floats R = p.bgR + (p.R - p.bgR) * x, G = p.bgG + (p.G - p.bgG) * x, B = p.bgB + (p.B - p.bgB) * x;
    const Floats lowR = LimitTo(R - margin, 0, top), highR = LimitTo(R + margin, 0, top);
    const Floats lowG = LimitTo(G - margin, 0, top), highG = LimitTo(G + margin, 0, top);
    const Floats lowB = LimitTo(B - margin, 0, top), highB = LimitTo(B + margin, 0, top);

    // Each of the four conditions stops the search when its number is below 0.
    const Floats leastDark = Max(lowG, Select(p.blue, lowB, lowR)) - run.dark;
    const Floats mostDark = Max(highG, Select(p.blue, highB, highR)) - run.dark;
    const Floats leastRed = lowG - highR - run.redLead, mostRed = highG - lowR - run.redLead;
    const Floats leastThird = lowG - highB - lead, mostThird = highG - lowB - lead;
    const Floats leastHalf = Select(p.halfwayTest, lowG - (highR + highB) * 0.5f, leastThird);
    const Floats mostHalf = Select(p.halfwayTest, highG - (lowR + lowB) * 0.5f, mostThird);
    const Floats least = Min(Min(leastDark, leastRed), Min(leastThird, leastHalf));
    const Floats most = Min(Min(mostDark, mostRed), Min(mostThird, mostHalf));
    const Floats clear = 0.0005f * run.level;
    return {least > clear, (most < 0 - clear) | (x <= 0)};
}

// Takes the searching lanes to the first step that they do not pass for certain; gives those that stop there
// for certain. inverses: 1 / a of the steps.
static inline FloatMask DescendToStop(const SearchConstants& run, const FloatPixels& p, Floats lead,
                                      const float* inverses, FloatMask searching, Floats* step) {
    FloatMask stopped = searching & !searching;
    while (Any(searching)) {
        const Verdict verdict = TestAt(run, p, lead, Gather(inverses, *step));
        stopped = stopped | (searching & verdict.stops);
        searching = searching & verdict.goesOn & !verdict.stops;
        *step = Select(searching, *step + 1, *step);
    }
    return stopped;
}

// What is certain of the lanes' searches: the coarse step before which a search does not stop, and the fine
// step that it ends with, an index of kSearchSteps.fine, or -1.
struct FoundSteps {
    Floats coarse, fine;
};

static inline FoundSteps FindSteps(const SearchConstants& run, const FloatPixels& p) {
    const Floats farthest = -1000 * run.level;
    const FloatMask inRange = (p.bgR > farthest) & (p.bgG > farthest) & (p.bgB > farthest);
    const Floats coarseLead = Select(p.blue, run.fineLead, run.coarseLead);
    Floats bound = StopBound(run, p, coarseLead);
    Floats coarse = Select(inRange, StepsAbove(1, bound, kCoarseStep), 0);
    const FloatMask found = DescendToStop(run, p, coarseLead, kInverseSteps.coarse, inRange, &coarse);

    // The row of fine steps starts one coarse step back, unless the first test stopped.
    constexpr float kStep = static_cast<float>(kCoarseStep);
    if (run.blueLogic) bound = StopBound(run, p, run.fineLead);
    const Floats start = Min(1 + kStep - coarse * kStep, 1);
    Floats fine = coarse * kFineStride + StepsAbove(start, bound, kFineStep);
    const FloatMask decided = DescendToStop(run, p, run.fineLead, kInverseSteps.fine, found, &fine);
    return {coarse, Select(decided, fine, -1)};
}

}  // namespace keying::FROND_VARIANT

// The first three passes of the analysis: the scalar reference, and what all variants share.
#pragma once

#include <cstdint>

#include "engine/colour.h"
#include "engine/passes.h"

namespace keying {

// The limits of the passes, in samples.
struct AnalysisLimits {
    double maxSample;
    double darkest;  // 30 levels
    double margin;   // ten raw levels at full brightness, times a pixel's largest channel
};

AnalysisLimits LimitsOf(std::int32_t maxSample);

// Whether the key channel of a pixel leads both others clearly, and if so hue and saturation of the pixel at
// full brightness. seen: with the key channel limited.
bool IsClearlyGreen(const AnalysisLimits& limits, const Rgb& seen, HueSat* atFullBrightness);

// Whole degrees between two hues. Above 180 it is not the shorter way around the circle: opposite hues count
// as close on purpose. The saturation and level passes depend on it.
int HueGap(int hue, int domHue);

// Hue and saturation at the peaks of their histograms: hues of 0 to 359 degrees, saturations in steps of
// 1/200. The lowest of equal peaks wins; an empty histogram gives 107 degrees, or a saturation of 0.635. The
// bin of a saturation of exactly 1 is filled and never a candidate.
double PeakHue(const std::int32_t* hist);
double PeakSat(const std::int32_t* hist);

// Mean of the key channel; the same number 140 at both depths when there is none.
double MeanLevelOf(double sum, std::int64_t count);

// Reads the top layer's colours three times: for the commonest hue, for the commonest saturation at that hue,
// and for the mean level of the pixels that fit.
template <class Sample>
BackdropLevels MeasureLevels(const PlaneView<Sample>& planes, Workers* workers);

}  // namespace keying

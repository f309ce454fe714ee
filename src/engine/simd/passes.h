// The passes of a vector variant. Each gives the bits of its namesake in Passes (variants.h).
#pragma once

#include "engine/passes.h"

namespace keying::FROND_VARIANT {

template <class Sample>
BackdropLevels MeasureLevels(const PlaneView<Sample>& planes);

template <class Sample>
void AddGridPixels(const PlaneView<Sample>& planes, const GridLimits& limits, BackdropGrid* grid);

template <class Sample>
void ProcessRow(const KeyRun& run, const PlaneView<Sample>& planes, std::int32_t y);

// Refines and writes picture row y - ringRadius, but for the selection.
template <class Sample>
void WriteRefinedRow(const KeyRun& run, const PlaneView<Sample>& planes, std::int32_t y);

template <class Sample>
bool BlendColours(const PlaneView<Sample>& planes);

}  // namespace keying::FROND_VARIANT

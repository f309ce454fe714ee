// The passes of a vector variant. Each gives the bits of its namesake in Passes (variants.h).
#pragma once

#include "engine/passes.h"

namespace keying::FROND_VARIANT {

template <class Sample>
BackdropLevels MeasureLevels(const PlaneView<Sample>& planes, Workers* workers);

template <class Sample>
void AddGridPixels(const PlaneView<Sample>& planes, const GridLimits& limits, Band rows, BackdropGrid* grid);

template <class Sample>
void KeyRow(const KeyRun& run, const PlaneView<Sample>& row, std::int32_t y);

template <class Sample>
void WriteRefinedRow(const KeyRun& run, const PlaneView<Sample>& row, std::int32_t y);

template <class Sample>
bool BlendColours(const PlaneView<Sample>& planes, Workers* workers);

}  // namespace keying::FROND_VARIANT

// The passes of a vector variant. Each gives the bits of its namesake in Passes (variants.h).
#pragma once

#include "engine/variants.h"

namespace FROND_VARIANT {

template <class Sample>
BackdropLevels MeasureLevels(const Globals* globals);

template <class Sample>
void AddGridPixels(const Globals* globals, const GridLimits& limits, BackdropGrid* grid);

template <class Sample>
void ProcessRow(const KeyRun& run, const Globals* globals, std::int32_t y);

// Refines and writes picture row y - ringRadius, but for the selection.
template <class Sample>
void RefineRow(const KeyRun& run, const Globals* globals, std::int32_t y);

template <class Sample>
bool BlendColours(const Globals* globals);

}  // namespace FROND_VARIANT

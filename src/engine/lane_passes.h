// The passes of a faster form. Each gives the bits of its namesake in Passes (forms.h).
#pragma once

#include "engine/forms.h"

namespace FROND_FORM {

template <class Sample>
BackdropLevels MeasureLevels(const Globals* globals);

template <class Sample>
void AddGridPixels(const Globals* globals, const GridLimits& limits, BackdropGrid* grid);

template <class Sample>
void TurnRow(const KeyRun& run, const Globals* globals, std::int32_t y);

// Refines and writes picture row y - ringRadius, but for the selection.
template <class Sample>
void RefineRow(const KeyRun& run, const Globals* globals, std::int32_t y);

template <class Sample>
bool BlendColours(const Globals* globals);

}  // namespace FROND_FORM

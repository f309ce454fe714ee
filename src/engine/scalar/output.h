// The writers of the output planes. One of them writes each row:
//
//   showSelect  realityInteg   writer                              last ringRadius rows
//   off         off            refined rows                        flush
//   off         on             direct rows, then edge blending     direct rows
//   on          off            refined rows                        none
//   on          on             none, but edge blending             none
//
// Without a writer the colours stay as fetched, and the alpha plane stays as it was. With both flags on, the
// false colours in the ring never reach the picture, on purpose.
#pragma once

#include <cstdint>

#include "engine/key_run.h"
#include "engine/samples.h"

namespace keying {

// Refines and writes picture row y - ringRadius, where `row` begins, y being the newest ring row. Soft edges
// are lifted over bright layers. Lift and transparency use the matte, the foreground and the bottom layer of
// the newest row, ringRadius rows further down, on purpose.
template <class Sample>
void WriteRefinedRow(const KeyRun& run, const PlaneView<Sample>& row, std::int32_t y);

// Writes the newest ring row as a plain composite, with the matte in the alpha plane at 8 bits and the top
// layer's alpha at 16: edge blending depends on the difference.
template <class Sample>
void WriteDirectRow(const KeyRun& run, const PlaneView<Sample>& row);

// Puts the untouched top pixels back outside the selection, after the writer. The selection is read as bytes
// at both depths, on purpose. Picture row y; planes: whole.
template <class Sample>
void restoreSelection(const KeyRun& run, const PlaneView<Sample>& planes, std::int32_t y);

// Writes the last ringRadius rows, which the refinement never reaches, after the last row or after a stop. It
// continues with the slot of the last turn, even if that row was not keyed. planes: by name.
template <class Sample>
void FlushRows(const KeyRun& run, const PlaneView<Sample>& planes);

}  // namespace keying

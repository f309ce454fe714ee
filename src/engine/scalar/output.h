// The writers of the output planes. One of them writes each row:
//
//   showSelect  realityInteg   writer                              last ringRadius rows
//   off         off            refined rows                        flush
//   off         on             direct rows, then edge blending     direct rows
//   on          off            refined rows                        none
//   on          on             none, but edge blending             none
//
// Where no writer comes, the colours stay as fetched and the alpha plane holds whatever it held. With both
// flags on, the false colours in the ring thus never reach the picture; the flags are meant to combine so.
#pragma once

#include <cstdint>

#include "engine/key_run.h"
#include "engine/samples.h"

namespace keying {

// Refines and writes picture row y - ringRadius, y being the newest ring row. Soft edges are lifted over
// bright layers below. The matte, the foreground and the layer below that the lift and the transparency go by
// are those of the newest row, ringRadius rows further down, on purpose.
template <class Sample>
void WriteRefinedRow(const KeyRun& run, const PlaneView<Sample>& planes, std::int32_t y);

// Writes picture row y, the newest ring row, as a plain composite, with the matte in the alpha plane at 8
// bits and the top layer's alpha at 16: edge blending depends on the difference.
template <class Sample>
void WriteDirectRow(const KeyRun& run, const PlaneView<Sample>& planes, std::int32_t y);

// Writes the last ringRadius rows, which the refinement never reaches, after the last row or after an abort.
// The ring slots go on from the slot of the last turn, whatever that holds. planes: by name.
template <class Sample>
void FlushRows(const KeyRun& run, const PlaneView<Sample>& planes);

}  // namespace keying

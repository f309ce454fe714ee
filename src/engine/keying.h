// The keying engine: finds the backdrop's colour, turns the top layer into a matte and a foreground, and sets
// the foreground on the bottom layer. It works on the planes of Globals alone and starts no thread.
//
// The passes, in the order in which they run:
//
//   pass              file               reads                      writes
//   hue and levels    analysis.cpp       top colours, three times   backdropMean*
//   backdrop grid     backdrop_grid.cpp  top colours, backdropMean* BackdropGrid
//   then row by row, from the top (key_picture.cpp):
//   fetch             pixel_pass.cpp     top and bottom planes      newest ring row; out colours as they were
//   keying            pixel_pass.cpp     newest ring row, grid      newest ring row: foreground and alpha
//     alpha search    alpha_search.cpp     one pixel
//     corrections     corrections.cpp      one pixel
//   either refinement refinement.cpp     all ring rows              row y - ringRadius of the out planes,
//     and pixel step  output.cpp                                    in the same sweep
//   or direct writer  output.cpp         newest ring row            row y of the out planes
//   after the last row, or after an abort:
//   flush             output.cpp         the last ring rows         the last ringRadius rows (not after the
//                                                                   direct writer)
//   edge blending     edge_blending.cpp  out planes                 out planes
//
// What is carried from row to row lies in RowRing (row_ring.h), from analysis to keying in backdropMean* and
// BackdropGrid.
//
// All arithmetic is in doubles, in the unit of the samples, in the written order. Where k (levelScale) does
// not appear beside a constant, the constant is the same number at 8 and at 16 bits on purpose.
#pragma once

#include <cstdint>

#include "shell/globals.h"

constexpr int kGridSide = 20;
constexpr int kGridCells = kGridSide * kGridSide;

// Local backdrop colour, cell by cell, rows from the top: logical channels, in samples of the planes that
// were analysed. Filled by AnalyseBackdrop, read by KeyPicture, laid over whatever planes are keyed by
// relative position.
struct BackdropGrid {
    double gridR[kGridCells];
    double gridG[kGridCells];
    double gridB[kGridCells];
    std::int32_t gridCount[kGridCells];  // pixels accepted in the cell
};

extern BackdropGrid gBackdropGrid;

// Measures the backdrop over the top layer's colours: backdropMeanR, G, B and gBackdropGrid.
void AnalyseBackdrop(Globals* globals);

// Keys the planes into outR, outG, outB, outA. Expects AnalyseBackdrop to have run and the planes to be
// loaded. With finalRender set it reports progress to the host and stops at its abort, after which rows not
// reached keep what the planes held. Raises HeapFailure when the ring cannot be reserved.
void KeyPicture(Globals* globals);

// The edge blending entries, for 8-bit and for 16-bit planes. A working copy that cannot be made leaves the
// colours unblended and memFullErr in the result cell.
void blendEdges8(Globals* globals);
void blendEdges16(Globals* globals);

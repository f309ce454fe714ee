// The keying engine: measures the backdrop's colour, separates the top layer into a matte and a foreground,
// and sets the foreground on the bottom layer. It works on the caller's planes, starts no thread, and needs
// nothing but the standard library. One thread at a time may use it.
//
//   keying::Backdrop backdrop;
//   keying::MeasureBackdrop(planes, settings.blueBackdrop, &backdrop);
//   keying::KeyPlanes(settings, planes, backdrop);
//
// The passes in the order in which they run. Each has a scalar reference, which defines the result, and a
// vector variant, which gives the same bits:
//
//   pass              scalar/            simd/              reads               writes
//   MeasureBackdrop (measure_backdrop.cpp):
//   hue and levels    levels.cpp         levels.cpp         top, three times    means
//   backdrop grid     backdrop_grid.cpp  levels.cpp         top, means          grid
//   KeyPlanes, row by row from the top (key_planes.cpp):
//   fetch             fetch_and_key.cpp  fetch_and_key.cpp  top and bottom      newest ring row, out colours
//   keying            fetch_and_key.cpp  classify.h         newest ring row,    its foreground and alpha
//                                                           grid
//     alpha search    alpha_search.cpp   alpha_search.h     one pixel
//     corrections     corrections.cpp    corrections.h      one pixel
//   then refinement   refinement.cpp     refinement.cpp     all ring rows       out row y - ringRadius,
//     and pixel step  output.cpp         refinement.cpp                           in the same sweep
//   or direct writer  output.cpp         output.h           newest ring row     out row y
//   KeyPlanes, after the last row or after a stop:
//   flush             output.cpp         none               last ring rows      last ringRadius out rows;
//                                                                               not after the direct writer
//   edge blending     edge_blending.cpp  edge_blending.cpp  out                 out
//
// From row to row the passes carry the RowRing (row_ring.h), from the analysis to the keying the Backdrop.
//
// All arithmetic is in doubles, in the unit of the samples, in the written order. A constant without the
// factor k (levelScale) is the same number at 8 and at 16 bits on purpose.
#pragma once

#include <cstddef>
#include <cstdint>

namespace keying {

// The user's parameters. Sliders are 0 to 200 in the dialog; the engine takes any number.
struct Settings {
    double backdropLevel = 100;  // percent of the measured backdrop
    double removeBackdrop = 40;
    double restoreDark = 20;
    double alterGreen = 100;
    double selectTransparency = 100;
    double scaleTransparency = 70;

    bool blueBackdrop = false;
    bool showPhoto = false;    // the top layer as it is, not keyed
    bool showMatte = false;    // the matte in false colours
    bool blendEdges = true;    // smooth the edges of the composite; otherwise refine each row
    bool outputAlpha = false;  // the foreground with transparency in place of a composite

    bool fullSize = true;  // the refinement reaches 2 rows and columns; 1 in a reduced preview
};

// The picture: planes of width * height samples, one channel each, rows from the top without gaps. The caller
// owns them. Samples have `depth` bytes: 1, or 2 in the machine's order and aligned to 2. They are 0 to
// maxSample, which is 255 or, for 2 bytes, 32767 too; larger ones are limited where the passes say so. Planes
// do not overlap.
struct Planes {
    std::int32_t width = 0, height = 0;
    std::int32_t depth = 1;
    std::int32_t maxSample = 255;

    const void *topR = nullptr, *topG = nullptr, *topB = nullptr;
    const void* topA = nullptr;                                               // not read by MeasureBackdrop
    const void *bottomR = nullptr, *bottomG = nullptr, *bottomB = nullptr;    // read by KeyPlanes alone
    void *outR = nullptr, *outG = nullptr, *outB = nullptr, *outA = nullptr;  // not used by MeasureBackdrop

    // Where a byte is 0, KeyPlanes puts the top layer's pixel back. width * height bytes are read at both
    // depths, on purpose. Null: no selection.
    const std::uint8_t* selection = nullptr;
};

constexpr int kGridSide = 20;
constexpr int kGridCells = kGridSide * kGridSide;

// Local backdrop colour, cell by cell, rows from the top. Channels are logical: for a blue backdrop G is the
// picture's blue and B its green. Values are in samples of the planes that were measured. KeyPlanes lays the
// grid over the planes that it keys, by relative position.
struct BackdropGrid {
    double gridR[kGridCells];
    double gridG[kGridCells];
    double gridB[kGridCells];
    std::int32_t gridCount[kGridCells];  // pixels accepted in the cell
};

struct Backdrop {
    double meanR, meanG, meanB;  // logical channels, in samples; each 1.0 or more
    BackdropGrid grid;
};

// How KeyPlanes reports. `report` is called by the calling thread about every twentieth of the picture, with
// the rows keyed so far and the height; true stops the run. It may throw. Null: no reports.
struct Progress {
    bool (*report)(void* context, std::int32_t rows, std::int32_t height) = nullptr;
    void* context = nullptr;
};

// Where KeyPlanes takes its seven ring planes from, 56 bytes a column each. Blocks are aligned to 4 bytes or
// more. `allocate` gives null or throws when there is no memory; `release` gets each block once. Null: malloc
// and free.
struct Memory {
    void* (*allocate)(void* context, std::size_t bytes) = nullptr;
    void (*release)(void* context, void* block) = nullptr;
    void* context = nullptr;
};

enum class Status {
    kDone,
    kStopped,    // by the progress report; rows not reached keep what the planes held
    kNoMemory,   // nothing is changed
    kUnblended,  // no memory for the edge blending: the rest is done as far as a stop allowed
};

struct KeyResult {
    Status status;
    std::int32_t rows;  // finished rows of the out planes, from the top
};

// Measures the backdrop over the top layer's colours.
void MeasureBackdrop(const Planes& planes, bool blueBackdrop, Backdrop* backdrop);

// Keys the top layer into the out planes. An exception of a callback passes through; all memory is released.
KeyResult KeyPlanes(const Settings& settings, const Planes& planes, const Backdrop& backdrop,
                    const Progress& progress = {}, const Memory& memory = {});

// The last pass of KeyPlanes alone: blends colours across the steps of outA and makes outA opaque. Without
// memory for its working copies the colours stay and the status is kUnblended.
Status BlendEdges(const Planes& planes);

}  // namespace keying

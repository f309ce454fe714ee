// The keying engine: measures the backdrop's colour, separates the top layer into a matte and a foreground,
// and sets the foreground on the bottom layer. It works on the caller's planes, and needs nothing but the
// standard library and the platform's threads. Its threads end before a function returns. Several threads
// of the caller may use it at once, each with out planes of its own.
//
//   keying::Backdrop backdrop;
//   keying::MeasureBackdrop(settings, planes, &backdrop);
//   keying::KeyPlanes(settings, planes, backdrop);
//
// The passes in the order in which they run. Each has a scalar reference, which defines the result, and a
// vector variant, which gives the same bits:
//
//   pass              scalar/            simd/              reads               writes
//   MeasureBackdrop (measure_backdrop.cpp):
//   hue and levels    levels.cpp         levels.cpp         top, three times    means
//   backdrop grid     backdrop_grid.cpp  backdrop_grid.cpp  top, means          grid
//   KeyPlanes, row by row from the top, in bands of rows side by side (key_planes.cpp):
//   fetch             fetch_and_key.cpp  fetch_and_key.cpp  top and bottom      newest ring row, out colours
//   keying            fetch_and_key.cpp  classify.h         newest ring row,    its foreground and alpha
//                                                           grid
//     alpha search    alpha_search.cpp   alpha_search.h     one pixel
//     corrections     corrections.cpp    corrections.h      one pixel
//   then refinement   refinement.cpp     refinement.cpp     all ring rows       out row y - ringRadius
//     and pixel step  output.cpp         output.h
//   or direct writer  output.cpp         output.h           newest ring row     out row y
//   KeyPlanes, after the last row or after a stop:
//   flush             output.cpp         none               last ring rows      last ringRadius out rows;
//                                                                               not after the direct writer
//   edge blending     edge_blending.cpp  edge_blending.cpp  out                 out
//
// From row to row the passes carry the RowRing (row_ring.h), from the analysis to the keying the Backdrop.
// The threads are those of workers.h.
//
// All arithmetic is in doubles, in the unit of the samples, in the written order. A constant without the
// factor k (levelScale) is the same number at 8 and at 16 bits on purpose.
#pragma once

#include <cstddef>
#include <cstdint>

namespace keying {

// The user's parameters. Sliders are 0 to 200 in the dialog; the engine takes any number. The defaults are
// the dialog's.
struct Settings {
    double backdropLevel = 100;       // percent of the measured backdrop
    double removeBackdrop = 40;       // how far from the backdrop's colour a removed pixel may be
    double restoreDark = 20;          // how strongly dark pixels of little colour are kept
    double alterGreen = 100;          // how much of the backdrop's colour a mixed pixel keeps
    double selectTransparency = 100;  // added to the alpha of mixed pixels: 100 adds nothing, 200 adds 1
    double scaleTransparency = 70;    // contrast of the alpha of mixed pixels: 50 changes nothing

    bool blueBackdrop = false;
    bool showPhoto = false;    // leave the top layer unkeyed
    bool showMatte = false;    // show the matte in false colours; without blendEdges only
    bool blendEdges = true;    // smooth the edges of the composite; otherwise refine each row
    bool outputAlpha = false;  // write the foreground and its transparency in place of a composite

    bool fullSize = true;  // false in a reduced preview: the refinement reaches 1 row and column, not 2

    // Threads that share the rows, the caller's among them, up to 64. The result does not depend on it. 0: as
    // many as the processors that the process may use and the size of the picture are worth. A thread that
    // cannot be started leaves its work to the others.
    std::int32_t workers = 0;
};

// The picture: planes of width * height samples, one channel each, rows from the top without gaps. The caller
// owns them; they do not overlap. Samples have `depth` bytes: 1, or 2 in the machine's byte order and aligned
// to 2. They are 0 to maxSample, which is 255, or with 2 bytes also 32767. Larger samples are allowed.
struct Planes {
    std::int32_t width = 0, height = 0;  // 0 or more
    std::int32_t depth = 1;
    std::int32_t maxSample = 255;

    // The photograph with its alpha, the new background, and the result. MeasureBackdrop reads topR, topG and
    // topB alone; BlendEdges uses the out planes alone.
    const void *topR = nullptr, *topG = nullptr, *topB = nullptr, *topA = nullptr;
    const void *bottomR = nullptr, *bottomG = nullptr, *bottomB = nullptr;
    void *outR = nullptr, *outG = nullptr, *outB = nullptr, *outA = nullptr;

    // KeyPlanes puts the top layer's pixel back where a byte is 0. The first width * height bytes are read,
    // at 2 bytes a sample too, on purpose. Null: no selection.
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

// How KeyPlanes reports. It calls `report` on the caller's thread about every twentieth of the picture, with
// the rows keyed so far and the height. true stops the run. Null: no reports.
struct Progress {
    bool (*report)(void* context, std::int32_t rows, std::int32_t height) = nullptr;
    void* context = nullptr;
};

// Where KeyPlanes takes the seven blocks of its ring from, 56 bytes a column each, aligned to 4 or more.
// `allocate` gives null or throws when there is no memory; `release` gets each block once. With a null
// `allocate` malloc and free serve; all other memory is theirs anyway, the rings of further workers too.
// The callbacks run on the caller's thread.
struct Memory {
    void* (*allocate)(void* context, std::size_t bytes) = nullptr;
    void (*release)(void* context, void* block) = nullptr;
    void* context = nullptr;
};

enum class Status {
    kDone,
    kStopped,    // by the report; the out rows that were not reached are as before
    kNoMemory,   // nothing is changed
    kUnblended,  // no memory for the edge blending; all else is done, up to the stop if there was one
};

struct KeyResult {
    Status status;
    std::int32_t rows;  // finished rows of the out planes, from the top
};

// Measures the backdrop over the top layer's colours. Of the settings blueBackdrop and workers count.
void MeasureBackdrop(const Settings& settings, const Planes& planes, Backdrop* backdrop);

// Keys the top layer into the out planes. outA is 255 in all bytes after blended edges; with outputAlpha it
// is topA times the matte. An exception of a callback passes through, and all memory is released.
KeyResult KeyPlanes(const Settings& settings, const Planes& planes, const Backdrop& backdrop,
                    const Progress& progress = {}, const Memory& memory = {});

// The last pass of KeyPlanes alone: blends outR, outG and outB across the steps of outA, and sets all bytes
// of outA to 255. kUnblended: no memory for working copies, and the colours are as before. Of the settings
// workers alone counts.
Status BlendEdges(const Settings& settings, const Planes& planes);

}  // namespace keying

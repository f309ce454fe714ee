// The state of the filter: one flat record that lives in a handle of the host and is locked for the length of
// each call. Every function of the module takes it as first argument.
//
// Planes are blocks of the host's buffer suite, one channel each, row-major without padding: sample (x, y)
// stands at y * planeWidth + x. Their 16-bit views name the same memory; depthBytes says which view serves.
//
// Ownership of buffers:
//   twelve planes                made by LoadPlanes, which frees the last ones first; freed by DoStart before
//                                the run and by RunFullRender at its end
//   previewPixels, previewAlpha  made by the preview's first composition, freed by ReleasePreviewBuffers
#pragma once

#include <cstdint>

#include "hostapi/hostapi.h"

namespace filter {

struct Globals {
    std::int16_t* result;  // the host's result cell of the present call; every failure is written here
    FilterRecord* filterParamBlock;

    Rect proxyRect;  // the preview in the dialog's client coordinates; only its size counts after FitPreview
    std::uint8_t reservedFlag;
    std::uint16_t reservedWord;

    ReadImageDocumentDesc* docInfo;
    float scaleFactor;  // preview to document
    const PSChannelPortsSuite* gPSChannelPortsSuite;
    const PSBufferSuite* gPSBufferSuite;

    std::uint8_t*
        previewPixels;  // red, green, blue planes of previewWidth by previewHeight bytes, end to end
    std::uint8_t* reservedBuffer1;  // never filled
    std::uint8_t* reservedBuffer2;  // never filled
    std::uint8_t* previewMask;      // never filled

    std::int32_t planeWidth, planeHeight;
    std::int32_t previewWidth, previewHeight;

    std::uint8_t mustAnalyse;  // the next preview analyses first; the full-size run always does
    std::uint8_t mustReload;   // the next preview loads the planes first

    // Mean backdrop level per logical channel, in samples of the planes analysed; each 1.0 or more.
    double backdropMeanR, backdropMeanG, backdropMeanB;

    std::int32_t SliderAdjBGLevel;
    std::int32_t SliderRemoveGreen;
    std::int32_t SliderRestoreBlack;
    std::int32_t SliderAlterGreen;
    std::int32_t SliderSelectTransp;
    std::int32_t SliderScaleTransp;
    std::int32_t reservedSlider;

    std::int32_t previewZoom;  // percent of the picture cut away, 0 to 100
    std::int32_t previewScrollX, previewScrollY;

    std::uint8_t FlagBlueLogic;     // the backdrop is blue
    std::uint8_t FlagOrgPhoto;      // show the untreated photo
    std::uint8_t FlagShowSelect;    // show the matte in false colours
    std::uint8_t FlagRealityInteg;  // blend edges
    std::uint8_t FlagOutputAlpha;   // write transparency instead of composing

    std::int32_t finalRender;  // 1 in the full-size run, 0 in a preview
    std::int32_t progressPercent;

    std::uint8_t *topR, *topG, *topB, *topA;
    std::uint8_t* selectionPlane;  // at document size in the preview too, and always read as bytes
    std::uint8_t *bottomR, *bottomG, *bottomB;
    std::uint8_t *outR, *outG, *outB, *outA;
    std::uint8_t* previewAlpha;

    std::uint16_t *topR16, *topG16, *topB16, *topA16;
    std::uint16_t* selectionPlane16;  // set and never read
    std::uint16_t *bottomR16, *bottomG16, *bottomB16;
    std::uint16_t *outR16, *outG16, *outB16, *outA16;

    ReadChannelDesc* bottomChannels;
    ReadChannelDesc* topChannels;
    ReadChannelDesc* topTransparency;

    std::int32_t depthBytes;  // bytes per sample of the planes: 1 or 2
    std::int32_t maxSample;   // 255, or 32767 for 16-bit data at full size
};

// The block behind FilterRecord.parameters; the host keeps it. Only showDialog has a reader.
struct PluginParameters {
    std::uint16_t firstVersion;
    std::uint16_t secondVersion;
    std::int32_t thirdWord;
    std::uint8_t firstFlag;
    std::uint8_t showDialog;
    std::uint8_t unused[2];  // never read or written
};
static_assert(sizeof(PluginParameters) == 12, "the host keeps 12 bytes");

// The twelve planes and their 16-bit views, in the order of their declaration.
inline constexpr int kPlaneCount = 12;
inline constexpr std::uint8_t* Globals::*kPlanes[kPlaneCount] = {
    &Globals::topR,           &Globals::topG,    &Globals::topB,    &Globals::topA,
    &Globals::selectionPlane, &Globals::bottomR, &Globals::bottomG, &Globals::bottomB,
    &Globals::outR,           &Globals::outG,    &Globals::outB,    &Globals::outA};
inline constexpr std::uint16_t* Globals::*kPlanes16[kPlaneCount] = {
    &Globals::topR16,           &Globals::topG16,    &Globals::topB16,    &Globals::topA16,
    &Globals::selectionPlane16, &Globals::bottomR16, &Globals::bottomG16, &Globals::bottomB16,
    &Globals::outR16,           &Globals::outG16,    &Globals::outB16,    &Globals::outA16};

constexpr std::int32_t kMaxSample8 = 255;
constexpr std::int32_t kMaxSample16 = 32767;  // the 16-bit maximum is 32767 on purpose

// Writes a failure to the host's result cell; a later one replaces it.
inline void Fail(Globals* globals, OSErr code) {
    *globals->result = code;
}

// Gives the locked record, made at the first call (data word 0) and initialised by ResetGlobals; null when
// the handle cannot be made or locked. Writes 0 to the result cell otherwise.
Globals* AllocateGlobals(std::int16_t* result, FilterRecord* paramBlock, HandleProcs* handleProcs,
                         std::int32_t size, std::intptr_t* data, void (*initialise)(Globals*));

// Brings the record to its defaults and acquires the suites. Plane and preview pointers become null without
// being freed: at a Start nothing is left in them, and what the dialog's Reset drops is given up for the
// length of the dialog. A missing suite leaves errPlugInHostInsufficient in the result cell and a null
// pointer.
void ResetGlobals(Globals* globals);

// Guarantees FilterRecord.parameters. A block that is there already is not touched; of a new one the two
// bytes `unused` are not. memFullErr to the result cell when it cannot be made.
void EnsureParameters(Globals* globals);

// The block behind FilterRecord.parameters, good until the end of the present call; null when there is none.
PluginParameters* ParametersOf(const Globals* globals);

// Number of the target's colour channels; of the alpha channels when it has none.
std::int16_t CountTargetChannels(const Globals* globals);

// A block of the host's buffer suite, contents undefined, owned by the caller until DisposeBuffer; null when
// the suite is missing, when the host has no memory, or when the size is beyond the suite's 32 bits.
std::uint8_t* NewBuffer(const Globals* globals, std::uint64_t bytes);

// Hands a block back. The pointer is null afterwards.
void DisposeBuffer(const Globals* globals, std::uint8_t** buffer);

// Hands back the preview's two buffers, if there are any.
void ReleasePreviewBuffers(Globals* globals);

// Disposes of all planes that are not null, in the order of their declaration, and makes the pointers null.
void DisposePlanes(Globals* globals);

}  // namespace filter

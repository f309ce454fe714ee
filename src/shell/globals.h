// The state of the filter: one flat record in a handle of the host, locked during each call.
//
// A plane is a block of the host's buffer suite with the samples of one channel, row-major without padding:
// sample (x, y) is at index y * planeWidth + x. The 16-bit pointers point to the same memory; depthBytes
// tells which of the two types applies.
//
// Ownership of buffers:
//   twelve planes                allocated by LoadPlanes, which frees the previous ones first;
//                                freed by DoStart before the render and by RunFullRender at its end
//   previewPixels, previewAlpha  allocated by the first ComposePreview, freed by ReleasePreviewBuffers
#pragma once

#include <cstdint>

#include "hostapi/hostapi.h"
#include "shell/parameter_table.h"

namespace filter {

struct Globals {
    std::int16_t* result;  // the host's result cell of the current call; every failure is written here
    FilterRecord* filterParamBlock;

    Rect proxyRect;  // the preview in the dialog's client coordinates; after FitPreview only its size is used
    std::uint8_t reservedFlag;
    std::uint16_t reservedWord;

    ReadImageDocumentDesc* docInfo;
    float scaleFactor;  // size of the preview / size of the document
    const PSChannelPortsSuite* gPSChannelPortsSuite;
    const PSBufferSuite* gPSBufferSuite;

    // Red, green and blue planes of previewWidth x previewHeight bytes, one after the other.
    std::uint8_t* previewPixels;
    std::uint8_t* reservedBuffer1;  // never filled
    std::uint8_t* reservedBuffer2;  // never filled
    std::uint8_t* previewMask;      // never filled

    std::int32_t planeWidth, planeHeight;
    std::int32_t previewWidth, previewHeight;

    std::uint8_t mustAnalyse;  // the next preview analyses first; the full-size render always does
    std::uint8_t mustReload;   // the next preview loads the planes first

    // Mean backdrop level of each logical channel, in sample values of the analysed planes; at least 1.0.
    double backdropMeanR, backdropMeanG, backdropMeanB;

    std::int32_t SliderAdjBGLevel;
    std::int32_t SliderRemoveGreen;
    std::int32_t SliderRestoreBlack;
    std::int32_t SliderAlterGreen;
    std::int32_t SliderSelectTransp;
    std::int32_t SliderScaleTransp;
    std::int32_t reservedSlider;

    std::int32_t previewZoom;                     // percent of the document that is cut off, 0 to 100
    std::int32_t previewScrollX, previewScrollY;  // percent, 0 to 100

    std::uint8_t FlagBlueLogic;     // the backdrop is blue
    std::uint8_t FlagOrgPhoto;      // show the original photo
    std::uint8_t FlagShowSelect;    // show the matte in false colours
    std::uint8_t FlagRealityInteg;  // blend edges
    std::uint8_t FlagOutputAlpha;   // write transparency, do not compose over the bottom layer

    std::int32_t finalRender;  // 1 in the full-size render, 0 in a preview
    std::int32_t progressPercent;

    std::uint8_t *topR, *topG, *topB, *topA;
    std::uint8_t* selectionPlane;  // has document size in a preview too; always read as bytes
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
    std::int32_t maxSample;   // 255; 32767 for 16-bit data at full size
};

// The block behind FilterRecord.parameters, which the host keeps. Only showDialog is ever read.
struct PluginParameters {
    std::uint16_t firstVersion;
    std::uint16_t secondVersion;
    std::int32_t thirdWord;
    std::uint8_t firstFlag;
    std::uint8_t showDialog;
    std::uint8_t unused[2];  // never read or written
};
static_assert(sizeof(PluginParameters) == 12, "the host keeps 12 bytes");

// The twelve planes and their 16-bit pointers, in order of declaration.
inline constexpr int kPlaneCount = 12;
inline constexpr std::uint8_t* Globals::*kPlanes[kPlaneCount] = {
    &Globals::topR,           &Globals::topG,    &Globals::topB,    &Globals::topA,
    &Globals::selectionPlane, &Globals::bottomR, &Globals::bottomG, &Globals::bottomB,
    &Globals::outR,           &Globals::outG,    &Globals::outB,    &Globals::outA};
inline constexpr std::uint16_t* Globals::*kPlanes16[kPlaneCount] = {
    &Globals::topR16,           &Globals::topG16,    &Globals::topB16,    &Globals::topA16,
    &Globals::selectionPlane16, &Globals::bottomR16, &Globals::bottomG16, &Globals::bottomB16,
    &Globals::outR16,           &Globals::outG16,    &Globals::outB16,    &Globals::outA16};

// The fields of the parameters in kParameters: first the sliders, then the flags, in the order of that table.
inline constexpr std::int32_t Globals::*kSliderFields[] = {
    &Globals::SliderRemoveGreen,  &Globals::SliderRestoreBlack, &Globals::SliderAlterGreen,
    &Globals::SliderSelectTransp, &Globals::SliderScaleTransp,  &Globals::SliderAdjBGLevel};
inline constexpr std::uint8_t Globals::*kFlagFields[] = {&Globals::FlagRealityInteg, &Globals::FlagShowSelect,
                                                         &Globals::FlagOutputAlpha, &Globals::FlagBlueLogic,
                                                         &Globals::FlagOrgPhoto};

// The field of kParameters[parameter], which must be a slider.
inline std::int32_t& SliderOf(Globals* globals, int parameter) {
    return globals->*kSliderFields[parameter];
}

// The field of kParameters[parameter], which must be a flag.
inline std::uint8_t& FlagOf(Globals* globals, int parameter) {
    return globals->*kFlagFields[parameter - kSliderCount];
}

constexpr std::int32_t kMaxSample8 = 255;
constexpr std::int32_t kMaxSample16 = 32767;  // 32767 on purpose

// Writes a failure to the host's result cell. It replaces an earlier one.
inline void Fail(Globals* globals, OSErr code) {
    *globals->result = code;
}

// Returns the locked record and writes 0 to the result cell. The first call, with a data word of 0, creates
// the record and calls initialise. Returns null if the handle cannot be created or locked.
Globals* AllocateGlobals(std::int16_t* result, FilterRecord* paramBlock, HandleProcs* handleProcs,
                         std::int32_t size, std::intptr_t* data, void (*initialise)(Globals*));

// Sets the defaults and acquires the suites. Plane and preview pointers become null but are not freed: at
// Start they are null already, and the dialog's Reset abandons its buffers on purpose. If a suite is missing,
// its pointer is null and the result cell holds errPlugInHostInsufficient.
void ResetGlobals(Globals* globals);

// Sets the parameters and reservedSlider to their defaults.
void SetDefaultParameters(Globals* globals);

// Creates the block behind FilterRecord.parameters if there is none; writes memFullErr to the result cell if
// it cannot be created. An existing block is not changed.
void EnsureParameters(Globals* globals);

// The block behind FilterRecord.parameters, valid until the end of the current call; null if there is none.
PluginParameters* ParametersOf(const Globals* globals);

// Sets the fields that nothing reads to the values of a new block; leaves showDialog and unused alone.
void ResetUnreadFields(PluginParameters* parameters);

// Number of the target's colour channels; of its alpha channels if it has no colour channels.
std::int16_t CountTargetChannels(const Globals* globals);

// A block of the host's buffer suite with undefined contents. The caller owns it and frees it with
// DisposeBuffer. Null if the suite is missing, the host has no memory or the size exceeds 32 bits.
std::uint8_t* NewBuffer(const Globals* globals, std::uint64_t bytes);

// Frees a block and sets the pointer to null.
void DisposeBuffer(const Globals* globals, std::uint8_t** buffer);

// Frees the preview's two buffers, if there are any.
void ReleasePreviewBuffers(Globals* globals);

// Frees all planes that are not null, in order of declaration, and sets the pointers to null.
void DisposePlanes(Globals* globals);

}  // namespace filter

// The numbers of the definition, each once, for the scalar reference and the vector variants.
//
// Units: "levels" are 8-bit levels, multiplied by k (levelScale) where they meet samples. "Raw" numbers are
// compared with samples and are the same at 8 and at 16 bits on purpose. Shares and alphas run from 0 to 1.
// Sliders count in their own units.
#pragma once

namespace keying {

// Hue, in degrees. The key channel is the second of the logical channels, at the place of green.
constexpr int kHueSector = 60;  // from a primary colour to the next secondary one
constexpr int kKeyHue = 120;
constexpr int kThirdHue = 240;
constexpr int kHalfCircle = 180;
constexpr int kFullCircle = 360;

// Levels of the backdrop: what a pixel of the first three passes must have.
constexpr int kDarkest = 30;  // levels, exclusive
constexpr int kMargin = 10;   // raw: the key channel's lead over both others at full brightness, exclusive
constexpr double kLevelsSmallestSat = 0.2;  // exclusive
constexpr int kLevelsInverseSat = 5;        // 1 / kLevelsSmallestSat, for whole numbers
constexpr int kHueGapLimit = 5;             // degrees from the dominant hue, exclusive

// The histogram of saturations. A bin of exactly 1 is filled and never a candidate.
constexpr int kSatSteps = 200;
constexpr int kFirstSatCandidate = 15;

// What a picture without backdrop gets.
constexpr double kDefaultHue = 107.0;
constexpr double kDefaultSat = 127.0;    // steps of 1 / kSatSteps
constexpr double kDefaultLevel = 140.0;  // raw

constexpr int kLeastMean = 1;  // raw: later passes divide by the means

// The backdrop grid: what a pixel of the fourth pass must have.
constexpr int kGridGreyDelta = 10;        // raw: channels that differ by less have neither hue nor saturation
constexpr int kGridLead = 20;             // raw: the key channel's lead over both others, exclusive
constexpr int kGridHueRange = 20;         // degrees from the mean hue, not around the circle, exclusive
constexpr double kGridSmallestSat = 0.5;  // exclusive
constexpr int kGridInverseSat = 2;        // 1 / kGridSmallestSat, for whole numbers
constexpr double kGridSmallestLevel = 0.2;  // share of the mean level, exclusive
constexpr int kGridFewestPixels = 6;        // a cell with fewer takes the global colour

// Fetch and backdrop lookup.
constexpr double kGateAlpha = 0.05;  // a top pixel less opaque than this is not keyed
constexpr int kAdjustUnit = 100;     // the SliderAdjBGLevel that leaves the backdrop alone
constexpr int kBackdropLimit = 255;  // levels

// The cases that need no search.
constexpr double kPlainDistance = 0.4;    // levels from the backdrop, exclusive
constexpr double kPlainFromRemove = 5.0;  // SliderRemoveGreen must be above for plain backdrop
constexpr double kGreyChroma = 0.15;      // raw for each unit of SliderRestoreBlack, exclusive
constexpr double kShapeForeground = 100;  // raw: red of a pixel that is backdrop by its shape
constexpr int kOpaqueLead = 40;           // levels: red or third channel over the key channel, exclusive

// The alpha search.
constexpr double kCoarseStep = 0.1;
constexpr double kFineStep = 0.005;
constexpr int kStopDark = 5;    // levels
constexpr int kStopLead = 20;   // levels: how far the key channel stays above the third channel
constexpr int kStopSlack = 40;  // levels: how far it may fall below red, or below the third under blue logic
constexpr int kAlterNeutral = 100;         // the SliderAlterGreen that shifts no lead
constexpr int kEstimateWhite = 255;        // raw: the upper end of the first estimates and of their gain
constexpr double kThirdSideFloor = 0.001;  // least alpha where the third channel is the stronger

// Unmixing takes place between these alphas, exclusive.
constexpr double kUnmixAbove = 0.005;
constexpr double kUnmixBelow = 0.98;

// Contrast and offset of alpha, for alphas above the first number and below 1.
constexpr double kContrastAbove = 0.01;
constexpr double kContrastCentre = 0.5;
constexpr int kContrastUnit = 50;    // the SliderScaleTransp that changes nothing
constexpr int kOffsetNeutral = 100;  // the SliderSelectTransp that changes nothing
constexpr int kOffsetUnit = 100;     // SliderSelectTransp for an alpha of 1

// The view of the matte, in levels except for the tint.
constexpr double kMatteOpaqueFrom = 0.95;
constexpr double kMatteKeyedTo = 0.05;
constexpr int kMatteOpaqueDim = 40;  // red and key channel of an opaque pixel
constexpr int kMatteOpaqueThird = 200;
constexpr int kMatteGrey = 200;       // at an alpha of 1
constexpr int kMatteTint = 55;        // raw, at an alpha of 1
constexpr int kKeyedBrightDim = 100;  // red and third channel of a keyed pixel above the backdrop
constexpr int kKeyedDarkDim = 50;     // of another keyed pixel
constexpr int kKeyedDarkKey = 150;    // its key channel

// Corrections.
constexpr int kGreyLimit = 50;            // levels, of a foreground brought to full key channel, exclusive
constexpr int kWideLimit = 500;           // ten times that
constexpr int kWideSpan = 2000;           // the wide pull goes (kWideLimit - spread) / kWideSpan of the way
constexpr double kWideShare = 0.25;       // and then kWideLimit / kWideSpan
constexpr int kWideLead = 5;              // levels: red and third channel may lead the key channel by less
constexpr int kStillGreenLead = 50;       // levels
constexpr double kStillGreenBelow = 0.8;  // alpha
constexpr int kDarkLead = 10;  // levels: red and third channel may lead the key channel by this much

// The byte of ring cells that nothing has written. A picture that is narrower than the refinement's window
// reads them, and so does the flush after a stop in the first rows.
constexpr int kRingFilling = 0x41;

// Refinement. The column kernel of a preview is lopsided on purpose, see refinement.cpp.
constexpr double kKeptDifference = 0.1;  // sum of alpha differences, exclusive
constexpr double kKeptAlpha = 0.95;      // exclusive
constexpr int kAlphaWeight = 5;          // a sample weighs kAlphaWeight alpha + 1
constexpr double kWeightTaps[] = {5, 10, 30, 50, 30, 10, 5};
constexpr int kMiddleTap = 3;
constexpr int kPreviewFirstTap = 0;  // of the column kernel
constexpr int kFinalFirstTap = 1;
constexpr int kPreviewKernelSum = 45;
constexpr int kFinalKernelSum = 130;

// The lift of soft edges over a bright layer, for alphas between the first two numbers, exclusive.
constexpr double kLiftAbove = 0.2;
constexpr double kLiftBelow = 0.9;
constexpr int kLiftLevel = 130;     // levels, and scaled once more in the formula
constexpr int kLiftStrength = 100;  // raw
constexpr double kLiftOwnShare = 0.75;
constexpr double kLiftLumaShare = 0.25;

// Luma of red, green and blue.
constexpr double kLumaRed = 0.299;
constexpr double kLumaGreen = 0.587;
constexpr double kLumaBlue = 0.114;

// Writers.
constexpr int kLeastVisible = 1;  // raw: the lower limit of a foreground that goes out with transparency
constexpr int kOpaqueByte = 255;  // the direct writer's alpha plane at 8 bits
constexpr double kFlushTopAbove = 0.99;     // a more opaque pixel takes the top layer
constexpr double kFlushBottomBelow = 0.01;  // a less opaque one the bottom layer

// Edge blending.
constexpr int kAlphaEdgeLevel = 200;  // raw
constexpr int kColumnsPerBlendRadius = 500;
constexpr int kMostBlendRadius = 4;

}  // namespace keying

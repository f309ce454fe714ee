// Checks the host's binary layout. Without these checks a wrong offset would compile and read the wrong
// memory of the host.
#include "hostapi/hostapi.h"

namespace {

constexpr bool k64 = sizeof(void*) == 8;

constexpr std::size_t Offset(std::size_t win32, std::size_t win64) {
    return k64 ? win64 : win32;
}

#define PIN(record, field, win32, win64) \
    static_assert(offsetof(record, field) == Offset(win32, win64), #record "." #field)

PIN(FilterRecord, abortProc, 4, 4);
PIN(FilterRecord, progressProc, 8, 12);
PIN(FilterRecord, parameters, 12, 20);
PIN(FilterRecord, imageSize, 16, 28);
PIN(FilterRecord, maxSpace, 44, 56);
PIN(FilterRecord, inRect, 52, 64);
PIN(FilterRecord, inData, 76, 88);
PIN(FilterRecord, isFloating, 92, 112);
PIN(FilterRecord, maskRect, 96, 116);
PIN(FilterRecord, maskData, 104, 124);
PIN(FilterRecord, hostSig, 120, 144);
PIN(FilterRecord, hostProc, 124, 148);
PIN(FilterRecord, imageMode, 128, 156);
PIN(FilterRecord, imageHRes, 132, 160);
PIN(FilterRecord, monitor, 148, 176);
PIN(FilterRecord, platformData, 188, 216);
PIN(FilterRecord, bufferProcs, 192, 224);
PIN(FilterRecord, resourceProcs, 196, 232);
PIN(FilterRecord, processEvent, 200, 240);
PIN(FilterRecord, displayPixels, 204, 248);
PIN(FilterRecord, handleProcs, 208, 256);
PIN(FilterRecord, supportsDummyChannels, 212, 264);
PIN(FilterRecord, premiereHook, 220, 272);
PIN(FilterRecord, advanceState, 224, 280);
PIN(FilterRecord, supportsAbsolute, 228, 288);
PIN(FilterRecord, getPropertyObsolete, 232, 292);
PIN(FilterRecord, cannotUndo, 236, 300);
PIN(FilterRecord, inputRate, 248, 312);
PIN(FilterRecord, colorServices, 256, 320);
PIN(FilterRecord, inLayers, 260, 328);
PIN(FilterRecord, inColumnBytes, 300, 368);
PIN(FilterRecord, imageServicesProcs, 316, 384);
PIN(FilterRecord, propertyProcs, 320, 392);
PIN(FilterRecord, inTile, 324, 400);
PIN(FilterRecord, descriptorParameters, 356, 432);
PIN(FilterRecord, errorString, 360, 440);
PIN(FilterRecord, channelPortProcs, 364, 448);
PIN(FilterRecord, documentInfo, 368, 456);
PIN(FilterRecord, sSPBasic, 372, 464);
PIN(FilterRecord, plugInRef, 376, 472);
PIN(FilterRecord, depth, 380, 480);

PIN(AboutRecord, sSPBasic, 4, 8);

PIN(HandleProcs, numHandleProcs, 2, 2);
PIN(HandleProcs, newProc, 4, 8);
PIN(HandleProcs, disposeProc, 8, 16);
PIN(HandleProcs, lockProc, 20, 40);
PIN(HandleProcs, unlockProc, 24, 48);
static_assert(sizeof(HandleProcs) == Offset(36, 72));

PIN(PIDescriptorParameters, playInfo, 2, 2);
PIN(PIDescriptorParameters, recordInfo, 4, 4);
PIN(PIDescriptorParameters, descriptor, 8, 8);
PIN(PIDescriptorParameters, writeDescriptorProcs, 12, 16);
PIN(PIDescriptorParameters, readDescriptorProcs, 16, 24);

PIN(ReadDescriptorProcs, openReadDescriptorProc, 4, 8);
PIN(ReadDescriptorProcs, closeReadDescriptorProc, 8, 16);
PIN(ReadDescriptorProcs, getKeyProc, 12, 24);
PIN(ReadDescriptorProcs, getIntegerProc, 16, 32);
PIN(ReadDescriptorProcs, getBooleanProc, 28, 56);
static_assert(sizeof(ReadDescriptorProcs) == Offset(4 + 18 * 4, 8 + 18 * 8));

PIN(WriteDescriptorProcs, openWriteDescriptorProc, 4, 8);
PIN(WriteDescriptorProcs, closeWriteDescriptorProc, 8, 16);
PIN(WriteDescriptorProcs, putIntegerProc, 12, 24);
PIN(WriteDescriptorProcs, putBooleanProc, 24, 48);
static_assert(sizeof(WriteDescriptorProcs) == Offset(4 + 16 * 4, 8 + 16 * 8));

PIN(SPBasicSuite, ReleaseSuite, 4, 8);
PIN(SPBasicSuite, AllocateBlock, 12, 24);
PIN(SPBasicSuite, FreeBlock, 16, 32);
PIN(PSBufferSuite, Dispose, 4, 8);
PIN(PSChannelPortsSuite, CanRead, 28, 56);
PIN(PSChannelPortsSuite, CanWrite, 32, 64);
PIN(PSChannelPortsSuite, ReadPixelsFromLevel, 36, 72);
PIN(PSChannelPortsSuite, WritePixelsToBaseLevel, 40, 80);
PIN(PSChannelPortsSuite, ReadScaledPixels, 44, 88);
static_assert(sizeof(PSChannelPortsSuite) == Offset(15 * 4, 15 * 8));
PIN(PSGetFileListSuite, BrowseUrl, 12, 24);

PIN(PixelMemoryDesc, rowBits, 4, 8);
PIN(PixelMemoryDesc, depth, 16, 20);
PIN(PSScaling, destinationRect, 16, 16);

PIN(ReadChannelDesc, next, 8, 8);
PIN(ReadChannelDesc, port, 12, 16);
PIN(ReadChannelDesc, bounds, 16, 24);
PIN(ReadChannelDesc, depth, 32, 40);
PIN(ReadChannelDesc, target, 52, 60);
PIN(ReadChannelDesc, channelType, 54, 62);
PIN(ReadChannelDesc, contextInfo, 56, 64);
PIN(ReadChannelDesc, name, 60, 72);
PIN(ReadChannelDesc, writePort, 64, 80);

PIN(ReadLayerDesc, next, 8, 8);
PIN(ReadLayerDesc, compositeChannelsList, 12, 16);
PIN(ReadLayerDesc, transparency, 16, 24);
PIN(ReadLayerDesc, layerMask, 20, 32);
PIN(ReadLayerDesc, sheetID, 24, 40);
PIN(ReadLayerDesc, name, 28, 48);
PIN(ReadLayerDesc, isPixelBased, 32, 56);

PIN(ReadImageDocumentDesc, bounds, 16, 16);
PIN(ReadImageDocumentDesc, hResolution, 32, 32);
PIN(ReadImageDocumentDesc, redLUT, 40, 40);
PIN(ReadImageDocumentDesc, targetCompositeChannels, 808, 808);
PIN(ReadImageDocumentDesc, targetTransparency, 812, 816);
PIN(ReadImageDocumentDesc, mergedCompositeChannels, 820, 832);
PIN(ReadImageDocumentDesc, alphaChannels, 828, 848);
PIN(ReadImageDocumentDesc, selection, 832, 856);
PIN(ReadImageDocumentDesc, fileSpec, 836, 864);
PIN(ReadImageDocumentDesc, layersDescriptor, 840, 872);

PIN(PSPixelMask, maskData, 4, 8);
PIN(PSPixelMask, rowBytes, 8, 16);
static_assert(sizeof(PSPixelMask) == Offset(20, 32));

PIN(PSPixelMap, bounds, 4, 4);
PIN(PSPixelMap, imageMode, 20, 20);
PIN(PSPixelMap, baseAddr, 36, 40);
PIN(PSPixelMap, mat, 40, 48);
PIN(PSPixelMap, masks, 44, 56);
PIN(PSPixelMap, maskPhaseRow, 48, 64);
PIN(PSPixelMap, pixelOverlays, 56, 72);
PIN(PSPixelMap, colorManagementOptions, 60, 80);
static_assert(sizeof(PSPixelMap) == Offset(64, 88));

#undef PIN

}  // namespace

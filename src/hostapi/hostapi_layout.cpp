// Checks the host's binary layout. Without these checks a wrong offset would compile and read the wrong
// memory of the host.
#include "hostapi/hostapi.h"

namespace {

constexpr bool k64 = sizeof(void*) == 8;

constexpr std::size_t Offset(std::size_t win32, std::size_t win64) {
    return k64 ? win64 : win32;
}

#define CHECK_OFFSET(record, field, win32, win64) \
    static_assert(offsetof(record, field) == Offset(win32, win64), #record "." #field)

CHECK_OFFSET(FilterRecord, abortProc, 4, 4);
CHECK_OFFSET(FilterRecord, progressProc, 8, 12);
CHECK_OFFSET(FilterRecord, parameters, 12, 20);
CHECK_OFFSET(FilterRecord, imageSize, 16, 28);
CHECK_OFFSET(FilterRecord, maxSpace, 44, 56);
CHECK_OFFSET(FilterRecord, inRect, 52, 64);
CHECK_OFFSET(FilterRecord, maskRect, 96, 116);
CHECK_OFFSET(FilterRecord, maskData, 104, 124);
CHECK_OFFSET(FilterRecord, hostSig, 120, 144);
CHECK_OFFSET(FilterRecord, imageMode, 128, 156);
CHECK_OFFSET(FilterRecord, imageHRes, 132, 160);
CHECK_OFFSET(FilterRecord, platformData, 188, 216);
CHECK_OFFSET(FilterRecord, displayPixels, 204, 248);
CHECK_OFFSET(FilterRecord, handleProcs, 208, 256);
CHECK_OFFSET(FilterRecord, inLayers, 260, 328);
CHECK_OFFSET(FilterRecord, descriptorParameters, 356, 432);
CHECK_OFFSET(FilterRecord, documentInfo, 368, 456);
CHECK_OFFSET(FilterRecord, sSPBasic, 372, 464);
CHECK_OFFSET(FilterRecord, depth, 380, 480);

CHECK_OFFSET(AboutRecord, sSPBasic, 4, 8);

CHECK_OFFSET(HandleProcs, numHandleProcs, 2, 2);
CHECK_OFFSET(HandleProcs, newProc, 4, 8);
CHECK_OFFSET(HandleProcs, disposeProc, 8, 16);
CHECK_OFFSET(HandleProcs, lockProc, 20, 40);
CHECK_OFFSET(HandleProcs, unlockProc, 24, 48);
static_assert(sizeof(HandleProcs) == Offset(36, 72));

CHECK_OFFSET(PIDescriptorParameters, playInfo, 2, 2);
CHECK_OFFSET(PIDescriptorParameters, recordInfo, 4, 4);
CHECK_OFFSET(PIDescriptorParameters, descriptor, 8, 8);
CHECK_OFFSET(PIDescriptorParameters, writeDescriptorProcs, 12, 16);
CHECK_OFFSET(PIDescriptorParameters, readDescriptorProcs, 16, 24);

CHECK_OFFSET(ReadDescriptorProcs, openReadDescriptorProc, 4, 8);
CHECK_OFFSET(ReadDescriptorProcs, closeReadDescriptorProc, 8, 16);
CHECK_OFFSET(ReadDescriptorProcs, getKeyProc, 12, 24);
CHECK_OFFSET(ReadDescriptorProcs, getIntegerProc, 16, 32);
CHECK_OFFSET(ReadDescriptorProcs, getBooleanProc, 28, 56);
static_assert(sizeof(ReadDescriptorProcs) == Offset(4 + 18 * 4, 8 + 18 * 8));

CHECK_OFFSET(WriteDescriptorProcs, openWriteDescriptorProc, 4, 8);
CHECK_OFFSET(WriteDescriptorProcs, closeWriteDescriptorProc, 8, 16);
CHECK_OFFSET(WriteDescriptorProcs, putIntegerProc, 12, 24);
CHECK_OFFSET(WriteDescriptorProcs, putBooleanProc, 24, 48);
static_assert(sizeof(WriteDescriptorProcs) == Offset(4 + 16 * 4, 8 + 16 * 8));

CHECK_OFFSET(SPBasicSuite, ReleaseSuite, 4, 8);
CHECK_OFFSET(SPBasicSuite, AllocateBlock, 12, 24);
CHECK_OFFSET(SPBasicSuite, FreeBlock, 16, 32);
CHECK_OFFSET(PSBufferSuite, Dispose, 4, 8);
CHECK_OFFSET(PSChannelPortsSuite, CanRead, 28, 56);
CHECK_OFFSET(PSChannelPortsSuite, CanWrite, 32, 64);
CHECK_OFFSET(PSChannelPortsSuite, ReadPixelsFromLevel, 36, 72);
CHECK_OFFSET(PSChannelPortsSuite, WritePixelsToBaseLevel, 40, 80);
CHECK_OFFSET(PSChannelPortsSuite, ReadScaledPixels, 44, 88);
static_assert(sizeof(PSChannelPortsSuite) == Offset(15 * 4, 15 * 8));
CHECK_OFFSET(PSGetFileListSuite, BrowseUrl, 12, 24);

CHECK_OFFSET(PixelMemoryDesc, rowBits, 4, 8);
CHECK_OFFSET(PixelMemoryDesc, depth, 16, 20);
CHECK_OFFSET(PSScaling, destinationRect, 16, 16);

CHECK_OFFSET(ReadChannelDesc, next, 8, 8);
CHECK_OFFSET(ReadChannelDesc, port, 12, 16);
CHECK_OFFSET(ReadChannelDesc, bounds, 16, 24);
CHECK_OFFSET(ReadChannelDesc, depth, 32, 40);
CHECK_OFFSET(ReadChannelDesc, target, 52, 60);
CHECK_OFFSET(ReadChannelDesc, channelType, 54, 62);
CHECK_OFFSET(ReadChannelDesc, name, 60, 72);
CHECK_OFFSET(ReadChannelDesc, writePort, 64, 80);

CHECK_OFFSET(ReadLayerDesc, next, 8, 8);
CHECK_OFFSET(ReadLayerDesc, compositeChannelsList, 12, 16);
CHECK_OFFSET(ReadLayerDesc, transparency, 16, 24);
CHECK_OFFSET(ReadLayerDesc, layerMask, 20, 32);
CHECK_OFFSET(ReadLayerDesc, sheetID, 24, 40);
CHECK_OFFSET(ReadLayerDesc, name, 28, 48);
CHECK_OFFSET(ReadLayerDesc, isPixelBased, 32, 56);

CHECK_OFFSET(ReadImageDocumentDesc, bounds, 16, 16);
CHECK_OFFSET(ReadImageDocumentDesc, hResolution, 32, 32);
CHECK_OFFSET(ReadImageDocumentDesc, redLUT, 40, 40);
CHECK_OFFSET(ReadImageDocumentDesc, targetCompositeChannels, 808, 808);
CHECK_OFFSET(ReadImageDocumentDesc, targetTransparency, 812, 816);
CHECK_OFFSET(ReadImageDocumentDesc, mergedCompositeChannels, 820, 832);
CHECK_OFFSET(ReadImageDocumentDesc, alphaChannels, 828, 848);
CHECK_OFFSET(ReadImageDocumentDesc, selection, 832, 856);
CHECK_OFFSET(ReadImageDocumentDesc, layersDescriptor, 840, 872);

CHECK_OFFSET(PSPixelMask, maskData, 4, 8);
CHECK_OFFSET(PSPixelMask, rowBytes, 8, 16);
static_assert(sizeof(PSPixelMask) == Offset(20, 32));

CHECK_OFFSET(PSPixelMap, bounds, 4, 4);
CHECK_OFFSET(PSPixelMap, imageMode, 20, 20);
CHECK_OFFSET(PSPixelMap, baseAddr, 36, 40);
CHECK_OFFSET(PSPixelMap, mat, 40, 48);
CHECK_OFFSET(PSPixelMap, masks, 44, 56);
CHECK_OFFSET(PSPixelMap, maskPhaseRow, 48, 64);
CHECK_OFFSET(PSPixelMap, pixelOverlays, 56, 72);
CHECK_OFFSET(PSPixelMap, colorManagementOptions, 60, 80);
static_assert(sizeof(PSPixelMap) == Offset(64, 88));

#undef CHECK_OFFSET

}  // namespace

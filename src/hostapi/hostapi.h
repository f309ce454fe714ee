// The part of the host's plug-in interface that the module and the stand-in host use, with the host's
// published names.
//
// The layouts are binary: FilterRecord is packed to 4 bytes on every platform, all other records have natural
// alignment. hostapi_layout.cpp checks the offset of every field that is used. All functions have C calling
// convention.
#pragma once

#include <cstddef>
#include <cstdint>

using Boolean = std::uint8_t;
using OSErr = std::int16_t;
using SPErr = std::int32_t;
using Fixed = std::int32_t;  // 16.16
using FourCharCode = std::uint32_t;

// A pointer to the address of the data, valid also while the handle is unlocked.
using Handle = char**;

struct Rect {
    std::int16_t top, left, bottom, right;
};

struct VRect {
    std::int32_t top, left, bottom, right;
};

struct Point {
    std::int16_t v, h;
};

struct VPoint {
    std::int32_t v, h;
};

struct RGBColor {
    std::uint16_t red, green, blue;
};

// A code such as 'RGre': the first character is the high byte.
constexpr FourCharCode FourCC(const char (&code)[5]) {
    return static_cast<FourCharCode>(static_cast<unsigned char>(code[0])) << 24 |
           static_cast<FourCharCode>(static_cast<unsigned char>(code[1])) << 16 |
           static_cast<FourCharCode>(static_cast<unsigned char>(code[2])) << 8 |
           static_cast<FourCharCode>(static_cast<unsigned char>(code[3]));
}

// Result codes of the host.
constexpr OSErr noErr = 0;
constexpr OSErr memFullErr = -108;
constexpr OSErr userCanceledErr = -128;
constexpr OSErr errMissingParameter = -1715;
constexpr OSErr errPlugInHostInsufficient = -30900;

// Selectors of the entry point.
constexpr std::int16_t filterSelectorAbout = 0;
constexpr std::int16_t filterSelectorParameters = 1;
constexpr std::int16_t filterSelectorPrepare = 2;
constexpr std::int16_t filterSelectorStart = 3;
constexpr std::int16_t filterSelectorContinue = 4;
constexpr std::int16_t filterSelectorFinish = 5;

// ---- Handles ----------------------------------------------------------------------------------------------

struct HandleProcs {
    std::int16_t handleProcsVersion;
    std::int16_t numHandleProcs;
    Handle (*newProc)(std::int32_t size);
    void (*disposeProc)(Handle);
    std::int32_t (*getSizeProc)(Handle);
    OSErr (*setSizeProc)(Handle, std::int32_t size);
    char* (*lockProc)(Handle, Boolean moveHigh);
    void (*unlockProc)(Handle);
    void (*recoverSpaceProc)(std::int32_t);
    void (*disposeRegularHandleProc)(Handle);
};

constexpr std::int16_t kHandleProcsVersion = 1;
constexpr std::int16_t kHandleProcsCount = 8;

// ---- Suites -----------------------------------------------------------------------------------------------

struct SPBasicSuite {
    SPErr (*AcquireSuite)(const char* name, std::int32_t version, const void** suite);
    SPErr (*ReleaseSuite)(const char* name, std::int32_t version);
    Boolean (*IsEqual)(const char*, const char*);
    SPErr (*AllocateBlock)(std::size_t size, void** block);
    SPErr (*FreeBlock)(void* block);
    SPErr (*ReallocateBlock)(void* block, std::size_t newSize, void** newBlock);
    SPErr (*Undefined)();
};

struct PSBufferSuite {
    void* (*New)(std::uint32_t* requestedSize, std::uint32_t minimumSize);
    void (*Dispose)(void** buffer);
    std::uint32_t (*GetSize)(void* buffer);
    std::uint32_t (*GetSpace)();
};

inline constexpr char kPSBufferSuite[] = "Photoshop Buffer Suite for Plug-ins";
constexpr std::int32_t kPSBufferSuiteVersion = 1;

using PIChannelPort = struct OpaqueChannelPort*;

// Memory for the host's samples. data is the address of the first; the other fields are in bits.
struct PixelMemoryDesc {
    void* data;
    std::int32_t rowBits;
    std::int32_t colBits;
    std::int32_t bitOffset;
    std::int32_t depth;
};

struct PSScaling {
    VRect sourceRect;
    VRect destinationRect;
};

struct PSChannelPortsSuite {
    SPErr (*CountLevels)(PIChannelPort, std::int32_t* levelCount);
    SPErr (*GetDepth)(PIChannelPort, std::int32_t* depth);
    SPErr (*GetDataBounds)(PIChannelPort, VRect* bounds);
    SPErr (*GetWriteLimit)(PIChannelPort, VRect* limit);
    SPErr (*GetTilingGrid)(PIChannelPort, VPoint* tileOrigin, VPoint* tileSize);
    SPErr (*GetSupportRect)(PIChannelPort, VRect* supportRect);
    SPErr (*GetDependentRect)(PIChannelPort, const VRect* changed, VRect* dependent);
    SPErr (*CanRead)(PIChannelPort, Boolean* canRead);
    SPErr (*CanWrite)(PIChannelPort, Boolean* canWrite);
    SPErr (*ReadPixelsFromLevel)(PIChannelPort, std::int32_t level, VRect* bounds, const PixelMemoryDesc*);
    SPErr (*WritePixelsToBaseLevel)(PIChannelPort, VRect* bounds, const PixelMemoryDesc*);
    SPErr (*ReadScaledPixels)(PIChannelPort, VRect* readRect, const PSScaling*, const PixelMemoryDesc*);
    SPErr (*FindSourceForScaledRead)(PIChannelPort, VRect*, const PSScaling*);
    SPErr (*New)(PIChannelPort*, const VRect*, std::int32_t depth, Boolean globalScope);
    SPErr (*Dispose)(PIChannelPort*);
};

inline constexpr char kPSChannelPortsSuite[] = "Photoshop ChannelPorts Suite for Plug-ins";
constexpr std::int32_t kPSChannelPortsSuiteVersion = 2;

struct PSGetFileListSuite {
    SPErr (*unused1)();
    SPErr (*unused2)();
    SPErr (*unused3)();
    SPErr (*BrowseUrl)(const char* url);
    SPErr (*unused5)();
    SPErr (*unused6)();
    SPErr (*unused7)();
    SPErr (*unused8)();
    SPErr (*unused9)();
};

inline constexpr char kPSGetFileListSuite[] = "Photoshop GetFileList Suite for Plug-ins";
constexpr std::int32_t kPSGetFileListSuiteVersion = 4;

// ---- Document ---------------------------------------------------------------------------------------------

constexpr std::int16_t kChannelRed = 1;
constexpr std::int16_t kChannelGreen = 2;
constexpr std::int16_t kChannelBlue = 3;
constexpr std::int16_t kChannelTransparency = 16;
constexpr std::int16_t kChannelLayerMask = 17;
constexpr std::int16_t kChannelSelection = 19;

struct ReadChannelDesc {
    std::int32_t minVersion, maxVersion;
    ReadChannelDesc* next;
    PIChannelPort port;
    VRect bounds;
    std::int32_t depth;  // bits per sample
    VPoint tileSize, tileOrigin;
    Boolean target, shown;
    std::int16_t channelType;
    void* contextInfo;
    const char* name;
    PIChannelPort writePort;  // null: read only
};

struct ReadLayerDesc {
    std::int32_t minVersion, maxVersion;
    ReadLayerDesc* next;  // the layer above
    ReadChannelDesc* compositeChannelsList;
    ReadChannelDesc* transparency;
    ReadChannelDesc* layerMask;
    std::uint32_t sheetID;
    const char* name;
    Boolean isPixelBased;
};

struct ReadImageDocumentDesc {
    std::int32_t minVersion, maxVersion;
    std::int32_t imageMode;
    std::int32_t depth;
    VRect bounds;
    Fixed hResolution, vResolution;
    std::uint8_t redLUT[256], greenLUT[256], blueLUT[256];
    ReadChannelDesc* targetCompositeChannels;
    ReadChannelDesc* targetTransparency;
    ReadChannelDesc* targetLayerMask;
    ReadChannelDesc* mergedCompositeChannels;
    ReadChannelDesc* mergedTransparency;
    ReadChannelDesc* alphaChannels;
    ReadChannelDesc* selection;
    void* fileSpec;
    ReadLayerDesc* layersDescriptor;  // bottom layer first
    std::int32_t documentType;
    ReadImageDocumentDesc* next;
};

constexpr std::int32_t plugInModeRGBColor = 3;
constexpr std::int32_t plugInModeRGB48 = 11;

// ---- Descriptors (scripting) ------------------------------------------------------------------------------

using PIReadDescriptor = struct OpaqueReadDescriptor*;
using PIWriteDescriptor = struct OpaqueWriteDescriptor*;
using DescriptorProcUnused = OSErr (*)();

constexpr std::int16_t plugInDialogDontDisplay = 0;
constexpr std::int16_t plugInDialogDisplay = 1;
constexpr std::int16_t plugInDialogSilent = 2;
constexpr std::int16_t plugInDialogOptional = 0;
constexpr std::int16_t plugInDialogNone = 2;

struct ReadDescriptorProcs {
    std::int16_t readDescriptorProcsVersion;
    std::int16_t numReadDescriptorProcs;
    PIReadDescriptor (*openReadDescriptorProc)(Handle, const FourCharCode* expectedKeys);
    OSErr (*closeReadDescriptorProc)(PIReadDescriptor);
    Boolean (*getKeyProc)(PIReadDescriptor, FourCharCode* key, FourCharCode* type, std::int32_t* flags);
    OSErr (*getIntegerProc)(PIReadDescriptor, std::int32_t*);
    DescriptorProcUnused getFloatProc, getUnitFloatProc;
    OSErr (*getBooleanProc)(PIReadDescriptor, Boolean*);
    DescriptorProcUnused getTextProc, getAliasProc, getEnumeratedProc, getClassProc, getSimpleReferenceProc,
        getObjectProc, getCountProc, getStringProc, getPinnedIntegerProc, getPinnedFloatProc,
        getPinnedUnitFloatProc;
};

struct WriteDescriptorProcs {
    std::int16_t writeDescriptorProcsVersion;
    std::int16_t numWriteDescriptorProcs;
    PIWriteDescriptor (*openWriteDescriptorProc)();
    OSErr (*closeWriteDescriptorProc)(PIWriteDescriptor, Handle*);
    OSErr (*putIntegerProc)(PIWriteDescriptor, FourCharCode key, std::int32_t);
    DescriptorProcUnused putFloatProc, putUnitFloatProc;
    OSErr (*putBooleanProc)(PIWriteDescriptor, FourCharCode key, Boolean);
    DescriptorProcUnused putTextProc, putAliasProc, putEnumeratedProc, putClassProc, putSimpleReferenceProc,
        putObjectProc, putCountProc, putStringProc, putScopedClassProc, putScopedObjectProc;
};

constexpr std::int16_t kReadDescriptorProcsCount = 18;
constexpr std::int16_t kWriteDescriptorProcsCount = 16;

struct PIDescriptorParameters {
    std::int16_t descriptorParametersVersion;
    std::int16_t playInfo;
    std::int16_t recordInfo;
    Handle descriptor;
    WriteDescriptorProcs* writeDescriptorProcs;
    ReadDescriptorProcs* readDescriptorProcs;
};

// ---- Painting ---------------------------------------------------------------------------------------------

constexpr std::int32_t kSimplePSMask = 0;

struct PSPixelMask {
    PSPixelMask* next;
    void* maskData;
    std::int32_t rowBytes;
    std::int32_t colBytes;
    std::int32_t maskDescription;
};

// Version 2.
struct PSPixelMap {
    std::int32_t version;
    VRect bounds;
    std::int32_t imageMode;
    std::int32_t rowBytes;
    std::int32_t colBytes;
    std::int32_t planeBytes;
    void* baseAddr;
    PSPixelMask* mat;
    PSPixelMask* masks;
    std::int32_t maskPhaseRow;
    std::int32_t maskPhaseCol;
    void* pixelOverlays;
    std::uint32_t colorManagementOptions;
};

using AbortProc = Boolean (*)();
using ProgressProc = void (*)(std::int32_t done, std::int32_t total);
using DisplayPixelsProc = OSErr (*)(const PSPixelMap* source, const VRect* srcRect, std::int32_t dstRow,
                                    std::int32_t dstCol, void* platformContext);

// ---- Parameter blocks of the entry point ------------------------------------------------------------------

struct PlatformData {
    void* hwnd;  // the host's main window
};

struct AboutRecord {
    PlatformData* platformData;
    SPBasicSuite* sSPBasic;
    void* plugInRef;
    char reserved[244];
};

struct TileGeometry {
    std::int16_t tileHeight, tileWidth;
    Point tileOrigin;
};

struct LayerPlaneCounts {
    std::int16_t layerPlanes, transparencyMask, layerMasks, invertedLayerMasks, nonLayerPlanes;
};

#pragma pack(push, 4)
struct FilterRecord {
    std::int32_t serialNumber;
    AbortProc abortProc;
    ProgressProc progressProc;
    Handle parameters;
    Point imageSize;
    std::int16_t planes;
    Rect filterRect;
    RGBColor background, foreground;
    std::int32_t maxSpace, bufferSpace;
    Rect inRect;
    std::int16_t inLoPlane, inHiPlane;
    Rect outRect;
    std::int16_t outLoPlane, outHiPlane;
    void* inData;
    std::int32_t inRowBytes;
    void* outData;
    std::int32_t outRowBytes;
    Boolean isFloating, haveMask, autoMask;
    Rect maskRect;
    void* maskData;
    std::int32_t maskRowBytes;
    std::uint8_t backColor[4], foreColor[4];
    std::uint32_t hostSig;
    void* hostProc;
    std::int16_t imageMode;
    Fixed imageHRes, imageVRes;
    Point floatCoord, wholeSize;
    Fixed monitor[10];
    PlatformData* platformData;
    void* bufferProcs;
    void* resourceProcs;
    void* processEvent;
    DisplayPixelsProc displayPixels;
    HandleProcs* handleProcs;
    Boolean supportsDummyChannels, supportsAlternateLayouts;
    std::int16_t wantLayout, filterCase, dummyPlaneValue;
    void* premiereHook;
    void* advanceState;
    Boolean supportsAbsolute, wantsAbsolute;
    void* getPropertyObsolete;
    Boolean cannotUndo, supportsPadding;
    std::int16_t inputPadding, outputPadding, maskPadding;
    std::uint8_t samplingSupport, reservedByte;
    Fixed inputRate, maskRate;
    void* colorServices;
    LayerPlaneCounts inLayers, outLayers, absLayers;
    std::int16_t inPreDummyPlanes, inPostDummyPlanes, outPreDummyPlanes, outPostDummyPlanes;
    std::int32_t inColumnBytes, inPlaneBytes, outColumnBytes, outPlaneBytes;
    void* imageServicesProcs;
    void* propertyProcs;
    TileGeometry inTile, absTile, outTile, maskTile;
    PIDescriptorParameters* descriptorParameters;
    char* errorString;
    void* channelPortProcs;
    ReadImageDocumentDesc* documentInfo;
    SPBasicSuite* sSPBasic;
    void* plugInRef;
    std::int32_t depth;
};
#pragma pack(pop)

using PluginMainProc = void (*)(std::int16_t selector, void* paramBlock, std::intptr_t* data,
                                std::int16_t* result);

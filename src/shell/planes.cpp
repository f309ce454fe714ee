#include "shell/planes.h"

#include <cstring>
#include <limits>

#include "shell/globals.h"
#include "support/message_box.h"

namespace filter {
namespace {

constexpr std::int32_t kBitsPerByte = 8;
constexpr char kTwoLayersNeeded[] =
    "To use this plugin you need two layers. "
    "The bottom layer is the background with the green image as the top layer";

struct DocumentSize {
    std::int64_t width, height;
};

DocumentSize SizeOf(const ReadImageDocumentDesc* document) {
    const VRect& bounds = document->bounds;
    return {std::int64_t{bounds.right} - bounds.left, std::int64_t{bounds.bottom} - bounds.top};
}

// PixelMemoryDesc holds the length of a row in bits, in 32 bits.
bool RowBitsFit(std::int64_t width, std::int32_t depthBytes) {
    return width * depthBytes * kBitsPerByte <= std::numeric_limits<std::int32_t>::max();
}

void FindLayers(Globals* globals) {
    const ReadImageDocumentDesc* document = globals->docInfo;
    const ReadLayerDesc* bottom = document->layersDescriptor;
    const ReadLayerDesc* top = bottom == nullptr ? nullptr : bottom->next;

    globals->topTransparency = nullptr;  // it may point into an earlier document
    if (top != nullptr) {
        globals->bottomChannels = bottom->compositeChannelsList;
        globals->topChannels = top->compositeChannelsList;
        globals->topTransparency = top->transparency;
    } else if (bottom != nullptr) {
        globals->bottomChannels = globals->topChannels = bottom->compositeChannelsList;
    } else {
        ShowMessage(kTwoLayersNeeded, "Problem");
        globals->bottomChannels = globals->topChannels = document->mergedCompositeChannels;
    }
}

std::int32_t MaxSampleOfDepth(const Globals* globals) {
    return globals->depthBytes == 2 ? kMaxSample16 : kMaxSample8;
}

// Frees and allocates the planes [first, end) of kPlanes. False if one cannot be allocated.
bool AllocatePlanes(Globals* globals, int first, int end, std::uint64_t planeBytes,
                    std::uint64_t selectionBytes) {
    for (int i = first; i < end; ++i) {
        if (globals->*kPlanes[i] != nullptr) DisposeBuffer(globals, &(globals->*kPlanes[i]));
    }
    for (int i = first; i < end; ++i) {
        const bool isSelection = kPlanes[i] == &Globals::selectionPlane;
        globals->*kPlanes[i] = NewBuffer(globals, isSelection ? selectionBytes : planeBytes);
        if (globals->*kPlanes[i] == nullptr) return false;
    }
    return true;
}

// The top layer's planes, then the bottom's, then the output's.
bool AllocateAllPlanes(Globals* globals, std::uint64_t planeBytes, std::uint64_t selectionBytes) {
    constexpr int kBottom = 5, kOutput = 8;
    return AllocatePlanes(globals, 0, kBottom, planeBytes, selectionBytes) &&
           AllocatePlanes(globals, kBottom, kOutput, planeBytes, selectionBytes) &&
           AllocatePlanes(globals, kOutput, kPlaneCount, planeBytes, selectionBytes);
}

// For a new plane without data: a new block of the host may hold somebody else's data, which the engine would
// key. reduced: the plane has the size of the view, not of the document.
void ClearPlane(const Globals* globals, std::uint8_t* plane, bool reduced) {
    const DocumentSize document = SizeOf(globals->docInfo);
    const std::int64_t samples =
        reduced ? std::int64_t{globals->planeWidth} * globals->planeHeight : document.width * document.height;
    std::memset(plane, 0, static_cast<std::size_t>(samples * globals->depthBytes));
}

// Reads the first three channels of a layer. Stops reading when the result cell holds a failure.
void ReadColourPlanes(Globals* globals, const ReadChannelDesc* channel, std::uint8_t* const (&planes)[3],
                      bool reduced) {
    for (std::uint8_t* plane : planes) {
        const bool reads = channel != nullptr && *globals->result == noErr;
        if (!reads || !ReadChannelPlane(globals, channel, plane, reduced))
            ClearPlane(globals, plane, reduced);
        if (reads) channel = channel->next;
    }
}

// A layer without transparency is opaque. The value has the scale of the colour planes.
void FillOpaque(Globals* globals, bool reduced) {
    const std::size_t samples = static_cast<std::size_t>(globals->planeWidth) * globals->planeHeight;
    if (globals->depthBytes != 2) {
        std::memset(globals->topA, kMaxSample8, samples * globals->depthBytes);
        return;
    }
    const auto opaque = static_cast<std::uint16_t>(reduced ? kMaxSample8 : kMaxSample16);
    auto* plane = reinterpret_cast<std::uint16_t*>(globals->topA);
    for (std::size_t i = 0; i < samples; ++i) plane[i] = opaque;
}

void ReadAllPlanes(Globals* globals, bool reduced) {
    ReadColourPlanes(globals, globals->topChannels, {globals->topR, globals->topG, globals->topB}, reduced);
    if (!ReadChannelPlane(globals, globals->topTransparency, globals->topA, reduced))
        FillOpaque(globals, reduced);
    const ReadChannelDesc* selection = globals->docInfo->selection;
    if (selection != nullptr && !ReadChannelPlane(globals, selection, globals->selectionPlane, false))
        ClearPlane(globals, globals->selectionPlane, false);
    ReadColourPlanes(globals, globals->bottomChannels, {globals->bottomR, globals->bottomG, globals->bottomB},
                     reduced);
}

bool HasValidSize(const ReadImageDocumentDesc* document) {
    constexpr std::int64_t kLongest = std::numeric_limits<std::int32_t>::max();
    const DocumentSize size = SizeOf(document);
    return size.width >= 1 && size.height >= 1 && size.width <= kLongest && size.height <= kLongest;
}

bool IsSupported(const Globals* globals) {
    const ReadImageDocumentDesc* document = globals->docInfo;
    return document != nullptr && document->targetCompositeChannels != nullptr &&
           globals->gPSBufferSuite != nullptr && globals->gPSChannelPortsSuite != nullptr &&
           HasValidSize(document);
}

bool FailLoading(Globals* globals, OSErr code) {
    Fail(globals, code);
    return false;
}

// LoadPlanes without freeing the planes after a failure.
bool TryLoadPlanes(Globals* globals, bool reduced) {
    if (!IsSupported(globals)) return FailLoading(globals, errPlugInHostInsufficient);
    const ReadImageDocumentDesc* document = globals->docInfo;
    const DocumentSize size = SizeOf(document);
    const Rect& proxy = globals->proxyRect;
    globals->planeWidth = reduced ? proxy.right - proxy.left : static_cast<std::int32_t>(size.width);
    globals->planeHeight = reduced ? proxy.bottom - proxy.top : static_cast<std::int32_t>(size.height);

    FindLayers(globals);

    // The depth is that of the target, not of the two layers that are read.
    globals->depthBytes = document->targetCompositeChannels->depth / kBitsPerByte;
    globals->maxSample = MaxSampleOfDepth(globals);
    if (globals->depthBytes < 1) return FailLoading(globals, errPlugInHostInsufficient);
    // The preview of a long, thin document may have no pixels. The dialog stays open without a preview.
    if (globals->planeWidth < 1 || globals->planeHeight < 1) return false;

    const std::uint64_t planeBytes =
        static_cast<std::uint64_t>(globals->planeWidth) * globals->planeHeight * globals->depthBytes;
    const std::uint64_t selectionBytes =
        static_cast<std::uint64_t>(size.width) * size.height * globals->depthBytes;
    if (!RowBitsFit(size.width, globals->depthBytes) ||
        !AllocateAllPlanes(globals, planeBytes, selectionBytes))
        return FailLoading(globals, memFullErr);
    ReadAllPlanes(globals, reduced);

    for (int i = 0; i < kPlaneCount; ++i) {
        globals->*kPlanes16[i] = reinterpret_cast<std::uint16_t*>(globals->*kPlanes[i]);
    }
    return true;
}

// A failure of canRead itself goes to the result cell and to a message box.
bool ChannelReadable(Globals* globals, const ReadChannelDesc* channel) {
    if (channel == nullptr || channel->port == nullptr) return false;
    Boolean canRead = 0;
    if (globals->gPSChannelPortsSuite->CanRead(channel->port, &canRead) != 0) {
        Fail(globals, errPlugInHostInsufficient);
        ShowMessage("gPSChannelPortsSuite", "Cannot Read Data");
        return false;
    }
    return canRead != 0;
}

void ReadFullSize(Globals* globals, const ReadChannelDesc* channel, std::uint8_t* plane) {
    globals->maxSample = MaxSampleOfDepth(globals);
    const DocumentSize size = SizeOf(globals->docInfo);
    const auto width = static_cast<std::int32_t>(size.width);
    // Starts at 0, 0 for any document bounds: channel ports count from the corner of the document.
    VRect rect = {0, 0, static_cast<std::int32_t>(size.height), width};
    // The host delivers only the part of the rectangle within the bounds, and a channel with fewer bits than
    // the planes fills only a part of its plane.
    const VRect& bounds = globals->docInfo->bounds;
    if (bounds.top != 0 || bounds.left != 0 || channel->depth < globals->depthBytes * kBitsPerByte)
        ClearPlane(globals, plane, false);
    const PixelMemoryDesc memory = DescribeMemory(plane, width, channel->depth);
    if (globals->gPSChannelPortsSuite->ReadPixelsFromLevel(channel->port, 0, &rect, &memory) != 0) {
        Fail(globals, errPlugInHostInsufficient);
        ClearPlane(globals, plane, false);
    }
}

// Scales a 16-bit plane to 0 to 255. A plane without a sample above 255 is taken as already scaled. So a very
// dark channel keeps its values; this is intended and decided for each plane.
void ScaleTo8Bits(std::uint16_t* plane, std::size_t samples) {
    for (std::size_t i = 0; i < samples; ++i) {
        if (plane[i] <= kMaxSample8) continue;
        for (std::size_t k = 0; k < samples; ++k) {
            plane[k] = static_cast<std::uint16_t>(plane[k] * kMaxSample8 / kMaxSample16);
        }
        return;
    }
}

void ReadReduced(Globals* globals, const ReadChannelDesc* channel, std::uint8_t* plane) {
    globals->maxSample = kMaxSample8;
    const PreviewView view = ViewOf(globals);
    const std::int32_t height = globals->proxyRect.bottom - globals->proxyRect.top;
    const std::int32_t width = globals->proxyRect.right - globals->proxyRect.left;
    const std::size_t samples = static_cast<std::size_t>(width) * height;
    ClearPlane(globals, plane, true);

    VRect rect = {0, 0, height, width};
    const PSScaling scaling = {{view.top, view.left, view.top + view.spanH, view.left + view.spanW}, rect};
    const PixelMemoryDesc memory = DescribeMemory(plane, width, channel->depth);
    if (globals->gPSChannelPortsSuite->ReadScaledPixels(channel->port, &rect, &scaling, &memory) != 0) {
        ShowMessage("Error", "Error Reading Scaled Data");
        return;
    }
    if (channel->depth == 16) ScaleTo8Bits(reinterpret_cast<std::uint16_t*>(plane), samples);
    if (rect.bottom != height || rect.right != width) ShowMessage("Error", "Error Reading Scaled Data");
}

}  // namespace

PreviewView ViewOf(const Globals* globals) {
    const VRect& bounds = globals->docInfo->bounds;
    const DocumentSize size = SizeOf(globals->docInfo);
    const std::int64_t shown = 100 - globals->previewZoom;
    const std::int64_t spanH = shown * size.height / 100;
    const std::int64_t spanW = shown * size.width / 100;
    const std::int64_t top = (size.height - spanH) * globals->previewScrollY / 100 + bounds.top;
    const std::int64_t left = (size.width - spanW) * globals->previewScrollX / 100 + bounds.left;
    return {static_cast<std::int32_t>(top), static_cast<std::int32_t>(left), static_cast<std::int32_t>(spanH),
            static_cast<std::int32_t>(spanW)};
}

PixelMemoryDesc DescribeMemory(std::uint8_t* plane, std::int32_t width, std::int32_t depth) {
    return {plane, width * depth, depth, 0, depth};
}

bool ChannelFitsPlanes(const Globals* globals, const ReadChannelDesc* channel) {
    return channel->depth > 0 && channel->depth <= globals->depthBytes * kBitsPerByte;
}

bool ReadChannelPlane(Globals* globals, const ReadChannelDesc* channel, std::uint8_t* plane, bool reduced) {
    if (!ChannelReadable(globals, channel) || plane == nullptr) return false;
    if (!ChannelFitsPlanes(globals, channel)) {
        Fail(globals, errPlugInHostInsufficient);
        return false;
    }
    if (reduced) {
        ReadReduced(globals, channel, plane);
    } else {
        ReadFullSize(globals, channel, plane);
    }
    return true;
}

bool LoadPlanes(Globals* globals, bool reduced) {
    if (TryLoadPlanes(globals, reduced)) return true;
    DisposePlanes(globals);
    return false;
}

}  // namespace filter

#include "ui/preview.h"

#include <algorithm>
#include <cstring>

#include "shell/engine_calls.h"
#include "shell/globals.h"
#include "shell/planes.h"

namespace filter {
namespace {

constexpr int kPreviewPlanes = 3;  // red, green, blue

// The buffers stay until ReleasePreviewBuffers: zoom and scroll do not change their size.
bool AllocatePreviewBuffers(Globals* globals) {
    if (globals->previewPixels != nullptr) return true;
    const std::uint64_t plane = static_cast<std::uint64_t>(globals->previewWidth) * globals->previewHeight;
    // One plane for each channel of the target, but at least the three that the preview uses.
    const int planes = std::max<int>(CountTargetChannels(globals), kPreviewPlanes);
    globals->previewPixels = NewBuffer(globals, planes * plane);
    globals->previewAlpha = NewBuffer(globals, plane);
    if (globals->previewPixels == nullptr) {
        if (globals->previewAlpha != nullptr) DisposeBuffer(globals, &globals->previewAlpha);
        return false;
    }
    // The preview is black and transparent if the planes cannot be loaded.
    std::memset(globals->previewPixels, 0, planes * plane);
    if (globals->previewAlpha != nullptr) std::memset(globals->previewAlpha, 0, plane);
    return true;
}

// Tests whether a pixel of the preview is selected in the document. The plane has document size and is read
// as bytes at both depths: in a 16-bit document the test reads low and high bytes in turn and only the first
// half of the plane. This is intended; the engine reads it in the same way.
struct SelectionTest {
    const std::uint8_t* plane;
    std::int64_t lastByte;
    std::int64_t docW;
    PreviewView view;
    std::int64_t width, height;  // of the preview

    bool operator()(std::int64_t x, std::int64_t y) const {
        const std::int64_t sx = (x * view.spanW) / width + view.left;
        const std::int64_t sy = (y * view.spanH) / height + view.top;
        // At full zoom the view may start at the far edge of the document, and bounds need not start at 0.
        return plane[std::clamp<std::int64_t>(docW * sy + sx, 0, lastByte)] != 0;
    }
};

SelectionTest SelectionTestOf(const Globals* globals) {
    const VRect& bounds = globals->docInfo->bounds;
    const std::int64_t docW = bounds.right - bounds.left;
    const std::int64_t docH = bounds.bottom - bounds.top;
    return {globals->selectionPlane,
            docW * docH * globals->depthBytes - 1,
            docW,
            ViewOf(globals),
            globals->planeWidth,
            globals->planeHeight};
}

// Copies the low byte of every sample. step: bytes per sample.
void CopyLowBytes(const std::uint8_t* plane, std::int64_t step, std::int64_t count, std::uint8_t* bytes) {
    for (std::int64_t i = 0; i < count; ++i) bytes[i] = plane[i * step];
}

// Shows the original photo outside the selection. The alpha is still that of the keyed picture.
void RestoreUnselected(const Globals* globals, std::int64_t step) {
    const SelectionTest selected = SelectionTestOf(globals);
    const std::int64_t count = selected.width * selected.height;
    std::uint8_t* pixel = globals->previewPixels;
    for (std::int64_t y = 0; y < selected.height; ++y) {
        for (std::int64_t x = 0; x < selected.width; ++x, ++pixel) {
            if (selected(x, y)) continue;
            const std::int64_t sample = (y * selected.width + x) * step;
            pixel[0] = globals->topR[sample];
            pixel[count] = globals->topG[sample];
            pixel[2 * count] = globals->topB[sample];
        }
    }
}

void CopyToPreview(Globals* globals) {
    const std::int64_t count = static_cast<std::int64_t>(globals->planeWidth) * globals->planeHeight;
    const std::int64_t step = globals->depthBytes == 1 ? 1 : 2;
    CopyLowBytes(globals->outR, step, count, globals->previewPixels);
    CopyLowBytes(globals->outG, step, count, globals->previewPixels + count);
    CopyLowBytes(globals->outB, step, count, globals->previewPixels + 2 * count);
    if (globals->previewAlpha != nullptr) CopyLowBytes(globals->outA, step, count, globals->previewAlpha);
    if (globals->docInfo->selection != nullptr) RestoreUnselected(globals, step);
}

}  // namespace

void ComposePreview(Globals* globals) {
    if (globals->previewWidth <= 0 || globals->previewHeight <= 0) return;
    if (!AllocatePreviewBuffers(globals)) {
        Fail(globals, memFullErr);
        return;
    }
    if (globals->mustReload && !LoadPlanes(globals, true)) return;
    globals->maxSample = kMaxSample8;
    globals->mustReload = 0;
    // Zoom and scroll do not analyse again: the view is keyed with the backdrop of the last analysed view.
    if (globals->mustAnalyse) AnalyseBackdrop(globals);
    globals->mustAnalyse = 0;
    globals->finalRender = 0;
    KeyPicture(globals);
    CopyToPreview(globals);
}

void DescribePreview(const Globals* globals, PSPixelMap* map, PSPixelMask* mask) {
    const Rect& rect = globals->proxyRect;
    const std::int32_t width = rect.right - rect.left;
    const std::int32_t height = rect.bottom - rect.top;
    *map = {};
    map->version = 2;
    map->bounds = {rect.top, rect.left, rect.bottom, rect.right};
    map->imageMode = plugInModeRGBColor;  // for any mode of the document
    map->rowBytes = width;
    map->colBytes = 1;
    map->planeBytes = width * height;
    map->baseAddr = globals->previewPixels;
    *mask = {};
    const bool hasAlpha = globals->previewPixels != nullptr && globals->previewAlpha != nullptr;
    if (!globals->FlagOutputAlpha || !hasAlpha) return;
    mask->maskData = globals->previewAlpha;
    mask->rowBytes = width;
    mask->colBytes = 1;
    mask->maskDescription = kSimplePSMask;
    map->masks = mask;
}

}  // namespace filter

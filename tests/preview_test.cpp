// The preview without a window: its geometry against values worked by hand, and its composition against the
// engine run over the same planes. The host is a handful of functions here: ports whose samples are known by
// formula, and buffers that can run out.
#include "ui/preview.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "engine/keying.h"
#include "shell/globals.h"
#include "support/checked_heap.h"
#include "ui/preview_geometry.h"

namespace {

// ---- Geometry ---------------------------------------------------------------------------------------------

struct Fit {
    Rect rect;
    float scale;
    std::int32_t width, height;
};

// Into an area of 392 by 468 at 5, 4, which leaves 388 by 464 at 7, 6 for the picture.
Fit FitIntoArea(const VRect& bounds) {
    Globals globals{};
    Fit fit{{4, 5, 472, 397}, 0, 0, 0};
    FitPreview(&globals, bounds, &fit.rect, &fit.scale);
    EXPECT_EQ(globals.mustReload, 1);
    EXPECT_EQ(fit.rect.top, 6);
    EXPECT_EQ(fit.rect.left, 7);
    fit.width = globals.previewWidth;
    fit.height = globals.previewHeight;
    return fit;
}

void ExpectFit(const VRect& bounds, float scale, int bottom, int right) {
    const Fit fit = FitIntoArea(bounds);
    EXPECT_EQ(fit.scale, scale);
    EXPECT_EQ(fit.rect.bottom, bottom);
    EXPECT_EQ(fit.rect.right, right);
    EXPECT_EQ(fit.height, bottom - 6);
    EXPECT_EQ(fit.width, right - 7);
}

TEST(PreviewGeometry, FitsByTheTighterSideAndMeasuresFromZero) {
    ExpectFit({0, 0, 800, 1552}, 0.25f, 200, 388);       // wide
    ExpectFit({0, 0, 928, 101}, 0.5f, 464, 50);          // tall, 50.5 cut
    ExpectFit({0, 0, 58, 97}, 4.0f, 232, 388);           // small, enlarged
    ExpectFit({0, 0, 1856, 1552}, 0.25f, 464, 388);      // equal ratios
    ExpectFit({100, 200, 900, 1752}, 0.25f, 225, 438);   // bounds away from 0
    ExpectFit({-80, -400, 720, 1152}, 0.25f, 180, 288);  // and below it
}

TEST(PreviewGeometry, WrapsAt16BitsWithoutHarm) {
    ExpectFit({0, 0, 800, 65536 + 1552}, 0.25f, 200, 16772);
    const Fit wrapped = FitIntoArea({0, 0, 30000, 40000});  // the width counts as -25536
    EXPECT_LT(wrapped.scale, 0);
    EXPECT_LE(wrapped.width, 0);
    EXPECT_LE(wrapped.height, 0);
    const Fit infinite = FitIntoArea({0, 0, 65536, 65536});  // counts as empty
    EXPECT_EQ(infinite.rect.bottom, 0);
    EXPECT_EQ(infinite.rect.right, 0);
    EXPECT_LE(FitIntoArea({0, 0, 0, 0}).width, 0);
}

TEST(PreviewGeometry, CentresThePreviewInItsPlaceholder) {
    // A preview of 381 by 194 in a placeholder of 392 by 468.
    const Rect at = PreviewDestination({304, 205, 772, 597}, {300, 200}, {6, 7, 200, 388});
    EXPECT_EQ(at.left, (205 + 597 - 381) / 2 - 200);  // 210 - 200: the half pixel is cut
    EXPECT_EQ(at.top, 141);
    EXPECT_EQ(at.right, at.left + 381);
    EXPECT_EQ(at.bottom, at.top + 194);
    // Left of the screen the sum is negative, and is cut toward zero all the same: -421 / 2 is -210.
    EXPECT_EQ(PreviewDestination({0, -220, 468, 172}, {0, -225}, {0, 0, 10, 373}).left, -210 + 225);
}

TEST(PreviewGeometry, PlacesDialogsOverTheirParent) {
    EXPECT_EQ(DialogInset(20, true), 20);
    EXPECT_EQ(DialogInset(20, false), 14);
    const DialogSize dialog{600, 400}, screen{1920, 1080};
    const auto expectAt = [&](const VRect& parent, int x, int y) {
        const VPoint corner = DialogCorner(parent, dialog, screen, 14);
        EXPECT_EQ(corner.h, x);
        EXPECT_EQ(corner.v, y);
    };
    expectAt({100, 50, 1001, 1251}, 50 + 300 - 14, 100 + 167);  // half across, a third down
    expectAt({100, 50, 400, 350}, 50 - 14, 100);                // larger than its parent
    expectAt({900, 1700, 1000, 1900}, 1320, 680);               // held at the far edges
    expectAt({-300, -900, 0, 0}, -900 + 150 - 14, -300);        // and not at the near ones
    const VPoint corner = DialogCorner({0, 0, 100, 100}, {600, 400}, {500, 300}, -9);
    EXPECT_EQ(corner.h, 0);
    EXPECT_EQ(corner.v, 0);
}

// ---- Composition ------------------------------------------------------------------------------------------

constexpr std::int32_t kDocW = 40, kDocH = 30;

// Red, green and blue of the top and of the bottom layer, transparency, selection.
enum Port { kTop, kBottom = 3, kTransparency = 6, kSelection, kPorts };

PIChannelPort PortOf(int port) {
    return reinterpret_cast<PIChannelPort>(static_cast<std::intptr_t>(port + 1));
}

struct Record {
    std::vector<VRect> sources;  // of the scaled reads
    int fullReads = 0;
    std::vector<std::uint32_t> buffers;  // sizes asked for
    int liveBuffers = 0;
    std::size_t failBufferAt = 0;  // counted from 1; 0: none
};
Record* record;

// A green backdrop of some variation with a reddish disc.
int SampleOf(int port, int x, int y) {
    const int dx = x - 18, dy = y - 14;
    const bool subject = dx * dx + dy * dy < 90;
    const int wobble = (x * 7 + y * 11 + port * 5) % 13;
    switch (port) {
        case kTop:
            return (subject ? 180 : 40) + wobble;
        case kTop + 1:
            return (subject ? 90 : 190) + wobble;
        case kTop + 2:
            return (subject ? 70 : 50) + wobble;
        case kTransparency:
            return 255 - wobble;
        default:
            return 100 + port * 10 + wobble * 3;
    }
}

// The document's selection: all but the upper left part.
bool Selected(int x, int y) {
    return x >= 10 || y >= 12;
}

void Put(const PixelMemoryDesc* memory, int index, int sample) {
    if (memory->depth == 8) {
        static_cast<std::uint8_t*>(memory->data)[index] = static_cast<std::uint8_t>(sample);
    } else {
        static_cast<std::uint16_t*>(memory->data)[index] =
            static_cast<std::uint16_t>(sample * 32767 / 255 + 1);
    }
}

SPErr CanRead(PIChannelPort, Boolean* canRead) {
    *canRead = 1;
    return 0;
}

SPErr ReadFull(PIChannelPort, std::int32_t, VRect* bounds, const PixelMemoryDesc* memory) {
    ++record->fullReads;
    for (int i = 0; i < bounds->bottom * bounds->right; ++i) {
        Put(memory, i, Selected(i % bounds->right, i / bounds->right) ? 255 : 0);
    }
    return 0;
}

// The nearest sample of the source rectangle.
SPErr ReadScaled(PIChannelPort port, VRect* rect, const PSScaling* scaling, const PixelMemoryDesc* memory) {
    const VRect& from = scaling->sourceRect;
    record->sources.push_back(from);
    const int channel = static_cast<int>(reinterpret_cast<std::intptr_t>(port)) - 1;
    for (int i = 0; i < rect->bottom * rect->right; ++i) {
        const int x = i % rect->right, y = i / rect->right;
        Put(memory, i,
            SampleOf(channel, from.left + x * (from.right - from.left) / rect->right,
                     from.top + y * (from.bottom - from.top) / rect->bottom));
    }
    return 0;
}

void* NewBlock(std::uint32_t*, std::uint32_t size) {
    record->buffers.push_back(size);
    if (record->buffers.size() == record->failBufferAt) return nullptr;
    ++record->liveBuffers;
    void* block = std::malloc(size);
    std::memset(block, 0xA5, size);
    return block;
}

void DisposeBlock(void** block) {
    if (*block != nullptr) --record->liveBuffers;
    std::free(*block);
    *block = nullptr;
}

SPErr AllocateBlock(std::size_t size, void** block) {
    *block = std::malloc(size);
    return 0;
}

SPErr FreeBlock(void* block) {
    std::free(block);
    return 0;
}

// A two-layer document of 40 by 30, its state as at the dialog's opening, with a preview of 33 by 24.
class Preview : public testing::TestWithParam<int> {
  protected:
    Preview() {
        record = &record_;
        broker.AllocateBlock = AllocateBlock;
        broker.FreeBlock = FreeBlock;
        gSPBasicSuite = &broker;
        ports.CanRead = CanRead;
        ports.ReadPixelsFromLevel = ReadFull;
        ports.ReadScaledPixels = ReadScaled;
        buffers.New = NewBlock;
        buffers.Dispose = DisposeBlock;
        for (int port = 0; port < kPorts; ++port) {
            channels[port].port = PortOf(port);
            channels[port].depth = GetParam();
            if (port % 3 != 2 && port < kTransparency) channels[port].next = &channels[port + 1];
        }
        layers[0].next = &layers[1];
        layers[0].compositeChannelsList = &channels[kBottom];
        layers[1].compositeChannelsList = &channels[kTop];
        layers[1].transparency = &channels[kTransparency];
        document.bounds = {0, 0, kDocH, kDocW};
        document.layersDescriptor = layers;
        document.targetCompositeChannels = &channels[kTop];
        block.documentInfo = &document;
        globals.result = &result;
        globals.filterParamBlock = &block;
        globals.docInfo = &document;
        globals.gPSChannelPortsSuite = &ports;
        globals.gPSBufferSuite = &buffers;
        globals.mustAnalyse = globals.mustReload = 1;
        globals.SliderAdjBGLevel = globals.SliderAlterGreen = globals.SliderSelectTransp = 100;
        globals.SliderRemoveGreen = 40;
        globals.SliderRestoreBlack = 20;
        globals.SliderScaleTransp = 70;
        globals.proxyRect = {3, 5, 27, 38};
        globals.previewWidth = 33;
        globals.previewHeight = 24;
    }

    ~Preview() override {
        DisposePlanes(&globals);
        ReleasePreviewBuffers(&globals);
        EXPECT_EQ(record_.liveBuffers, 0);
        gSPBasicSuite = nullptr;
    }

    int At(const std::uint8_t* plane, int i) const {
        return globals.depthBytes == 1 ? plane[i] : reinterpret_cast<const std::uint16_t*>(plane)[i] & 0xFF;
    }

    // The preview against the planes as they stand now, with `chosen` for the selection.
    template <typename Chosen>
    void ExpectPreview(Chosen chosen) {
        const int count = 33 * 24;
        int differences = 0, keyed = 0;
        for (int i = 0; i < count; ++i) {
            const bool out = chosen(i % 33, i / 33);
            const auto* pixels = globals.previewPixels;
            differences += pixels[i] != At(out ? globals.outR : globals.topR, i) ||
                           pixels[count + i] != At(out ? globals.outG : globals.topG, i) ||
                           pixels[2 * count + i] != At(out ? globals.outB : globals.topB, i) ||
                           globals.previewAlpha[i] != At(globals.outA, i);
            keyed += At(globals.outR, i) != At(globals.topR, i);
        }
        EXPECT_EQ(differences, 0);
        EXPECT_GT(keyed, count / 4) << "the engine has not changed the picture";
    }

    Record record_;
    SPBasicSuite broker{};
    PSChannelPortsSuite ports{};
    PSBufferSuite buffers{};
    ReadChannelDesc channels[kPorts]{};
    ReadLayerDesc layers[2]{};
    ReadImageDocumentDesc document{};
    FilterRecord block{};
    std::int16_t result = 0;
    Globals globals{};
};

INSTANTIATE_TEST_SUITE_P(Depths, Preview, testing::Values(8, 16), testing::PrintToStringParamName());

TEST_P(Preview, ShowsWhatTheEngineMakesOfTheReducedPlanes) {
    ComposePreview(&globals);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(globals.mustAnalyse | globals.mustReload, 0);
    EXPECT_EQ(globals.maxSample, 255);
    EXPECT_EQ(record_.buffers[0], 3u * 33 * 24);
    EXPECT_EQ(record_.buffers[1], 33u * 24);
    const int topmost = GetParam() == 8 ? 255 : *std::max_element(globals.topR16, globals.topR16 + 33 * 24);
    EXPECT_LE(topmost, 255) << "a preview runs on bytes";
    ExpectPreview([](int, int) { return true; });

    // The same planes through the engine once more, by hand, after a change of everything it reads.
    const std::vector<std::uint8_t> before(globals.previewPixels, globals.previewPixels + 3 * 33 * 24);
    globals.SliderRemoveGreen = 120;
    globals.FlagOutputAlpha = 1;
    ComposePreview(&globals);
    ExpectPreview([](int, int) { return true; });
    EXPECT_NE(0, std::memcmp(before.data(), globals.previewPixels, before.size()));
    globals.SliderRemoveGreen = 40;
    globals.FlagOutputAlpha = 0;
    AnalyseBackdrop(&globals);
    KeyPicture(&globals);
    for (int i = 0; i < 33 * 24; ++i) ASSERT_EQ(before[i], At(globals.outR, i)) << i;
}

TEST_P(Preview, ReadsTheViewThatZoomAndScrollSelect) {
    ComposePreview(&globals);
    ASSERT_EQ(record_.sources.size(), 7u);
    const auto expectView = [&](int zoom, int scrollX, int scrollY, VRect view) {
        record_.sources.clear();
        globals.previewZoom = zoom;
        globals.previewScrollX = scrollX;
        globals.previewScrollY = scrollY;
        globals.mustReload = 1;
        const double mean = globals.backdropMeanG;
        ComposePreview(&globals);
        ASSERT_EQ(record_.sources.size(), 7u);
        for (const VRect& source : record_.sources) {
            EXPECT_EQ(source.top, view.top);
            EXPECT_EQ(source.left, view.left);
            EXPECT_EQ(source.bottom, view.bottom);
            EXPECT_EQ(source.right, view.right);
        }
        EXPECT_EQ(globals.backdropMeanG, mean) << "a new view is not analysed";
    };
    expectView(0, 100, 100, {0, 0, 30, 40});
    expectView(50, 100, 0, {0, 20, 15, 40});
    expectView(33, 50, 25, {2, 7, 22, 33});  // spans 20 and 26; (30 - 20) * 25 / 100, (40 - 26) * 50 / 100
    expectView(100, 100, 100, {30, 40, 30, 40});
    document.bounds = {-5, 7, 25, 47};
    expectView(50, 0, 100, {10, 7, 25, 27});
    // An unchanged view costs no read.
    record_.sources.clear();
    ComposePreview(&globals);
    EXPECT_TRUE(record_.sources.empty());
}

TEST_P(Preview, LeavesThePhotographOutsideTheSelection) {
    document.selection = &channels[kSelection];
    globals.previewZoom = 50;
    globals.previewScrollX = 10;
    ComposePreview(&globals);
    EXPECT_EQ(record_.fullReads, 1);
    // The view is 20 by 15 at 2, 0. At 16 bits the plane is tested byte by byte, so that byte i belongs to
    // sample i / 2: rows and columns of the document are taken for twice as many.
    const bool bytes = GetParam() == 8;
    const auto chosen = [&](int x, int y) {
        const int index = kDocW * (y * 15 / 24) + x * 20 / 33 + 2;
        const int sample = bytes ? index : index / 2;
        const int value = (Selected(sample % kDocW, sample / kDocW) ? 255 : 0);
        const int wide = value * 32767 / 255 + 1;
        return (bytes ? value : index % 2 == 0 ? wide & 0xFF : wide >> 8) != 0;
    };
    ExpectPreview(chosen);

    // Past the plane's end: the last byte decides for the whole preview.
    globals.previewZoom = globals.previewScrollX = globals.previewScrollY = 100;
    globals.mustReload = 1;
    ComposePreview(&globals);
    EXPECT_EQ(result, 0);
}

TEST_P(Preview, SurvivesWantOfMemoryAndTriesAgain) {
    // previewPixels, previewAlpha, then the twelve planes.
    for (std::size_t call = 1; call <= 14; ++call) {
        DisposePlanes(&globals);
        ReleasePreviewBuffers(&globals);
        record_.buffers.clear();
        record_.failBufferAt = call;
        result = 0;
        globals.mustReload = 1;
        ComposePreview(&globals);
        EXPECT_EQ(result, call == 2 ? noErr : memFullErr) << call;
        EXPECT_EQ(record_.liveBuffers, call == 1 ? 0 : call == 2 ? 13 : 2) << call;
        EXPECT_EQ(globals.mustReload, call == 2 ? 0 : 1) << call;
        record_.failBufferAt = 0;
        result = 0;
        globals.FlagOutputAlpha = 1;
        ComposePreview(&globals);
        EXPECT_EQ(result, 0);
        PSPixelMap map;
        PSPixelMask mask;
        DescribePreview(&globals, &map, &mask);
        EXPECT_EQ(map.masks, call == 2 ? nullptr : &mask) << "no alpha, no mask";
        globals.FlagOutputAlpha = 0;
    }
    globals.previewWidth = -4;  // as a wrapped document leaves it
    record_.buffers.clear();
    ComposePreview(&globals);
    EXPECT_TRUE(record_.buffers.empty());
}

TEST_P(Preview, DescribesItselfToTheHost) {
    ComposePreview(&globals);
    PSPixelMap map;
    PSPixelMask mask;
    std::memset(&map, 0xA5, sizeof map);
    std::memset(&mask, 0xA5, sizeof mask);
    DescribePreview(&globals, &map, &mask);
    EXPECT_EQ(map.version, 2);
    EXPECT_TRUE(map.bounds.top == 3 && map.bounds.left == 5 && map.bounds.bottom == 27 &&
                map.bounds.right == 38);
    EXPECT_TRUE(map.imageMode == 3 && map.rowBytes == 33 && map.colBytes == 1 && map.planeBytes == 33 * 24);
    EXPECT_EQ(map.baseAddr, globals.previewPixels);
    EXPECT_TRUE(map.mat == nullptr && map.masks == nullptr && map.pixelOverlays == nullptr);
    EXPECT_TRUE(map.maskPhaseRow == 0 && map.maskPhaseCol == 0 && map.colorManagementOptions == 0u);
    globals.FlagOutputAlpha = 1;
    DescribePreview(&globals, &map, &mask);
    ASSERT_EQ(map.masks, &mask);
    EXPECT_TRUE(mask.next == nullptr && mask.maskData == globals.previewAlpha);
    EXPECT_TRUE(mask.rowBytes == 33 && mask.colBytes == 1 && mask.maskDescription == 0);
}

}  // namespace

// The preview without a window: its geometry against values worked by hand, and its composition against the
// engine run over the same planes.
#include "ui/preview.h"

#include <algorithm>
#include <cstring>

#include "engine/keying.h"
#include "shell/planes.h"
#include "tests/shell_rig.h"
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

// ---- Composition -----------------------------------------------------------------------------------------

constexpr std::int32_t kDocW = 40, kDocH = 30, kWidth = 33, kHeight = 24, kCount = kWidth * kHeight;

// The document's selection: all but the upper left part. At 16 bits one byte of each sample is 0 either way.
constexpr std::uint16_t kIn16 = 0x8000, kOut16 = 1;
bool Selected(int x, int y) {
    return x >= 10 || y >= 12;
}

Document PreviewedDocument(int depth, bool selected) {
    Document document = GreenDocument(kDocW, kDocH, depth, 2);
    if (!selected) return document;
    document.selection = MakeChannel(document, depth == 8 ? 255 : kIn16);
    for (int i = 0; i < kDocW * kDocH; ++i) {
        if (Selected(i % kDocW, i / kDocW)) continue;
        SetSample(document, *document.selection, i % kDocW, i / kDocW, depth == 8 ? 0 : kOut16);
    }
    return document;
}

// A document of 40 by 30, its state as at the dialog's opening, with a preview of 33 by 24.
struct PreviewRig : ShellRig {
    explicit PreviewRig(int depth, bool selected = false, HostOptions options = {})
        : ShellRig(PreviewedDocument(depth, selected), std::move(options)) {
        globals->proxyRect = {3, 5, 3 + kHeight, 5 + kWidth};
        globals->previewWidth = kWidth;
        globals->previewHeight = kHeight;
        OptionsOf(*host).trace = [this](const std::string& line) { trace.push_back(line); };
    }
    ~PreviewRig() {
        ReleasePreviewBuffers(globals);
        OptionsOf(*host).trace = nullptr;
    }

    // The calls of this name that a composition makes.
    std::vector<std::string> Calls(const std::string& name) {
        trace.clear();
        ComposePreview(globals);
        std::vector<std::string> calls;
        std::copy_if(trace.begin(), trace.end(), std::back_inserter(calls),
                     [&](const std::string& line) { return line.compare(0, name.size(), name) == 0; });
        return calls;
    }
    std::vector<std::string> ReadsOf(int zoom, int scrollX, int scrollY) {
        globals->previewZoom = zoom;
        globals->previewScrollX = scrollX;
        globals->previewScrollY = scrollY;
        globals->mustReload = 1;
        return Calls("ReadScaledPixels");
    }
    int At(const std::uint8_t* plane, int i) const {
        return globals->depthBytes == 1 ? plane[i] : reinterpret_cast<const std::uint16_t*>(plane)[i] & 0xFF;
    }
    // The preview against the planes as they stand now, with `chosen` for the selection.
    template <typename Chosen>
    void ExpectPreview(Chosen chosen) {
        int differences = 0, keyed = 0;
        for (int i = 0; i < kCount; ++i) {
            const bool out = chosen(i % kWidth, i / kWidth);
            const auto* pixels = globals->previewPixels;
            differences += pixels[i] != At(out ? globals->outR : globals->topR, i) ||
                           pixels[kCount + i] != At(out ? globals->outG : globals->topG, i) ||
                           pixels[2 * kCount + i] != At(out ? globals->outB : globals->topB, i) ||
                           globals->previewAlpha[i] != At(globals->outA, i);
            keyed += At(globals->outR, i) != At(globals->topR, i);
        }
        EXPECT_EQ(differences, 0);
        EXPECT_GT(keyed, kCount / 4) << "the engine has not changed the picture";
    }

    std::vector<std::string> trace;
};

class Preview : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Depths, Preview, testing::Values(8, 16), testing::PrintToStringParamName());

TEST_P(Preview, ShowsWhatTheEngineMakesOfTheReducedPlanes) {
    PreviewRig rig(GetParam());
    Globals& globals = *rig.globals;
    const std::vector<std::string> blocks = rig.Calls("New ");
    ASSERT_EQ(blocks.size(), 14u);
    EXPECT_EQ(blocks[0].find("New 2376 "), 0u) << "the three colours";
    EXPECT_EQ(blocks[1].find("New 792 "), 0u) << "alpha";
    EXPECT_EQ(rig.result, 0);
    EXPECT_EQ(globals.mustAnalyse | globals.mustReload, 0);
    EXPECT_EQ(globals.maxSample, 255);
    const int topmost = GetParam() == 8 ? 255 : *std::max_element(globals.topR16, globals.topR16 + kCount);
    EXPECT_LE(topmost, 255) << "a preview runs on bytes";
    rig.ExpectPreview([](int, int) { return true; });

    // The same planes through the engine once more, by hand, after a change of everything it reads.
    const std::vector<std::uint8_t> before(globals.previewPixels, globals.previewPixels + 3 * kCount);
    globals.SliderRemoveGreen = 120;
    globals.FlagOutputAlpha = 1;
    ComposePreview(&globals);
    rig.ExpectPreview([](int, int) { return true; });
    EXPECT_NE(0, std::memcmp(before.data(), globals.previewPixels, before.size()));
    globals.SliderRemoveGreen = 40;
    globals.FlagOutputAlpha = 0;
    AnalyseBackdrop(&globals);
    KeyPicture(&globals);
    for (int i = 0; i < kCount; ++i) ASSERT_EQ(before[i], rig.At(globals.outR, i)) << i;
}

TEST_P(Preview, ReadsTheViewThatZoomAndScrollSelect) {
    PreviewRig rig(GetParam());
    ComposePreview(rig.globals);
    const double mean = rig.globals->backdropMeanG;
    const struct {
        int zoom, scrollX, scrollY;
        const char* view;
    } kCases[] = {
        {0, 100, 100, "source (0 0 30 40)"},
        {50, 100, 0, "source (0 20 15 40)"},
        {33, 50, 25, "source (2 7 22 33)"},  // spans 20 and 26; 10 * 25 / 100, 14 * 50 / 100
        {100, 100, 100, "source (30 40 30 40)"},
    };
    for (const auto& c : kCases) {
        const std::vector<std::string> reads = rig.ReadsOf(c.zoom, c.scrollX, c.scrollY);
        EXPECT_EQ(reads.size(), 7u);
        for (const std::string& line : reads) EXPECT_NE(line.find(c.view), line.npos) << line;
        EXPECT_EQ(rig.globals->backdropMeanG, mean) << "a new view is not analysed";
    }
    EXPECT_TRUE(rig.Calls("Read").empty()) << "an unchanged view costs no read";
}

TEST_P(Preview, LeavesThePhotographOutsideTheSelection) {
    PreviewRig rig(GetParam(), true);
    rig.globals->previewZoom = 50;
    rig.globals->previewScrollX = 10;
    EXPECT_EQ(rig.Calls("ReadPixelsFromLevel").size(), 1u);
    // The view is 20 by 15 at 2, 0. At 16 bits the plane is tested byte by byte, so that byte i belongs to
    // sample i / 2: rows and columns of the document are taken for twice as many.
    rig.ExpectPreview([](int x, int y) {
        const int index = kDocW * (y * 15 / kHeight) + x * 20 / kWidth + 2;
        if (GetParam() == 8) return Selected(index % kDocW, index / kDocW);
        const int sample = index / 2;
        const int value = Selected(sample % kDocW, sample / kDocW) ? kIn16 : kOut16;
        return (index % 2 == 0 ? value & 0xFF : value >> 8) != 0;
    });
    // Past the plane's end: the last byte decides for the whole preview.
    rig.ReadsOf(100, 100, 100);
    EXPECT_EQ(rig.result, 0);
}

TEST_P(Preview, SurvivesWantOfMemoryAndTriesAgain) {
    // previewPixels, previewAlpha, then the twelve planes.
    for (int call = 1; call <= 14; ++call) {
        SCOPED_TRACE(call);
        HostOptions options;
        options.failKindEnabled = true;
        options.failKind = HostCall::kNewBuffer;
        options.failKindAt = call;
        PreviewRig rig(GetParam(), false, options);
        ComposePreview(rig.globals);
        EXPECT_EQ(rig.result, call == 2 ? noErr : memFullErr);
        EXPECT_EQ(CountLive(*rig.host).buffers, call == 1 ? 0 : call == 2 ? 13 : 2);
        EXPECT_EQ(rig.globals->mustReload, call == 2 ? 0 : 1);
        rig.result = 0;
        rig.globals->FlagOutputAlpha = 1;
        ComposePreview(rig.globals);
        EXPECT_EQ(rig.result, 0);
        PSPixelMap map;
        PSPixelMask mask;
        DescribePreview(rig.globals, &map, &mask);
        EXPECT_EQ(map.masks, call == 2 ? nullptr : &mask) << "no alpha, no mask";
        // The strict host takes no null buffer at the end.
        if (call == 2) rig.globals->previewAlpha = NewBuffer(rig.globals, 1);
    }
    PreviewRig wrapped(GetParam());
    wrapped.globals->previewWidth = -4;  // as a wrapped document leaves it
    EXPECT_TRUE(wrapped.Calls("New ").empty());
}

TEST(PreviewRecord, DescribesThePixelsToTheHost) {
    PreviewRig rig(8);
    ComposePreview(rig.globals);
    PSPixelMap map;
    PSPixelMask mask;
    std::memset(&map, 0xA5, sizeof map);
    std::memset(&mask, 0xA5, sizeof mask);
    DescribePreview(rig.globals, &map, &mask);
    EXPECT_EQ(map.version, 2);
    EXPECT_TRUE(map.bounds.top == 3 && map.bounds.left == 5 && map.bounds.bottom == 27 &&
                map.bounds.right == 38);
    EXPECT_TRUE(map.imageMode == 3 && map.rowBytes == 33 && map.colBytes == 1 && map.planeBytes == kCount);
    EXPECT_EQ(map.baseAddr, rig.globals->previewPixels);
    EXPECT_TRUE(map.mat == nullptr && map.masks == nullptr && map.pixelOverlays == nullptr);
    EXPECT_TRUE(map.maskPhaseRow == 0 && map.maskPhaseCol == 0 && map.colorManagementOptions == 0u);
    rig.globals->FlagOutputAlpha = 1;
    DescribePreview(rig.globals, &map, &mask);
    ASSERT_EQ(map.masks, &mask);
    EXPECT_TRUE(mask.next == nullptr && mask.maskData == rig.globals->previewAlpha);
    EXPECT_TRUE(mask.rowBytes == 33 && mask.colBytes == 1 && mask.maskDescription == 0);
}

}  // namespace

// The preview without a window: its geometry against values worked by hand, and its composition against the
// engine run over the same planes.
#include "ui/preview.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "engine/keying.h"
#include "tests/shell_rig.h"
#include "ui/preview_geometry.h"

namespace {

// ---- Geometry ---------------------------------------------------------------------------------------------

// Into an area of 392 by 468 at 5, 4, which leaves 388 by 464 at 7, 6 for the picture.
TEST(PreviewGeometry, FitsByTheTighterSideAndMeasuresFromZero) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const struct {
        VRect bounds;
        float scale;
        int bottom, right;
    } kCases[] = {
        {{0, 0, 800, 1552}, 0.25f, 200, 388},                 // wide
        {{0, 0, 928, 101}, 0.5f, 464, 50},                    // tall, 50.5 cut
        {{0, 0, 58, 97}, 4.0f, 232, 388},                     // small, enlarged
        {{100, 200, 900, 1752}, 0.25f, 225, 438},             // bounds away from 0
        {{-80, -400, 720, 1152}, 0.25f, 180, 288},            // and below it
        {{0, 0, 800, 65536 + 1552}, 0.25f, 200, 16772},       // cut to 16 bits, the width counts as 1552
        {{0, 0, 30000, 40000}, 388.0f / -25536, -455, -607},  // as -25536
        {{0, 0, 65536, 65536}, kInfinity, 0, 0},              // and as none
    };
    for (const auto& c : kCases) {
        Globals globals{};
        Rect rect = {4, 5, 472, 397};
        float scale = 0;
        FitPreview(&globals, c.bounds, &rect, &scale);
        EXPECT_EQ(globals.mustReload, 1);
        EXPECT_EQ(scale, c.scale);
        EXPECT_TRUE(rect.top == 6 && rect.left == 7);
        EXPECT_EQ(rect.bottom, c.bottom);
        EXPECT_EQ(rect.right, c.right);
        EXPECT_EQ(globals.previewHeight, c.bottom - 6);
        EXPECT_EQ(globals.previewWidth, c.right - 7);
    }
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
    const DialogSize dialog{600, 400}, small{500, 300}, screen{1920, 1080};
    const auto expectAt = [&](const VRect& parent, const DialogSize& on, int x, int y) {
        const VPoint corner = DialogCorner(parent, dialog, on, 14);
        EXPECT_EQ(corner.h, x);
        EXPECT_EQ(corner.v, y);
    };
    expectAt({100, 50, 1001, 1251}, screen, 50 + 300 - 14, 100 + 167);  // half across, a third down
    expectAt({100, 50, 400, 350}, screen, 50 - 14, 100);                // larger than its parent
    expectAt({900, 1700, 1000, 1900}, screen, 1320, 680);               // held at the far edges
    expectAt({-300, -900, 0, 0}, screen, -900 + 150 - 14, -300);        // and not at the near ones
    expectAt({0, 0, 100, 100}, small, 0, 0);                            // larger than the screen
}

// ---- Composition -----------------------------------------------------------------------------------------

constexpr std::int32_t kDocW = 40, kDocH = 30, kWidth = 33, kHeight = 24, kCount = kWidth * kHeight;

// The document's selection: all but the upper left part. At 16 bits one byte of each sample is 0 either way.
int SelectionAt(int x, int y, int depth) {
    const bool selected = x >= 10 || y >= 12;
    return depth == 8 ? selected * 255 : selected ? 0x8000 : 1;
}

Document PreviewedDocument(int depth, bool selected) {
    Document document = GreenDocument(kDocW, kDocH, depth, 2);
    if (!selected) return document;
    document.selection = MakeChannel(document, 0);
    for (int i = 0; i < kDocW * kDocH; ++i) {
        const int x = i % kDocW, y = i / kDocW;
        SetSample(document, *document.selection, x, y, static_cast<std::uint16_t>(SelectionAt(x, y, depth)));
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
    }
    ~PreviewRig() { ReleasePreviewBuffers(globals); }

    // The calls of this name that a composition makes.
    std::vector<std::string> Calls(const std::string& name) {
        std::vector<std::string> calls;
        OptionsOf(*host).trace = [&](const std::string& line) {
            if (line.compare(0, name.size(), name) == 0) calls.push_back(line);
        };
        ComposePreview(globals);
        OptionsOf(*host).trace = nullptr;
        return calls;
    }
    void SetView(int zoom, int scrollX, int scrollY) {
        globals->previewZoom = zoom;
        globals->previewScrollX = scrollX;
        globals->previewScrollY = scrollY;
        globals->mustReload = 1;
    }
    int At(const std::uint8_t* plane, int i) const {
        return globals->depthBytes == 1 ? plane[i] : reinterpret_cast<const std::uint16_t*>(plane)[i] & 0xFF;
    }
    // The preview against the planes as they stand now, with `chosen` for the selection.
    template <typename Chosen>
    void ExpectPreview(Chosen chosen) {
        const std::uint8_t* const out[] = {globals->outR, globals->outG, globals->outB};
        const std::uint8_t* const top[] = {globals->topR, globals->topG, globals->topB};
        int differences = 0, keyed = 0;
        for (int i = 0; i < kCount; ++i) {
            const auto* const shown = chosen(i % kWidth, i / kWidth) ? out : top;
            for (int c = 0; c < 3; ++c) {
                differences += globals->previewPixels[c * kCount + i] != At(shown[c], i);
            }
            differences += globals->previewAlpha[i] != At(globals->outA, i);
            keyed += At(out[0], i) != At(top[0], i);
        }
        EXPECT_EQ(differences, 0);
        EXPECT_GT(keyed, kCount / 4) << "the engine has not changed the picture";
    }
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
    EXPECT_EQ(rig.result | globals.mustAnalyse | globals.mustReload, 0);
    EXPECT_EQ(globals.maxSample, 255);
    rig.ExpectPreview([](int, int) { return true; });

    // The same planes through the engine once more, by hand.
    const std::vector<std::uint8_t> before(globals.previewPixels, globals.previewPixels + kCount);
    AnalyseBackdrop(&globals);
    KeyPicture(&globals);
    for (int i = 0; i < kCount; ++i) ASSERT_EQ(before[i], rig.At(globals.outR, i)) << i;
    globals.SliderRemoveGreen = 120;
    EXPECT_TRUE(rig.Calls("Read").empty()) << "an unchanged view costs no read";
    rig.ExpectPreview([](int, int) { return true; });
    EXPECT_NE(0, std::memcmp(before.data(), globals.previewPixels, kCount));
}

TEST_P(Preview, ReadsTheViewThatZoomAndScrollSelect) {
    PreviewRig rig(GetParam());
    ComposePreview(rig.globals);
    const double mean = rig.globals->backdropMeanG;
    rig.SetView(33, 50, 25);
    const std::vector<std::string> reads = rig.Calls("ReadScaledPixels");
    EXPECT_EQ(reads.size(), 7u);
    // Spans of 20 and 26; 10 * 25 / 100 and 14 * 50 / 100.
    for (const std::string& line : reads) EXPECT_NE(line.find("source (2 7 22 33)"), line.npos) << line;
    EXPECT_EQ(rig.globals->backdropMeanG, mean) << "a new view is not analysed";
}

TEST_P(Preview, LeavesThePhotographOutsideTheSelection) {
    PreviewRig rig(GetParam(), true);
    rig.SetView(50, 10, 0);
    EXPECT_EQ(rig.Calls("ReadPixelsFromLevel").size(), 1u);
    // The view is 20 by 15 at 2, 0. At 16 bits the plane is tested byte by byte, so that byte i belongs to
    // sample i / 2: rows and columns of the document are taken for twice as many.
    rig.ExpectPreview([](int x, int y) {
        const int byte = kDocW * (y * 15 / kHeight) + x * 20 / kWidth + 2;
        const int bytes = GetParam() / 8, sample = byte / bytes;
        const int value = SelectionAt(sample % kDocW, sample / kDocW, GetParam());
        return (value >> byte % bytes * 8 & 0xFF) != 0;
    });
    // Past the plane's end: the last byte decides for the whole preview.
    rig.SetView(100, 100, 100);
    ComposePreview(rig.globals);
    EXPECT_EQ(rig.result, 0);
}

TEST_P(Preview, SurvivesWantOfMemoryAndTriesAgain) {
    // previewPixels, previewAlpha, then the twelve planes.
    for (int call = 1; call <= 14; ++call) {
        SCOPED_TRACE(call);
        const bool lacksAlpha = call == 2;
        PreviewRig rig(GetParam(), false, FailingAt(HostCall::kNewBuffer, call));
        ComposePreview(rig.globals);
        EXPECT_EQ(rig.result, lacksAlpha ? noErr : memFullErr);
        EXPECT_EQ(CountLive(*rig.host).buffers, call == 1 ? 0 : lacksAlpha ? 13 : 2);
        EXPECT_EQ(rig.globals->mustReload, !lacksAlpha);
        rig.result = 0;
        rig.globals->FlagOutputAlpha = 1;
        ComposePreview(rig.globals);
        EXPECT_EQ(rig.result, 0);
        PSPixelMap map;
        PSPixelMask mask;
        DescribePreview(rig.globals, &map, &mask);
        EXPECT_EQ(map.masks, lacksAlpha ? nullptr : &mask) << "no alpha, no mask";
        // The strict host takes no null buffer at the end.
        if (lacksAlpha) rig.globals->previewAlpha = NewBuffer(rig.globals, 1);
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
    EXPECT_TRUE(map.version == 2 && map.imageMode == 3 && map.baseAddr == rig.globals->previewPixels);
    EXPECT_TRUE(map.bounds.top == 3 && map.bounds.left == 5 && map.bounds.bottom == 27 &&
                map.bounds.right == 38);
    EXPECT_TRUE(map.rowBytes == 33 && map.colBytes == 1 && map.planeBytes == kCount);
    EXPECT_TRUE(map.mat == nullptr && map.masks == nullptr && map.pixelOverlays == nullptr &&
                map.maskPhaseRow == 0 && map.maskPhaseCol == 0 && map.colorManagementOptions == 0u);
    rig.globals->FlagOutputAlpha = 1;
    DescribePreview(rig.globals, &map, &mask);
    ASSERT_EQ(map.masks, &mask);
    EXPECT_TRUE(mask.next == nullptr && mask.maskData == rig.globals->previewAlpha);
    EXPECT_TRUE(mask.rowBytes == 33 && mask.colBytes == 1 && mask.maskDescription == 0);
}

}  // namespace

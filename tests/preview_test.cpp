// The preview without a window: its geometry against values worked by hand, and its composition against the
// engine run over the same planes.
#include "ui/preview.h"

#include <cstring>
#include <limits>
#include <sstream>

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
        EXPECT_TRUE(globals.mustReload == 1 && scale == c.scale && rect.top == 6 && rect.left == 7 &&
                    rect.bottom == c.bottom && rect.right == c.right &&
                    globals.previewHeight == c.bottom - 6 && globals.previewWidth == c.right - 7)
            << "for " << c.bounds.bottom << " by " << c.bounds.right;
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

// The selection is all but the upper left part. At 16 bits one byte of each sample is 0 either way, and the
// preview tests bytes: it takes the document's rows for twice as long.
Document PreviewedDocument(int depth, bool selected) {
    Document document = GreenDocument(kDocW, kDocH, depth, 2);
    if (!selected) return document;
    document.selection = MakeChannel(document, depth == 8 ? 255 : 0x8000);
    for (int i = 0; i < 120; ++i) SetSample(document, *document.selection, i % 10, i / 10, depth == 16);
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
    ~PreviewRig() {
        // The strict host takes no null buffer at the end.
        if (globals->previewAlpha == nullptr && globals->previewPixels != nullptr)
            globals->previewAlpha = NewBuffer(globals, 1);
        ReleasePreviewBuffers(globals);
    }

    void SetView(int zoom, int scrollX, int scrollY) {
        globals->previewZoom = zoom;
        globals->previewScrollX = scrollX;
        globals->previewScrollY = scrollY;
        globals->mustReload = 1;
    }
    // Composes, and tells what came of it: the result cell, the requests left, the pixels and the backdrop.
    std::string Compose(const char* what) {
        try {
            ComposePreview(globals);
        } catch (const HeapFailure& failure) {
            result = failure.code;
        }
        std::ostringstream line;
        ByteHash pixels, alpha;
        if (globals->previewPixels != nullptr) pixels.Add(globals->previewPixels, 3 * kCount);
        if (globals->previewAlpha != nullptr) alpha.Add(globals->previewAlpha, kCount);
        line << what << " -> " << result << ", reload " << int{globals->mustReload} << ", analyse "
             << int{globals->mustAnalyse} << ", pixels " << std::hex << pixels.value << ", alpha "
             << alpha.value << std::dec << ", buffers " << CountLive(*host).buffers << ", green "
             << static_cast<int>(globals->backdropMeanG * 100) << ", of " << globals->maxSample;
        return line.str();
    }
};

// One session of compositions: what each asks of the host, and what it shows.
TEST(Preview, IsComposedAsItsTraceSays) {
    Trace trace;
    for (int depth : {8, 16}) {
        for (bool selected : {false, true}) {
            trace.Begin(std::to_string(depth) + (selected ? " bits, with a selection" : " bits"));
            PreviewRig rig(depth, selected, trace.Listen());
            trace.Add(rig.Compose("opened"));
            rig.globals->SliderRemoveGreen = 120;
            trace.Add(rig.Compose("a slider moved"));
            rig.SetView(33, 50, 25);
            trace.Add(rig.Compose("zoomed"));
            rig.SetView(100, 100, 100);
            trace.Add(rig.Compose("at full zoom in the far corner"));
            rig.SetView(50, 10, 0);
            trace.Add(rig.Compose("at the selection's edge"));
            rig.globals->previewWidth = -4;
            trace.Add(rig.Compose("wrapped"));
            rig.globals->previewWidth = kWidth;
        }
    }
    EXPECT_TRUE(MatchesTrace(trace.text, "preview"));
}

// Each call of the host fails once. The code stays in the result cell, as in the dialog, so that the next
// compositions read no colours: they show nothing that the document does not hold.
TEST(Preview, SurvivesTheFailureOfAnyCall) {
    Trace table;
    for (int call = 6;; ++call) {  // the first five make the rig
        bool hasFailed = false;
        std::string texts[2];
        for (const std::uint8_t fill : {0x00, 0xA5}) {
            HostOptions options;
            options.failAt = call;
            options.fillByte = fill;
            PreviewRig rig(8, true, options);
            std::string& text = texts[fill != 0];
            text = std::to_string(call) + ' ' + rig.Compose("failing");
            rig.SetView(33, 50, 25);
            text += '\n' + rig.Compose("  zoomed");
            rig.globals->FlagOutputAlpha = 1;
            PSPixelMap map;
            PSPixelMask mask;
            DescribePreview(rig.globals, &map, &mask);
            text += map.masks == nullptr ? ", no mask" : "";
            hasFailed = !ReportOf(*rig.host).failures.empty();
        }
        EXPECT_EQ(texts[0], texts[1]) << "the host's own memory shows";
        table.Add(texts[0]);
        if (!hasFailed) break;
    }
    EXPECT_TRUE(MatchesTrace(table.text, "failing_preview"));
}

TEST(Preview, IsDescribedToTheHost) {
    PreviewRig rig(8);
    ComposePreview(rig.globals);
    PSPixelMap map;
    PSPixelMask mask;
    std::memset(&map, 0xA5, sizeof map);
    std::memset(&mask, 0xA5, sizeof mask);
    DescribePreview(rig.globals, &map, &mask);
    EXPECT_TRUE(map.version == 2 && map.imageMode == 3 && map.baseAddr == rig.globals->previewPixels &&
                map.bounds.top == 3 && map.bounds.left == 5 && map.bounds.bottom == 27 &&
                map.bounds.right == 38 && map.rowBytes == 33 && map.colBytes == 1 &&
                map.planeBytes == kCount && map.mat == nullptr && map.masks == nullptr &&
                map.pixelOverlays == nullptr && map.maskPhaseRow == 0 && map.maskPhaseCol == 0 &&
                map.colorManagementOptions == 0u);
    rig.globals->FlagOutputAlpha = 1;
    DescribePreview(rig.globals, &map, &mask);
    ASSERT_EQ(map.masks, &mask);
    EXPECT_TRUE(mask.next == nullptr && mask.maskData == rig.globals->previewAlpha && mask.rowBytes == 33 &&
                mask.colBytes == 1 && mask.maskDescription == 0);
}

}  // namespace

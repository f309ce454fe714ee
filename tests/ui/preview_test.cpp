// The preview without a window: its geometry, compared with values calculated by hand, and its composition.
#include "ui/preview.h"

#include <cstring>
#include <sstream>

#include "support/checked_heap.h"
#include "tests/support/test_shell.h"
#include "ui/preview_geometry.h"

namespace {

using namespace test_support;

// ---- Geometry ---------------------------------------------------------------------------------------------

template <class Rectangle>
Rectangle ReadRectangle(std::istream& words) {
    Rectangle r;
    words >> r.top >> r.left >> r.bottom >> r.right;
    return r;
}

// The values in the trace were calculated by hand.
TEST(PreviewGeometry, MatchesItsTrace) {
    Trace trace;
    const auto addLine = [&trace](const std::string& word, std::istream& words) {
        std::ostringstream line;
        const auto area = ReadRectangle<VRect>(words);
        if (word == "fit") {  // the document's bounds, in an area whose inner part is 388 by 464 at 7, 6
            Globals globals{};
            Rect rect = {4, 5, 472, 397};
            float scale = 0;
            FitPreview(&globals, area, &rect, &scale);
            std::uint32_t bits = 0;
            std::memcpy(&bits, &scale, sizeof bits);
            line << rect.top << ' ' << rect.left << ' ' << rect.bottom << ' ' << rect.right << ", "
                 << globals.previewHeight << " by " << globals.previewWidth << ", scale " << std::hex << bits
                 << ", reload " << int{globals.mustReload};
        } else if (word == "centre") {  // in a placeholder: the window's corner, the preview
            VPoint corner;
            words >> corner.v >> corner.h;
            const Rect at = PreviewDestination(area, corner, ReadRectangle<Rect>(words));
            line << at.top << ' ' << at.left << ' ' << at.bottom << ' ' << at.right;
        } else {  // a dialog of 600 by 400 over its parent: the screen's size
            DialogSize screen;
            words >> screen.width >> screen.height;
            const VPoint corner = DialogPosition(area, {600, 400}, screen, 14);
            line << corner.h << ' ' << corner.v;
        }
        trace.Add(line.str());
    };
    EXPECT_TRUE(trace.Follow("ui/preview_geometry", addLine));
    EXPECT_EQ(DialogLeftShift(20, true), 20);
    EXPECT_EQ(DialogLeftShift(20, false), 14);
}

// ---- Composition -----------------------------------------------------------------------------------------

constexpr std::int32_t kDocW = 40, kDocH = 30, kWidth = 33, kHeight = 24, kCount = kWidth * kHeight;

// The selection is all but the upper left part. The preview tests bytes of the selection at both depths: at
// 16 bits one byte of each sample is 0 in any case, and rows count as twice as long.
Document PreviewedDocument(int depth, bool selected) {
    Document document = GreenDocument(kDocW, kDocH, depth, 2);
    if (!selected) return document;
    document.selection = MakeChannel(document, depth == 8 ? 255 : 0x8000);
    for (int i = 0; i < 120; ++i) SetSample(document, *document.selection, i % 10, i / 10, depth == 16);
    return document;
}

// A document of 40 by 30, with the state of a dialog that opens and a preview of 33 by 24.
struct TestPreview : TestShell {
    explicit TestPreview(int depth, bool selected = false, HostOptions options = {})
        : TestShell(PreviewedDocument(depth, selected), std::move(options)) {
        globals->proxyRect = {3, 5, 3 + kHeight, 5 + kWidth};
        globals->previewWidth = kWidth;
        globals->previewHeight = kHeight;
        globals->finalRender = 1;  // from an earlier run
    }
    ~TestPreview() {
        // The strict host refuses a null buffer.
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
    // Composes and describes the result: the result cell, the flags, hashes of the pixels and the backdrop.
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

TEST(Preview, CompositionsMatchTheirTrace) {
    Trace trace;
    for (int depth : {8, 16}) {
        for (bool selected : {false, true}) {
            trace.Begin(std::to_string(depth) + (selected ? " bits, with a selection" : " bits"));
            TestPreview preview(depth, selected, trace.Listen());
            trace.Add(preview.Compose("opened"));
            preview.globals->SliderRemoveGreen = 120;
            trace.Add(preview.Compose("a slider moved"));
            preview.SetView(33, 50, 25);
            trace.Add(preview.Compose("zoomed"));
            preview.SetView(100, 100, 100);
            trace.Add(preview.Compose("at full zoom in the far corner"));
            preview.SetView(50, 10, 0);
            trace.Add(preview.Compose("at the selection's edge"));
            preview.globals->previewWidth = -4;
            trace.Add(preview.Compose("wrapped"));
            preview.globals->previewWidth = kWidth;
        }
    }
    EXPECT_TRUE(MatchesTrace(trace.text, "ui/preview"));
}

// Each call of the host fails once. The code stays in the result cell, as in the dialog, so the next
// compositions read no colours. They must not show uninitialised memory.
TEST(Preview, SurvivesTheFailureOfAnyCall) {
    Trace table;
    for (int call = 6;; ++call) {  // the first five create the state
        bool hasFailed = false;
        std::string texts[2];
        for (const std::uint8_t fill : {0x00, 0xA5}) {
            HostOptions options;
            options.failAt = call;
            options.fillByte = fill;
            TestPreview preview(8, true, options);
            std::string& text = texts[fill != 0];
            text = std::to_string(call) + ' ' + preview.Compose("failing");
            preview.SetView(33, 50, 25);
            text += '\n' + preview.Compose("  zoomed");
            preview.globals->FlagOutputAlpha = 1;
            PSPixelMap map;
            PSPixelMask mask;
            DescribePreview(preview.globals, &map, &mask);
            text += map.masks == nullptr ? ", no mask" : "";
            hasFailed = !ReportOf(*preview.host).failures.empty();
        }
        EXPECT_EQ(texts[0], texts[1]) << "uninitialised memory is visible";
        table.Add(texts[0]);
        if (!hasFailed) break;
    }
    EXPECT_TRUE(MatchesTrace(table.text, "ui/failing_calls_in_preview"));
}

TEST(Preview, GivesTheHostItsPixelMap) {
    TestPreview preview(8);
    preview.globals->docInfo->targetCompositeChannels->next =
        nullptr;  // the preview has three planes even so
    ComposePreview(preview.globals);
    PSPixelMap map;
    PSPixelMask mask;
    std::memset(&map, 0xA5, sizeof map);
    std::memset(&mask, 0xA5, sizeof mask);
    DescribePreview(preview.globals, &map, &mask);
    EXPECT_TRUE(map.version == 2 && map.imageMode == 3 && map.baseAddr == preview.globals->previewPixels &&
                map.bounds.top == 3 && map.bounds.left == 5 && map.bounds.bottom == 27 &&
                map.bounds.right == 38 && map.rowBytes == 33 && map.colBytes == 1 &&
                map.planeBytes == kCount && map.mat == nullptr && map.masks == nullptr &&
                map.pixelOverlays == nullptr && map.maskPhaseRow == 0 && map.maskPhaseCol == 0 &&
                map.colorManagementOptions == 0u);
    preview.globals->FlagOutputAlpha = 1;
    DescribePreview(preview.globals, &map, &mask);
    ASSERT_EQ(map.masks, &mask);
    EXPECT_TRUE(mask.next == nullptr && mask.maskData == preview.globals->previewAlpha &&
                mask.rowBytes == 33 && mask.colBytes == 1 && mask.maskDescription == 0);
}

}  // namespace

// The dialog in a real window: controls, costs, pixels and ways out, driven through the built module.
#include <windows.h>

#include <commctrl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "engine/keying.h"
#include "support/checked_heap.h"
#include "tests/dialog_driver.h"
#include "ui/dialog_ids.h"
#include "ui/preview_geometry.h"

namespace {

// A plate with an uneven green backdrop, a reddish subject and a soft edge, over a lively background; at 16
// bits the same picture on the larger scale.
Document MakePlate(int width, int height, int depth, std::int32_t top = 0, std::int32_t left = 0) {
    Document document = MakeDocument(width, height, depth);
    document.bounds = {top, left, top + height, left + width};
    document.layers = {MakeLayer(document, "background", 0), MakeLayer(document, "photo", 0)};
    document.targetLayer = 1;
    const double unit = depth == 8 ? 1 : kHostMaxSample16 / 255.0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double dx = (x + 0.5) / width - 0.45, dy = (y + 0.5) / height - 0.5;
            const double subject = std::clamp((0.1 - dx * dx - dy * dy) * 30, 0.0, 1.0);
            const int wobble = (x * 7 + y * 13) % 11;
            const double photo[] = {30 + 150 * subject + wobble, 180 - 90 * subject + wobble + 20 * dx,
                                    40 + 30 * subject + wobble};
            const double background[] = {200.0 - wobble * 5, 120.0 + (x / 8 % 2) * 60,
                                         60.0 + (y / 8 % 2) * 90};
            for (std::size_t c = 0; c < 3; ++c) {
                const auto put = [&](int layer, double sample) {
                    SetSample(document, document.layers[layer].colour[c], x, y,
                              static_cast<std::uint16_t>(sample * unit));
                };
                put(0, background[c]);
                put(1, photo[c]);
            }
        }
    }
    return document;
}

// ---- The engine over the planes that the module's record holds --------------------------------------------

SPErr AllocateBlock(std::size_t size, void** block) {
    *block = std::malloc(size);
    return 0;
}

SPErr FreeBlock(void* block) {
    std::free(block);
    return 0;
}

// A copy of the record with planes of its own, which this process's own engine keys.
class Replica {
  public:
    explicit Replica(DialogRun& run) { Follow(run); }

    void Follow(DialogRun& run) {
        broker_.AllocateBlock = AllocateBlock;
        broker_.FreeBlock = FreeBlock;
        gSPBasicSuite = &broker_;
        const double means[] = {globals_.backdropMeanR, globals_.backdropMeanG, globals_.backdropMeanB};
        globals_ = run.State();
        globals_.backdropMeanR = means[0];
        globals_.backdropMeanG = means[1];
        globals_.backdropMeanB = means[2];
        document_ = *globals_.docInfo;
        globals_.docInfo = &document_;
        const std::size_t bytes = Pixels() * globals_.depthBytes;
        const std::size_t whole = static_cast<std::size_t>(WidthOf(document_.bounds)) *
                                  HeightOf(document_.bounds) * globals_.depthBytes;
        for (int i = 0; i < kPlaneCount; ++i) {
            const std::uint8_t* plane = globals_.*kPlanes[i];
            planes_[i].assign(plane, plane + (kPlanes[i] == &Globals::selectionPlane ? whole : bytes));
            globals_.*kPlanes[i] = planes_[i].data();
            globals_.*kPlanes16[i] = reinterpret_cast<std::uint16_t*>(planes_[i].data());
        }
    }

    void Analyse() { AnalyseBackdrop(&globals_); }

    // What displayPixels is to get: three planes, and the alpha behind them.
    std::vector<std::uint8_t> Keyed() {
        KeyPicture(&globals_);
        std::vector<std::uint8_t> bytes;
        using Plane = std::uint8_t* Globals::*;
        const Plane out[] = {&Globals::outR, &Globals::outG, &Globals::outB};
        const Plane top[] = {&Globals::topR, &Globals::topG, &Globals::topB};
        for (int c = 0; c < 3; ++c) {
            for (std::size_t i = 0; i < Pixels(); ++i) bytes.push_back(At(Selected(i) ? out[c] : top[c], i));
        }
        for (std::size_t i = 0; i < Pixels(); ++i) bytes.push_back(At(&Globals::outA, i));
        return bytes;
    }

  private:
    std::size_t Pixels() const {
        return static_cast<std::size_t>(globals_.planeWidth) * globals_.planeHeight;
    }
    std::uint8_t At(std::uint8_t* Globals::*plane, std::size_t i) const {
        return (globals_.*plane)[i * globals_.depthBytes];
    }
    bool Selected(std::size_t i) const {
        if (document_.selection == nullptr) return true;
        const int docW = WidthOf(document_.bounds), docH = HeightOf(document_.bounds);
        const int x = static_cast<int>(i) % globals_.planeWidth,
                  y = static_cast<int>(i) / globals_.planeWidth;
        const int spanW = (100 - globals_.previewZoom) * docW / 100;
        const int spanH = (100 - globals_.previewZoom) * docH / 100;
        const int sx = x * spanW / globals_.planeWidth + (docW - spanW) * globals_.previewScrollX / 100;
        const int sy = y * spanH / globals_.planeHeight + (docH - spanH) * globals_.previewScrollY / 100;
        return planes_[4][static_cast<std::size_t>(docW) * sy + sx] != 0;
    }

    SPBasicSuite broker_{};
    ReadImageDocumentDesc document_{};
    std::vector<std::uint8_t> planes_[kPlaneCount];
    Globals globals_{};
};

void ExpectPainted(const DisplayCall& call, const std::vector<std::uint8_t>& expected) {
    ASSERT_EQ(call.pixels.size(), expected.size() / 4 * 3);
    const auto at = std::mismatch(call.pixels.begin(), call.pixels.end(), expected.begin());
    EXPECT_EQ(at.first - call.pixels.begin(), static_cast<std::ptrdiff_t>(call.pixels.size()))
        << "is " << int{*at.first} << ", not " << int{*at.second};
    if (!call.maskBytes.empty()) {
        EXPECT_TRUE(std::equal(call.maskBytes.begin(), call.maskBytes.end(),
                               expected.begin() + static_cast<std::ptrdiff_t>(call.pixels.size())));
    }
}

std::vector<std::string> ScaledReads(const std::vector<std::string>& trace) {
    std::vector<std::string> lines;
    for (const std::string& line : trace) {
        if (line.compare(0, 16, "ReadScaledPixels") == 0) lines.push_back(line);
    }
    return lines;
}

constexpr Costs kKeyed = {0, 1, 0};
constexpr Costs kReloaded = {6, 1, 0};  // the plates have no transparency: six channels

// ---- Opening ----------------------------------------------------------------------------------------------

TEST(Dialog, OpensOverTheHostWithEveryControlInItsPlace) {
    DialogRun run(MakePlate(300, 200, 8));
    const std::pair<int, int> sliders[] = {{1006, 40}, {1007, 20},  {1008, 100}, {1009, 100},
                                           {1010, 70}, {1011, 100}, {1021, 0}};
    for (const auto& [id, position] : sliders) {
        EXPECT_EQ(Send(run.Control(id), TBM_GETRANGEMIN), 0) << id;
        EXPECT_EQ(Send(run.Control(id), TBM_GETRANGEMAX), id == 1021 ? 100 : 200) << id;
        EXPECT_EQ(Send(run.Control(id), TBM_GETPOS), position) << id;
    }
    for (const int id : {1022, 1023}) {
        int low = -1, high = -1;
        GetScrollRange(run.Control(id), SB_CTL, &low, &high);
        EXPECT_TRUE(low == 0 && high == 100) << id;
        EXPECT_EQ(Send(run.Control(id), SBM_GETPOS), 0) << id;
    }
    for (const int id : {1013, 1014, 1015, 1016, 1018}) {
        EXPECT_EQ(Send(run.Control(id), BM_GETCHECK), id == 1013 ? BST_CHECKED : BST_UNCHECKED) << id;
    }
    EXPECT_FALSE(IsWindowVisible(run.Control(kIdHelp)));
    EXPECT_FALSE(IsWindowVisible(run.Control(kIdPreview)));
    EXPECT_FALSE(IsWindowEnabled(run.MainWindow())) << "the dialog is modal";

    RECT client{};
    GetClientRect(run.MainWindow(), &client);
    POINT corner{};
    ClientToScreen(run.MainWindow(), &corner);
    const RECT at = RectOf(run.Window());
    const VPoint expected =
        DialogCorner({corner.y, corner.x, corner.y + client.bottom, corner.x + client.right},
                     {at.right - at.left, at.bottom - at.top},
                     {GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)},
                     DialogInset(GetSystemMetrics(SM_CXSIZE), false));
    EXPECT_EQ(at.left, expected.h);
    EXPECT_EQ(at.top, expected.v);

    EXPECT_EQ(run.OpeningCosts(), (Costs{6, 1, 1}));
    run.Cancel();
    EXPECT_EQ(ViolationText(run.TheHost()), "");
}

// The assembly that window classes of this name come from, on the calling thread; empty without one.
std::string AssemblyOfClass(const char* name) {
    ACTCTX_SECTION_KEYED_DATA found{};
    found.cbSize = sizeof found;
    if (!FindActCtxSectionStringA(FIND_ACTCTX_SECTION_KEY_RETURN_HACTCTX, nullptr,
                                  ACTIVATION_CONTEXT_SECTION_WINDOW_CLASS_REDIRECTION, name, &found)) {
        return {};
    }
    alignas(ACTIVATION_CONTEXT_ASSEMBLY_DETAILED_INFORMATION) char details[4096] = {};
    QueryActCtxW(0, found.hActCtx, &found.ulAssemblyRosterIndex,
                 AssemblyDetailedInformationInActivationContext, details, sizeof details, nullptr);
    ReleaseActCtx(found.hActCtx);
    const auto* identity = reinterpret_cast<ACTIVATION_CONTEXT_ASSEMBLY_DETAILED_INFORMATION*>(details)
                               ->lpAssemblyEncodedAssemblyIdentity;
    std::string text;
    for (; identity != nullptr && *identity != 0; ++identity) text += static_cast<char>(*identity);
    return text;
}

// The module's manifest asks for version 6 of the common controls, and its context is active while the dialog
// lives, in a process that has no manifest. (Wine gives both versions from one library, so that the library
// of the class tells nothing there.)
TEST(Dialog, BringsItsOwnCommonControls) {
    std::mutex guard;
    std::string inDialog;
    HostOptions options;
    options.displayed = [&](const DisplayCall&) {
        const std::lock_guard<std::mutex> lock(guard);
        inDialog = AssemblyOfClass(TRACKBAR_CLASSA);
    };
    DialogRun run(MakePlate(30, 20, 8), options);
    const std::lock_guard<std::mutex> lock(guard);
    EXPECT_NE(inDialog.find("Microsoft.Windows.Common-Controls"), std::string::npos) << inDialog;
    EXPECT_NE(inDialog.find("version=\"6.0."), std::string::npos) << inDialog;
    EXPECT_EQ(AssemblyOfClass(TRACKBAR_CLASSA), "");
}

// ---- Controls ---------------------------------------------------------------------------------------------

TEST(Dialog, EverySliderSetsItsFieldAndKeysOnce) {
    DialogRun run(MakePlate(300, 200, 8));
    const std::pair<int, std::int32_t Globals::*> sliders[] = {
        {1006, &Globals::SliderRemoveGreen}, {1007, &Globals::SliderRestoreBlack},
        {1008, &Globals::SliderAlterGreen},  {1009, &Globals::SliderSelectTransp},
        {1010, &Globals::SliderScaleTransp}, {1011, &Globals::SliderAdjBGLevel}};
    int position = 11;
    for (const auto& [id, field] : sliders) {
        EXPECT_EQ(run.CostsOf([&, id = id] { run.SetSlider(id, position); }), kKeyed) << id;
        EXPECT_EQ(run.State().*field, position) << id;
        position += 13;
    }
    position = 11;
    for (const auto& [id, field] : sliders) {
        EXPECT_EQ(run.State().*field, position) << id << " has changed another's field";
        position += 13;
    }

    // By hand: keys step and jump, the mouse drags. Whatever the notification, each is keyed.
    run.PressKeyOn(1006, VK_END);
    EXPECT_EQ(run.State().SliderRemoveGreen, 200);
    run.PressKeyOn(1006, VK_LEFT);
    EXPECT_EQ(run.State().SliderRemoveGreen, 199);
    run.PressKeyOn(1006, VK_HOME);
    EXPECT_EQ(run.State().SliderRemoveGreen, 0);
    EXPECT_GE(run.CostsOf([&] { run.DragThumb(1006, 60); }).keyings, 2) << "the move and the release";
    EXPECT_GT(run.State().SliderRemoveGreen, 20);
    EXPECT_EQ(run.State().SliderRemoveGreen, Send(run.Control(1006), TBM_GETPOS));
}

TEST(Dialog, EveryCheckBoxTogglesItsField) {
    DialogRun run(MakePlate(300, 200, 8));
    const std::pair<int, std::uint8_t Globals::*> boxes[] = {{1013, &Globals::FlagRealityInteg},
                                                             {1014, &Globals::FlagShowSelect},
                                                             {1016, &Globals::FlagOrgPhoto},
                                                             {1018, &Globals::FlagOutputAlpha},
                                                             {1015, &Globals::FlagBlueLogic}};
    for (const auto& [id, field] : boxes) {
        const Costs expected = {0, 1, id == 1015};
        for (int click = 0; click < 2; ++click) {
            const int before = run.State().*field;
            EXPECT_EQ(run.CostsOf([&, id = id] { run.ClickButton(id); }), expected) << id;
            EXPECT_EQ(run.State().*field, 1 - before) << id;
            EXPECT_EQ(Send(run.Control(id), BM_GETCHECK), 1 - before) << id;
        }
    }
    // A box that disagrees with its field takes the field's state.
    Send(run.Control(1014), BM_SETCHECK, BST_CHECKED);
    run.ClickButton(1014);
    EXPECT_EQ(run.State().FlagShowSelect, 1);
    EXPECT_EQ(Send(run.Control(1014), BM_GETCHECK), BST_CHECKED);
    // Only a click counts.
    const auto notify = [&] {
        Send(run.Window(), WM_COMMAND, MAKEWPARAM(1013, BN_SETFOCUS),
             reinterpret_cast<LPARAM>(run.Control(1013)));
    };
    EXPECT_EQ(run.CostsOf(notify), Costs{});
    EXPECT_EQ(run.State().FlagRealityInteg, 1);
}

TEST(Dialog, EveryChangeRepaintsByItself) {
    DialogRun run(MakePlate(300, 200, 8));
    run.AwaitRepaintBy([&] { run.SetSlider(kIdScaleTransp, 90); });
    run.AwaitRepaintBy([&] { run.ClickButton(kIdShowSelect); });
    run.AwaitRepaintBy([&] { run.SetSlider(kIdZoom, 20); });
    run.AwaitRepaintBy([&] { run.MoveScrollBar(kIdScrollY, SB_LINEDOWN, 0); });
    run.AwaitRepaintBy([&] { run.ClickButton(kIdReset); });
}

TEST(Dialog, ZoomAndScrollReadTheirPartOfTheDocument) {
    DialogRun run(MakePlate(400, 200, 8));
    const auto readsOf = [&](const std::function<void()>& doing) { return ScaledReads(run.TraceOf(doing)); };
    const auto expectView = [](const std::vector<std::string>& reads, const std::string& view) {
        ASSERT_EQ(reads.size(), 6u);
        for (const std::string& line : reads) EXPECT_NE(line.find(view), std::string::npos) << line;
    };
    Replica replica(run);
    replica.Analyse();

    EXPECT_EQ(run.CostsOf([&] { run.SetSlider(kIdZoom, 50); }), kReloaded);
    expectView(readsOf([&] { run.SetSlider(kIdZoom, 60); }), "source (0 0 80 160)");
    expectView(readsOf([&] { run.MoveScrollBar(kIdScrollX, SB_THUMBTRACK, 100); }), "source (0 240 80 400)");
    expectView(readsOf([&] { run.MoveScrollBar(kIdScrollY, SB_THUMBPOSITION, 25); }),
               "source (30 240 110 400)");
    EXPECT_EQ(run.State().previewScrollX, 100);
    EXPECT_EQ(run.State().previewScrollY, 25);
    EXPECT_EQ(Send(run.Control(kIdScrollX), SBM_GETPOS), 100);
    EXPECT_EQ(Send(run.Control(kIdScrollY), SBM_GETPOS), 25);
    EXPECT_EQ(run.CostsOf([&] { run.MoveScrollBar(kIdScrollY, SB_THUMBTRACK, 30); }), kReloaded);

    // Keyed with the backdrop of the view in which the analysis ran, which was the whole picture.
    const DisplayCall zoomed = run.PaintedAfter([] {});
    replica.Follow(run);
    ExpectPainted(zoomed, replica.Keyed());

    // Arrows and troughs are dead, and key all the same; so does a message from nobody.
    for (const int code : {SB_LINEDOWN, SB_LINEUP, SB_PAGEDOWN, SB_PAGEUP, SB_TOP, SB_BOTTOM, SB_ENDSCROLL}) {
        EXPECT_EQ(run.CostsOf([&] { run.MoveScrollBar(kIdScrollX, code, 0); }), kKeyed) << code;
    }
    EXPECT_EQ(run.State().previewScrollX, 100);
    EXPECT_EQ(run.CostsOf([&] { Send(run.Window(), WM_HSCROLL, SB_THUMBTRACK, 0); }), kKeyed);

    // At zoom 0 positions are kept, but the whole picture is in view.
    expectView(readsOf([&] { run.SetSlider(kIdZoom, 0); }), "source (0 0 200 400)");
    EXPECT_EQ(run.State().previewScrollX, 100);
    // At zoom 100 nothing is: an empty source rectangle on the document's far edge.
    run.MoveScrollBar(kIdScrollY, SB_THUMBTRACK, 100);
    expectView(readsOf([&] { run.SetSlider(kIdZoom, 100); }), "source (200 400 200 400)");
}

// ---- Pixels -----------------------------------------------------------------------------------------------

TEST(Dialog, PaintsWhatTheEngineMakesOfThePreview) {
    for (const int depth : {8, 16}) {
        SCOPED_TRACE(depth);
        DialogRun run(MakePlate(300, 200, depth));
        Replica replica(run);
        replica.Analyse();
        const DisplayCall call = run.LastPainted();
        ExpectPainted(call, replica.Keyed());

        // The map: the preview's rectangle, of the size that fits the placeholder, and centred in it.
        const RECT area = RectOf(run.Control(kIdPreview));
        POINT corners[] = {{area.left, area.top}, {area.right, area.bottom}};
        for (POINT& corner : corners) ScreenToClient(run.Window(), &corner);
        const auto cut = [](LONG value) { return static_cast<std::int16_t>(value); };
        Rect proxy = {cut(corners[0].y), cut(corners[0].x), cut(corners[1].y), cut(corners[1].x)};
        Globals fitted{};
        float scale = 0;
        FitPreview(&fitted, {0, 0, 200, 300}, &proxy, &scale);
        const PSPixelMap& map = call.map;
        EXPECT_TRUE(map.bounds.top == proxy.top && map.bounds.left == proxy.left &&
                    map.bounds.bottom == proxy.bottom && map.bounds.right == proxy.right);
        EXPECT_TRUE(call.sourceRect.top == proxy.top && call.sourceRect.left == proxy.left &&
                    call.sourceRect.bottom == proxy.bottom && call.sourceRect.right == proxy.right);
        const int width = proxy.right - proxy.left, height = proxy.bottom - proxy.top;
        EXPECT_TRUE(map.version == 2 && map.imageMode == 3 && map.rowBytes == width && map.colBytes == 1 &&
                    map.planeBytes == width * height && map.baseAddr != nullptr && map.mat == nullptr &&
                    map.masks == nullptr && map.maskPhaseRow == 0 && map.maskPhaseCol == 0 &&
                    map.pixelOverlays == nullptr && map.colorManagementOptions == 0);
        EXPECT_EQ(call.row, (corners[0].y + corners[1].y - height) / 2);
        EXPECT_EQ(call.column, (corners[0].x + corners[1].x - width) / 2);
        EXPECT_NE(call.context, nullptr);

        // The mask hangs in the map with "Output Transparency Information" alone.
        const DisplayCall masked = run.PaintedAfter([&] { run.ClickButton(kIdOutputAlpha); });
        EXPECT_TRUE(masked.map.masks != nullptr && masked.mask.next == nullptr &&
                    masked.mask.rowBytes == width && masked.mask.colBytes == 1 &&
                    masked.mask.maskDescription == 0);
        ASSERT_EQ(masked.maskBytes.size(), static_cast<std::size_t>(width) * height);
        replica.Follow(run);
        ExpectPainted(masked, replica.Keyed());
        EXPECT_LT(*std::min_element(masked.maskBytes.begin(), masked.maskBytes.end()), 40);
        EXPECT_EQ(run.PaintedAfter([&] { run.ClickButton(kIdOutputAlpha); }).map.masks, nullptr);
        run.Cancel();
        EXPECT_EQ(ViolationText(run.TheHost()), "");
    }
}

TEST(Dialog, ShowsThePhotographOutsideTheSelection) {
    for (const int depth : {8, 16}) {
        SCOPED_TRACE(depth);
        Document document = MakePlate(300, 200, depth);
        document.selection = MakeChannel(document, 0);
        for (int y = 0; y < 200; ++y) {
            for (int x = 90 + y / 4; x < 260; ++x) {
                SetSample(document, *document.selection, x, y, depth == 8 ? 255 : kHostMaxSample16);
            }
        }
        DialogRun run(std::move(document));
        Replica replica(run);
        replica.Analyse();
        ExpectPainted(run.LastPainted(), replica.Keyed());
        run.SetSlider(kIdZoom, 37);
        const DisplayCall zoomed =
            run.PaintedAfter([&] { run.MoveScrollBar(kIdScrollX, SB_THUMBTRACK, 80); });
        replica.Follow(run);
        ExpectPainted(zoomed, replica.Keyed());
        // At the far corner the view is one pixel past the selection.
        run.MoveScrollBar(kIdScrollX, SB_THUMBTRACK, 100);
        run.MoveScrollBar(kIdScrollY, SB_THUMBTRACK, 100);
        run.PaintedAfter([&] { run.SetSlider(kIdZoom, 100); });
        EXPECT_EQ(run.Ok().result, noErr);
        EXPECT_EQ(ViolationText(run.TheHost()), "");
    }
}

// ---- Ways out ---------------------------------------------------------------------------------------------

TEST(Dialog, ResetBeginsAfresh) {
    DialogRun run(MakePlate(300, 200, 8));
    const DisplayCall first = run.LastPainted();
    const RECT place = RectOf(run.Window());
    run.SetSlider(kIdRemoveGreen, 150);
    run.ClickButton(kIdBlueLogic);
    run.SetSlider(kIdZoom, 70);
    run.MoveScrollBar(kIdScrollX, SB_THUMBTRACK, 40);
    SetWindowPos(run.Window(), nullptr, 3, 5, 0, 0, SWP_NOSIZE | SWP_NOZORDER);

    EXPECT_EQ(run.CostsOf([&] { run.ClickButton(kIdReset); }), (Costs{6, 2, 1}));
    EXPECT_EQ(run.State().previewZoom, 0);
    EXPECT_EQ(Send(run.Control(kIdZoom), TBM_GETPOS), 70) << "the zoom's thumb stays";
    EXPECT_EQ(Send(run.Control(kIdRemoveGreen), TBM_GETPOS), 40);
    EXPECT_EQ(Send(run.Control(kIdBlueLogic), BM_GETCHECK), BST_UNCHECKED);
    EXPECT_EQ(Send(run.Control(kIdScrollX), SBM_GETPOS), 0);
    EXPECT_EQ(RectOf(run.Window()).left, place.left) << "the dialog jumps back";
    EXPECT_EQ(RectOf(run.Window()).top, place.top);
    EXPECT_EQ(run.PaintedAfter([] {}).pixels, first.pixels);
    EXPECT_EQ(run.Ok().result, noErr);
    // The planes and preview buffers of before are given up, and nothing else is.
    const auto& violations = ReportOf(run.TheHost()).violations;
    EXPECT_EQ(violations.size(), 14u);
    for (const Violation& violation : violations)
        EXPECT_EQ(violation.kind, ViolationKind::kLeak) << violation.text;
}

TEST(Dialog, CancelLeavesEverythingAsItWas) {
    const Document plate = MakePlate(300, 200, 8);
    for (const bool byEscape : {false, true}) {
        SCOPED_TRACE(byEscape);
        DialogRun run(plate);
        PluginParameters& parameters = *reinterpret_cast<PluginParameters*>(*ParametersHandle(run.TheHost()));
        parameters.firstVersion = parameters.secondVersion = 7;
        parameters.thirdWord = parameters.firstFlag = 9;
        run.SetSlider(kIdRemoveGreen, 150);
        const RunResult result =
            byEscape
                ? run.EndWith([&] { PostMessageA(run.Control(kIdRemoveGreen), WM_KEYDOWN, VK_ESCAPE, 1); })
                : run.Cancel();
        EXPECT_EQ(result.result, userCanceledErr);
        EXPECT_EQ(result.lastSelector, filterSelectorStart);
        const auto& kept = *reinterpret_cast<PluginParameters*>(*ParametersHandle(run.TheHost()));
        EXPECT_TRUE(kept.firstVersion == 0 && kept.secondVersion == 0 && kept.thirdWord == 4 &&
                    kept.firstFlag == 0 && kept.showDialog == 0);
        for (std::size_t layer = 0; layer < 2; ++layer) {
            for (std::size_t c = 0; c < 3; ++c) {
                EXPECT_EQ(run.TheDocument().layers[layer].colour[c].bytes,
                          plate.layers[layer].colour[c].bytes);
            }
        }
        EXPECT_EQ(ViolationText(run.TheHost()), "");
    }
}

// What the dialog has set, the descriptor carries: a replay of it without the dialog gives the same picture.
TEST(Dialog, OkRendersWhatTheControlsSay) {
    const Document plate = MakePlate(300, 200, 16);
    for (const bool byEnter : {false, true}) {
        SCOPED_TRACE(byEnter);
        Document replayed = plate;
        Document rendered;
        Descriptor recorded;
        {
            DialogRun run(plate);
            run.SetSlider(kIdRemoveGreen, 90);
            run.SetSlider(kIdScaleTransp, 120);
            run.ClickButton(kIdRealityInteg);
            run.SetSlider(kIdZoom, 50);  // plays no part in the render
            const RunResult result =
                byEnter ? run.EndWith([&] { PostMessageA(run.Control(kIdZoom), WM_KEYDOWN, VK_RETURN, 1); })
                        : run.Ok();
            EXPECT_EQ(result.result, noErr);
            EXPECT_EQ(result.lastSelector, filterSelectorFinish);
            EXPECT_EQ(ViolationText(run.TheHost()), "");
            rendered = run.TheDocument();
            recorded = KeptDescriptor(run.TheHost()).value_or(Descriptor{});
        }
        ASSERT_EQ(recorded.size(), 11u);
        EXPECT_EQ(recorded[0], (DescriptorItem{FourCC("RGre"), kTypeInteger, 90}));
        const HostPtr host = CreateHost();
        const ModulePtr module = OpenBuiltModule();
        GiveDescriptor(*host, recorded);
        EXPECT_EQ(RunFilter(*host, module->pluginMain, replayed, AskForParameters::kNo).result, noErr);
        for (std::size_t c = 0; c < 3; ++c) {
            EXPECT_EQ(rendered.layers[1].colour[c].bytes, replayed.layers[1].colour[c].bytes);
            EXPECT_NE(rendered.layers[1].colour[c].bytes, plate.layers[1].colour[c].bytes);
        }
        CloseHost(*host);
    }
}

}  // namespace

// The speed of the dialog's preview without a window: one ComposePreview for each kind of action, on the
// sample plate at the size that the dialog's template gives.
//
// Time and CPU are of the whole action. The counters are milliseconds of the thread's work: host (scaling,
// reading and allocation in the host), keying (KeyPicture alone), analysis. The rest is the copy of the
// engine's planes into the preview.
#include <benchmark/benchmark.h>

#include <time.h>

#include <cmath>
#include <cstring>

#include "host/host.h"
#include "sample_plate/sample_plate.h"
#include "shell/engine_calls.h"
#include "shell/globals.h"
#include "support/module_state.h"
#include "ui/preview.h"
#include "ui/preview_geometry.h"

using namespace filter;

namespace {

// Milliseconds of this thread's processor time.
double WorkDone() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

constexpr int kStageRuns = 20;  // a stage's time is the mean of so many runs

template <typename Stage>
double TimeOf(Stage stage) {
    const double begin = WorkDone();
    for (int run = 0; run < kStageRuns; ++run) stage();
    return (WorkDone() - begin) / kStageRuns;
}

// ---- The host's services, timed ---------------------------------------------------------------------------

double gHostTime;  // milliseconds
PSChannelPortsSuite gPorts;
PSBufferSuite gBuffers;

struct HostTimer {
    double begin = WorkDone();
    ~HostTimer() { gHostTime += WorkDone() - begin; }
};

SPErr TimedRead(PIChannelPort port, std::int32_t level, VRect* bounds, const PixelMemoryDesc* memory) {
    const HostTimer timer;
    return gPorts.ReadPixelsFromLevel(port, level, bounds, memory);
}

SPErr TimedScaledRead(PIChannelPort port, VRect* rect, const PSScaling* scaling,
                      const PixelMemoryDesc* memory) {
    const HostTimer timer;
    return gPorts.ReadScaledPixels(port, rect, scaling, memory);
}

void* TimedNew(std::uint32_t* wanted, std::uint32_t least) {
    const HostTimer timer;
    return gBuffers.New(wanted, least);
}

void TimedDispose(void** block) {
    const HostTimer timer;
    gBuffers.Dispose(block);
}

// ---- A document and the state of a dialog over it ---------------------------------------------------------

// A plate of two megapixels, enlarged by repetition of pixels. The preview has the same cost.
host::Document DialogDocument(int width, int height, int depth, bool selected) {
    static const sample_plate::SamplePlate kPlate = [] {
        sample_plate::PlateOptions options;
        options.width = 1732;
        options.height = 1155;
        options.withTruth = false;
        return sample_plate::RenderSamplePlate(options);
    }();
    host::Document document = host::MakeDocument(width, height, depth);
    document.targetLayer = 1;
    for (const images::Picture* picture : {&kPlate.background, &kPlate.photo}) {
        host::Layer layer = host::MakeLayer(document, "", 0);
        for (std::size_t c = 0; c < 3; ++c) {
            for (int y = 0; y < height; ++y) {
                const std::size_t row =
                    static_cast<std::size_t>(y) * picture->height / height * picture->width;
                for (int x = 0; x < width; ++x) {
                    const std::uint16_t sample =
                        picture->colour[c][row + static_cast<std::size_t>(x) * picture->width / width];
                    host::SetSample(
                        document, layer.colour[c], x, y,
                        depth == 8 ? static_cast<std::uint16_t>(sample / 257) : images::ToDocument16(sample));
                }
            }
        }
        document.layers.push_back(std::move(layer));
    }
    document.layers[1].transparency = host::MakeChannel(document, depth == 8 ? 255 : host::kHostMaxSample16);
    if (selected) {
        document.selection = host::MakeChannel(document, 0);
        auto& bytes = document.selection->bytes;
        std::memset(bytes.data() + bytes.size() / 8, 255, bytes.size() / 2);
    }
    return document;
}

struct Dialog {
    host::Document document;
    host::HostPtr host;
    std::int16_t result = 0;
    Globals globals{};
    PSChannelPortsSuite timedPorts;
    PSBufferSuite timedBuffers;
};

// Opened, and composed once. The area is that of the template's placeholder on Windows at 96 dots per inch.
void OpenDialog(Dialog& dialog, int width, int height, int depth, bool selected) {
    dialog.document = DialogDocument(width, height, depth, selected);
    host::HostOptions options;
    options.quarantineBytes = 0;
    dialog.host = host::CreateHost(options);
    host::OpenDocument(*dialog.host, dialog.document);
    Globals& globals = dialog.globals;
    globals.result = &dialog.result;
    globals.filterParamBlock = host::PrepareRecord(*dialog.host);
    gSPBasicSuite = globals.filterParamBlock->sSPBasic;
    ResetGlobals(&globals);
    gPorts = *globals.gPSChannelPortsSuite;
    gBuffers = *globals.gPSBufferSuite;
    dialog.timedPorts = gPorts;
    dialog.timedPorts.ReadPixelsFromLevel = TimedRead;
    dialog.timedPorts.ReadScaledPixels = TimedScaledRead;
    dialog.timedBuffers = gBuffers;
    dialog.timedBuffers.New = TimedNew;
    dialog.timedBuffers.Dispose = TimedDispose;
    globals.gPSChannelPortsSuite = &dialog.timedPorts;
    globals.gPSBufferSuite = &dialog.timedBuffers;
    globals.proxyRect = {3, 4, 468, 396};
    FitPreview(&globals, dialog.document.bounds, &globals.proxyRect, &globals.scaleFactor);
    ComposePreview(&globals);
}

void CloseDialog(Dialog& dialog) {
    DisposePlanes(&dialog.globals);
    ReleasePreviewBuffers(&dialog.globals);
    host::EndRun(*dialog.host);
    host::CloseHost(*dialog.host);
}

// The preview must have the engine's pixels.
bool IsSound(const Dialog& dialog) {
    const Globals& globals = dialog.globals;
    if (dialog.result != noErr || globals.previewPixels == nullptr) return false;
    const std::size_t count = static_cast<std::size_t>(globals.planeWidth) * globals.planeHeight;
    std::size_t keyed = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t at = i * static_cast<std::size_t>(globals.depthBytes);
        const bool isOut = globals.previewPixels[i] == globals.outR[at];
        if (!isOut &&
            (dialog.document.selection == std::nullopt || globals.previewPixels[i] != globals.topR[at])) {
            return false;
        }
        keyed += globals.outR[at] != globals.topR[at];
    }
    return keyed > count / 4;
}

enum Action { kSlider, kZoom, kBlueLogic };

// Megapixels of a picture of 3 by 2; 0: two megapixels in the shape of the area, the slowest case.
void Compose(benchmark::State& state, Action action, int depth, bool selected) {
    const int megapixels = static_cast<int>(state.range(0));
    const double pixels = megapixels == 0 ? 2e6 : megapixels * 1e6;
    const double shape = megapixels == 0 ? 388.0 / 461 : 1.5;
    const int width = static_cast<int>(std::sqrt(pixels * shape));
    Dialog dialog;
    OpenDialog(dialog, width, static_cast<int>(width / shape), depth, selected);
    Globals& globals = dialog.globals;
    gHostTime = 0;
    int step = 0;
    for (auto _ : state) {
        ++step;
        if (action == kSlider) globals.SliderRemoveGreen = 30 + step % 20;
        if (action == kBlueLogic) globals.mustAnalyse = 1;
        if (action == kZoom) {
            globals.previewZoom = step * 7 % 60;
            globals.mustReload = 1;
        }
        ComposePreview(&globals);
    }
    state.counters["host"] = gHostTime / static_cast<double>(state.iterations());
    if (!IsSound(dialog)) state.SkipWithError("the preview is not the engine's picture");

    state.counters["keying"] = TimeOf([&] { KeyPicture(&globals); });
    if (action == kBlueLogic) state.counters["analysis"] = TimeOf([&] { AnalyseBackdrop(&globals); });
    state.counters["width"] = globals.planeWidth;
    state.counters["height"] = globals.planeHeight;
    CloseDialog(dialog);
}

BENCHMARK_CAPTURE(Compose, slider_8, kSlider, 8, false)
    ->Arg(0)
    ->Arg(2)
    ->Arg(12)
    ->Arg(48)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Compose, slider_16, kSlider, 16, false)
    ->Arg(0)
    ->Arg(2)
    ->Arg(48)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Compose, slider_8_selection, kSlider, 8, true)
    ->Arg(0)
    ->Arg(48)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Compose, zoom_8, kZoom, 8, false)
    ->Arg(0)
    ->Arg(2)
    ->Arg(12)
    ->Arg(48)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Compose, zoom_16, kZoom, 16, false)->Arg(0)->Arg(2)->Arg(48)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Compose, zoom_8_selection, kZoom, 8, true)->Arg(48)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Compose, blue_logic_8, kBlueLogic, 8, false)
    ->Arg(0)
    ->Arg(48)
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

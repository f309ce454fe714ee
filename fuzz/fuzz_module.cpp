// The whole module in the stand-in host: document, parameters, selectors, failing calls and missing services
// are drawn from the input. The module must not crash, leak or break a rule of the host.
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>

#include "engine/variants.h"
#include "host/host.h"
#include "plugin/plugin_main.h"
#include "shell/globals.h"
#include "shell/handles.h"
#include "shell/parameter_table.h"
#include "shell/planes.h"
#include "support/checked_heap.h"
#include "support/module_state.h"
#include "tests/support/compare_variants.h"
#include "ui/preview.h"
#include "ui/preview_geometry.h"

using namespace filter;
using namespace test_support;

namespace {

bool OneInTen(Random* draws) {
    return draws->Below(10) == 0;
}

bool Half(Random* draws) {
    return draws->Below(2) == 0;
}

// ---- The document

// Equal samples, noise, or a backdrop with noise.
host::Channel DrawChannel(const host::Document& document, std::int32_t backdrop, Random* draws) {
    const std::int32_t largest = document.depth == 8 ? 255 : host::kHostMaxSample16;
    const std::int32_t step = largest / 255, noise = draws->Below(3) == 0 ? largest : 6 * step;
    host::Channel channel = host::MakeChannel(document, 0);
    Random random(draws->Below(1u << 31));
    const std::int32_t width = host::WidthOf(document.bounds), height = host::HeightOf(document.bounds);
    for (std::int32_t y = 0; y < height; ++y) {
        for (std::int32_t x = 0; x < width; ++x) {
            const auto drawn = static_cast<std::int32_t>(random.Below(static_cast<std::uint32_t>(noise) + 1));
            const std::int32_t sample = random.Below(4) == 0 ? drawn : backdrop * step + drawn;
            host::SetSample(document, channel, x, y, static_cast<std::uint16_t>(std::min(sample, largest)));
        }
    }
    channel.readable = !OneInTen(draws);
    channel.hasWritePort = !OneInTen(draws);
    channel.writable = !OneInTen(draws);
    return channel;
}

host::Layer DrawLayer(const host::Document& document, Random* draws) {
    host::Layer layer;
    layer.name = "layer";
    const std::int32_t backdrop[] = {60, 190, 80};
    const std::uint32_t channels = OneInTen(draws) ? 4 : 3;
    for (std::uint32_t i = 0; i < channels; ++i)
        layer.colour.push_back(DrawChannel(document, backdrop[i % 3], draws));
    if (Half(draws)) layer.transparency = DrawChannel(document, Half(draws) ? 255 : 100, draws);
    if (OneInTen(draws)) layer.mask = DrawChannel(document, 100, draws);
    return layer;
}

host::Document DrawDocument(Random* draws) {
    std::int32_t width = draws->Between(1, 40), height = draws->Between(1, 50);
    if (OneInTen(draws)) width = draws->Between(1, 3000);
    if (OneInTen(draws)) std::swap(width, height);
    if (std::int64_t{width} * height > 20000) height = 1 + 20000 / width;
    host::Document document = host::MakeDocument(width, height, Half(draws) ? 8 : 16);
    if (OneInTen(draws)) {  // of a cropped canvas
        const std::int32_t x = draws->Between(-60, 60), y = draws->Between(-60, 60);
        document.bounds = {y, x, y + height, x + width};
    }
    const std::uint32_t layers = OneInTen(draws) ? draws->Below(4) : 2;
    for (std::uint32_t i = 0; i < layers; ++i) document.layers.push_back(DrawLayer(document, draws));
    if (layers == 0 || OneInTen(draws)) document.flat = DrawLayer(document, draws);
    if (OneInTen(draws)) document.alphaChannels.push_back(DrawChannel(document, 0, draws));
    if (draws->Below(3) == 0) document.selection = DrawChannel(document, Half(draws) ? 0 : 100, draws);
    document.targetLayer = layers == 0 ? host::kTargetFlat : static_cast<int>(draws->Below(layers));
    return document;
}

host::Descriptor DrawDescriptor(Random* draws) {
    host::Descriptor descriptor;
    for (const ParameterInfo& info : kParameters) {
        if (OneInTen(draws)) continue;
        const std::int32_t far = draws->Between(-2000000000, 2000000000);
        const std::int32_t slider = OneInTen(draws) ? far : draws->Between(-20, 220);
        if (info.isFlag) {
            descriptor.push_back({info.key, host::kTypeBoolean, static_cast<std::int32_t>(draws->Below(2))});
        } else {
            descriptor.push_back({info.key, host::kTypeInteger, slider});
        }
    }
    if (OneInTen(draws)) descriptor.push_back({FourCC("what"), host::kTypeInteger, 1});
    return descriptor;
}

// ---- The host

// What the host lacks in all calls.
std::function<void(FilterRecord&)> DrawMissingServices(Random* draws) {
    const std::uint32_t gap = draws->Below(12);
    return [gap](FilterRecord& record) {
        ReadImageDocumentDesc* const document = record.documentInfo;
        switch (gap) {
            case 0:
                record.abortProc = nullptr;
                break;
            case 1:
                record.progressProc = nullptr;
                break;
            case 2:
                record.descriptorParameters = nullptr;
                break;
            case 3:
                record.documentInfo = nullptr;
                break;
            case 4:
                record.sSPBasic = nullptr;
                break;
            case 5:
                document->targetCompositeChannels = nullptr;
                break;
            case 6:
                document->layersDescriptor = nullptr;
                break;
            case 7:
                document->mergedCompositeChannels = nullptr;
                break;
            case 8:
                if (document->targetCompositeChannels != nullptr)
                    document->targetCompositeChannels->next = nullptr;
                break;
            case 9:
                record.descriptorParameters->readDescriptorProcs = nullptr;
                break;
            default:
                break;
        }
    };
}

bool HandlesUsable(const host::HostOptions& options) {
    return options.handleProcsVersion == kHandleProcsVersion && options.numHandleProcs >= kHandleProcsCount;
}

host::HostOptions DrawOptions(Random* draws) {
    host::HostOptions options;
    options.playInfo = static_cast<std::int16_t>(draws->Below(3));
    options.fillByte = static_cast<std::uint8_t>(draws->Below(256));
    options.moveHandles = Half(draws);
    options.disposeClearsPointer = Half(draws);
    options.offersDisplayPixels = !OneInTen(draws);
    if (draws->Below(3) == 0) options.failAt = draws->Between(1, 90);
    options.failKindEnabled = OneInTen(draws);
    options.failKind =
        static_cast<host::HostCall>(draws->Below(static_cast<int>(host::HostCall::kDisplayPixels) + 1));
    options.failKindAt = draws->Between(0, 8);
    if (draws->Below(4) == 0) options.abortAt = draws->Between(1, 3);
    options.allocateBlockGivesNull = OneInTen(draws);
    options.shrinkScaledReads = OneInTen(draws);
    if (OneInTen(draws)) options.closeReadCode = static_cast<OSErr>(-draws->Between(1, 2000));
    if (OneInTen(draws)) options.closeWriteCode = -50;
    if (OneInTen(draws)) options.handleProcsVersion = 2;
    if (OneInTen(draws)) options.numHandleProcs = 7;
    // A descriptor needs the host's own handles.
    options.descriptorsUsable = HandlesUsable(options) && !OneInTen(draws);
    if (OneInTen(draws)) options.missingSuites.push_back(Half(draws) ? kPSBufferSuite : kPSChannelPortsSuite);
    if (draws->Below(4) == 0) options.adjustRecord = DrawMissingServices(draws);
    return options;
}

// Frees the process's handles, which the module uses without usable handle procs: a host would keep them to
// its end.
void FreeProcessHandles(host::Host& host) {
    if (HandlesUsable(host::OptionsOf(host))) return;
    const HandleProcs unusable{};
    const Handle handles[] = {reinterpret_cast<Handle>(host::DataWord(host)), host::ParametersHandle(host)};
    for (const Handle handle : handles) {
        if (handle != nullptr) DisposeHandle(&unusable, handle);
    }
}

// ---- Selectors

void PlaySelectors(host::Host& host, host::Document& document, Random* draws) {
    host::OpenDocument(host, document);
    constexpr std::int16_t kSelectors[] = {-1, 1, 2, 3, 3, 3, 4, 5, 7};  // mostly Start
    const std::uint32_t calls = draws->Between(1, 6);
    for (std::uint32_t i = 0; i < calls; ++i)
        host::CallSelector(host, PluginMain, kSelectors[draws->Below(std::size(kSelectors))]);
    host::EndRun(host);
}

// The preview as a dialog uses it: opened, zoomed, scrolled, changed and closed.
void PlayPreview(host::Host& host, host::Document& document, Random* draws) {
    host::OpenDocument(host, document);
    FilterRecord* const record = host::PrepareRecord(host);
    gSPBasicSuite = record->sSPBasic;
    std::int16_t result = noErr;
    std::intptr_t data = 0;
    Globals* const globals =
        AllocateGlobals(&result, record, record->handleProcs, sizeof(Globals), &data, ResetGlobals);
    if (globals != nullptr && globals->docInfo != nullptr) {
        globals->proxyRect = {0, 0, static_cast<std::int16_t>(draws->Between(4, 90)),
                              static_cast<std::int16_t>(draws->Between(4, 90))};
        FitPreview(globals, globals->docInfo->bounds, &globals->proxyRect, &globals->scaleFactor);
        // A few pixels far from 0 give a preview of millions, by design. That is slow and tests nothing more.
        const std::int64_t pixels = std::int64_t{globals->previewWidth} * globals->previewHeight;
        for (int change = 0; change < 4 && pixels < 500000; ++change) {
            globals->previewZoom = draws->Between(0, 100);
            globals->previewScrollX = draws->Between(0, 100);
            globals->previewScrollY = draws->Between(0, 100);
            globals->mustReload = globals->mustReload || Half(draws);
            globals->FlagOutputAlpha = Half(draws);
            globals->FlagBlueLogic = OneInTen(draws);
            globals->SliderRemoveGreen = draws->Between(0, 100);
            try {
                ComposePreview(globals);
            } catch (const HeapFailure&) {
            }
            PSPixelMap map;
            PSPixelMask mask;
            DescribePreview(globals, &map, &mask);
            const VRect whole = map.bounds;
            if (map.baseAddr != nullptr && record->displayPixels != nullptr)
                record->displayPixels(&map, &whole, 0, 0, nullptr);
        }
        ReleasePreviewBuffers(globals);
        DisposePlanes(globals);
    }
    const Handle own = reinterpret_cast<Handle>(data);
    if (own != nullptr) {
        UnlockHandle(record->handleProcs, own);
        DisposeHandle(record->handleProcs, own);
    }
    if (record->parameters != nullptr && record->parameters != host::ParametersHandle(host))
        DisposeHandle(record->handleProcs, record->parameters);
    host::EndRun(host);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    Random draws(bytes, size);
    const char* const variant = keying::kVariantNames[draws.Below(4)];
    keying::SetActiveVariant(keying::VariantRunsHere(variant) ? variant : "scalar");
    host::HostPtr host = host::CreateHost(DrawOptions(&draws));
    const std::uint32_t runs = draws.Between(1, 2);
    for (std::uint32_t i = 0; i < runs; ++i) {
        host::Document document = DrawDocument(&draws);
        if (Half(&draws)) host::SetDescriptor(*host, DrawDescriptor(&draws));
        switch (draws.Below(4)) {
            case 0:
                PlayPreview(*host, document, &draws);
                break;
            case 1:
                PlaySelectors(*host, document, &draws);
                break;
            default:
                host::RunFilter(*host, PluginMain, document,
                                Half(&draws) ? host::AskForParameters::kYes : host::AskForParameters::kNo);
        }
    }
    if (OneInTen(&draws)) host::ShowAbout(*host, PluginMain);
    FreeProcessHandles(*host);
    host::CloseHost(*host);
    bool allowed = true;
    for (const host::Violation& violation : host::ReportOf(*host).violations) {
        // The preview's alpha is disposed of with its pixels, even when the host had no memory for it.
        if (violation.text == "Dispose: null is no buffer") continue;
        std::fprintf(stderr, "%s\n", violation.text.c_str());
        allowed = false;
    }
    if (!allowed) std::abort();
    return 0;
}

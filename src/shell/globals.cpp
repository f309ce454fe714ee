#include "shell/globals.h"

#include <cstring>
#include <iterator>
#include <limits>
#include <type_traits>

#include "shell/handles.h"
#include "support/module_state.h"

namespace filter {

static_assert(std::is_trivially_copyable_v<Globals>, "the host may move the record in memory");
static_assert(std::size(kSliderFields) + std::size(kFlagFields) == kParameterCount &&
                  std::size(kSliderFields) == kSliderCount,
              "every parameter has its field");

namespace {

// Returns null and writes a failure to the result cell if the suite is missing.
const void* AcquireSuite(Globals* globals, const char* name, std::int32_t version) {
    const void* suite = nullptr;
    if (gSPBasicSuite == nullptr || gSPBasicSuite->AcquireSuite(name, version, &suite) != 0 ||
        suite == nullptr) {
        Fail(globals, errPlugInHostInsufficient);
        return nullptr;
    }
    return suite;
}

}  // namespace

Globals* AllocateGlobals(std::int16_t* result, FilterRecord* paramBlock, HandleProcs* handleProcs,
                         std::int32_t size, std::intptr_t* data, void (*initialise)(Globals*)) {
    const bool isNew = *data == 0;
    const Handle handle = isNew ? NewHandle(handleProcs, size) : reinterpret_cast<Handle>(*data);
    if (handle == nullptr) return nullptr;
    char* block = LockHandle(handleProcs, handle);
    if (block == nullptr) {
        if (isNew) DisposeHandle(handleProcs, handle);
        return nullptr;
    }
    if (isNew) std::memset(block, 0, static_cast<std::size_t>(size));
    auto* globals = reinterpret_cast<Globals*>(block);
    globals->result = result;  // the host may pass another cell and block each time
    globals->filterParamBlock = paramBlock;
    *result = noErr;
    if (isNew) {
        initialise(globals);
        *data = reinterpret_cast<std::intptr_t>(handle);
    }
    return globals;
}

void ResetGlobals(Globals* globals) {
    for (auto plane : kPlanes) globals->*plane = nullptr;

    SetDefaultParameters(globals);
    globals->previewZoom = 0;
    globals->previewScrollX = 0;
    globals->previewScrollY = 0;
    globals->mustAnalyse = 1;
    globals->mustReload = 1;

    globals->proxyRect = Rect{};
    globals->reservedFlag = 0;
    globals->reservedWord = 0;
    globals->docInfo = globals->filterParamBlock->documentInfo;
    globals->scaleFactor = 1.0f;

    globals->previewPixels = nullptr;
    globals->reservedBuffer1 = nullptr;
    globals->reservedBuffer2 = nullptr;
    globals->previewMask = nullptr;

    globals->gPSChannelPortsSuite = static_cast<const PSChannelPortsSuite*>(
        AcquireSuite(globals, kPSChannelPortsSuite, kPSChannelPortsSuiteVersion));
    globals->gPSBufferSuite =
        static_cast<const PSBufferSuite*>(AcquireSuite(globals, kPSBufferSuite, kPSBufferSuiteVersion));
    EnsureParameters(globals);
}

void SetDefaultParameters(Globals* globals) {
    for (int i = 0; i < kParameterCount; ++i) {
        if (kParameters[i].isFlag) {
            FlagOf(globals, i) = static_cast<std::uint8_t>(kParameters[i].defaultValue);
        } else {
            SliderOf(globals, i) = kParameters[i].defaultValue;
        }
    }
    globals->reservedSlider = 0;
}

void EnsureParameters(Globals* globals) {
    FilterRecord* record = globals->filterParamBlock;
    if (record->parameters != nullptr) return;

    record->parameters = NewHandle(record->handleProcs, sizeof(PluginParameters));
    PluginParameters* parameters = ParametersOf(globals);
    if (parameters == nullptr) {
        Fail(globals, memFullErr);
        return;
    }
    ResetUnreadFields(parameters);
    parameters->showDialog = 0;
}

void ResetUnreadFields(PluginParameters* parameters) {
    parameters->firstVersion = 0;
    parameters->secondVersion = 0;
    parameters->thirdWord = 4;
    parameters->firstFlag = 0;
}

PluginParameters* ParametersOf(const Globals* globals) {
    const Handle handle = globals->filterParamBlock->parameters;
    return handle == nullptr ? nullptr : reinterpret_cast<PluginParameters*>(*handle);
}

std::int16_t CountTargetChannels(const Globals* globals) {
    const ReadImageDocumentDesc* document = globals->docInfo;
    const ReadChannelDesc* channel = document->targetCompositeChannels;
    if (channel == nullptr) channel = document->alphaChannels;

    std::int16_t count = 0;
    for (; channel != nullptr; channel = channel->next) ++count;
    return count;
}

std::uint8_t* NewBuffer(const Globals* globals, std::uint64_t bytes) {
    if (globals->gPSBufferSuite == nullptr || bytes > std::numeric_limits<std::uint32_t>::max())
        return nullptr;
    return static_cast<std::uint8_t*>(
        globals->gPSBufferSuite->New(nullptr, static_cast<std::uint32_t>(bytes)));
}

void DisposeBuffer(const Globals* globals, std::uint8_t** buffer) {
    void* block = *buffer;
    if (globals->gPSBufferSuite != nullptr) globals->gPSBufferSuite->Dispose(&block);
    *buffer = nullptr;
}

void ReleasePreviewBuffers(Globals* globals) {
    if (globals->previewPixels == nullptr) return;
    DisposeBuffer(globals, &globals->previewPixels);
    DisposeBuffer(globals, &globals->previewAlpha);  // may be null, which the host accepts
}

void DisposePlanes(Globals* globals) {
    for (auto plane : kPlanes) {
        if (globals->*plane != nullptr) DisposeBuffer(globals, &(globals->*plane));
    }
}

}  // namespace filter

#include "shell/scripting.h"

#include <cstring>

#include "shell/globals.h"
#include "shell/handles.h"
#include "shell/parameter_table.h"

namespace filter {
namespace {

// The fields behind kParameters, in its order: the sliders first, then the flags.
constexpr std::int32_t Globals::*kSliders[] = {&Globals::SliderRemoveGreen, &Globals::SliderRestoreBlack,
                                               &Globals::SliderAlterGreen,  &Globals::SliderSelectTransp,
                                               &Globals::SliderScaleTransp, &Globals::SliderAdjBGLevel};
constexpr std::uint8_t Globals::*kFlags[] = {&Globals::FlagRealityInteg, &Globals::FlagShowSelect,
                                             &Globals::FlagOutputAlpha, &Globals::FlagBlueLogic,
                                             &Globals::FlagOrgPhoto};
constexpr int kSliderCount = sizeof(kSliders) / sizeof(kSliders[0]);
constexpr int kFlagCount = sizeof(kFlags) / sizeof(kFlags[0]);
static_assert(kSliderCount + kFlagCount == kParameterCount, "every parameter has its field");
static_assert(!kParameters[kSliderCount - 1].isFlag && kParameters[kSliderCount].isFlag,
              "sliders stand first");

std::int32_t& SliderOf(Globals* globals, int parameter) {
    return globals->*kSliders[parameter];
}

std::uint8_t& FlagOf(Globals* globals, int parameter) {
    return globals->*kFlags[parameter - kSliderCount];
}

// All of `count` procs, which stand end to end from `first` on, are there.
bool ProcsInPlace(const void* first, int count) {
    const auto* bytes = static_cast<const unsigned char*>(first);
    for (int i = 0; i < count; ++i) {
        DescriptorProcUnused proc;
        std::memcpy(&proc, bytes + i * sizeof proc, sizeof proc);
        if (proc == nullptr) return false;
    }
    return true;
}

bool ReadProcsUsable(const ReadDescriptorProcs* procs) {
    return procs != nullptr && procs->readDescriptorProcsVersion == 0 &&
           procs->numReadDescriptorProcs >= kReadDescriptorProcsCount &&
           ProcsInPlace(&procs->openReadDescriptorProc, kReadDescriptorProcsCount);
}

bool WriteProcsUsable(const WriteDescriptorProcs* procs) {
    return procs != nullptr && procs->writeDescriptorProcsVersion == 0 &&
           procs->numWriteDescriptorProcs >= kWriteDescriptorProcsCount &&
           ProcsInPlace(&procs->openWriteDescriptorProc, kWriteDescriptorProcsCount);
}

// A descriptor that the host has put into its field is ours to dispose of.
void DropDescriptor(Globals* globals) {
    const FilterRecord* record = globals->filterParamBlock;
    PIDescriptorParameters* parameters = record->descriptorParameters;
    if (parameters->descriptor != nullptr) DisposeHandle(record->handleProcs, parameters->descriptor);
    parameters->descriptor = nullptr;
}

// Codes of the get procs are not looked at: a value that cannot be read leaves its field as it is.
void ReadValue(Globals* globals, const ReadDescriptorProcs* procs, PIReadDescriptor token, FourCharCode key) {
    for (int i = 0; i < kParameterCount; ++i) {
        if (kParameters[i].key != key) continue;
        if (kParameters[i].isFlag) {
            procs->getBooleanProc(token, &FlagOf(globals, i));
        } else {
            procs->getIntegerProc(token, &SliderOf(globals, i));
        }
    }
}

void ReadDescriptor(Globals* globals) {
    // On the stack and writable until the token is closed: hosts overwrite a key that they find with 'null',
    // though the interface calls the array constant.
    FourCharCode keys[kParameterCount + 1];
    for (int i = 0; i < kParameterCount; ++i) keys[i] = kParameters[i].key;
    keys[kParameterCount] = 0;

    const PIDescriptorParameters* parameters = globals->filterParamBlock->descriptorParameters;
    const ReadDescriptorProcs* procs = parameters->readDescriptorProcs;
    const PIReadDescriptor token = procs->openReadDescriptorProc(parameters->descriptor, keys);
    if (token == nullptr) return;

    FourCharCode key = 0, type = 0;
    std::int32_t flags = 0;
    while (procs->getKeyProc(token, &key, &type, &flags) != 0) ReadValue(globals, procs, token, key);

    const OSErr code = procs->closeReadDescriptorProc(token);
    DropDescriptor(globals);
    // A descriptor may lack keys: their fields keep the defaults.
    if (code != noErr && code != errMissingParameter) Fail(globals, code);
}

}  // namespace

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

bool DescriptorParametersUsable(const PIDescriptorParameters* parameters) {
    return parameters != nullptr && parameters->descriptorParametersVersion == 0 &&
           ReadProcsUsable(parameters->readDescriptorProcs) &&
           WriteProcsUsable(parameters->writeDescriptorProcs);
}

void ReadScriptParameters(Globals* globals) {
    SetDefaultParameters(globals);
    const PIDescriptorParameters* parameters = globals->filterParamBlock->descriptorParameters;
    if (!DescriptorParametersUsable(parameters))
        return;  // showDialog stays as the parameters selector left it

    ReadDescriptor(globals);
    if (PluginParameters* block = ParametersOf(globals)) {
        block->showDialog = parameters->playInfo == plugInDialogDisplay;
    }
}

void WriteScriptParameters(Globals* globals) {
    PIDescriptorParameters* parameters = globals->filterParamBlock->descriptorParameters;
    if (!DescriptorParametersUsable(parameters)) return;
    const WriteDescriptorProcs* procs = parameters->writeDescriptorProcs;
    const PIWriteDescriptor token = procs->openWriteDescriptorProc();
    if (token == nullptr) return;

    for (int i = 0; i < kParameterCount; ++i) {
        if (kParameters[i].isFlag) {
            procs->putBooleanProc(token, kParameters[i].key, FlagOf(globals, i));
        } else {
            procs->putIntegerProc(token, kParameters[i].key, SliderOf(globals, i));
        }
    }
    DropDescriptor(globals);
    Handle descriptor = nullptr;
    procs->closeWriteDescriptorProc(token, &descriptor);
    parameters->descriptor = descriptor;
    parameters->recordInfo = plugInDialogOptional;
}

}  // namespace filter

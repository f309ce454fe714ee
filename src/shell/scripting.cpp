#include "shell/scripting.h"

#include <cstring>

#include "shell/globals.h"
#include "shell/handles.h"
#include "shell/parameter_table.h"

namespace filter {
namespace {

// True if none of the `count` consecutive procs from `first` on is null.
bool AllProcsSet(const void* first, int count) {
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
           AllProcsSet(&procs->openReadDescriptorProc, kReadDescriptorProcsCount);
}

bool WriteProcsUsable(const WriteDescriptorProcs* procs) {
    return procs != nullptr && procs->writeDescriptorProcsVersion == 0 &&
           procs->numWriteDescriptorProcs >= kWriteDescriptorProcsCount &&
           AllProcsSet(&procs->openWriteDescriptorProc, kWriteDescriptorProcsCount);
}

// The filter owns the descriptor that the host has put into the record.
void DisposeDescriptor(Globals* globals) {
    const FilterRecord* record = globals->filterParamBlock;
    PIDescriptorParameters* parameters = record->descriptorParameters;
    if (parameters->descriptor != nullptr) DisposeHandle(record->handleProcs, parameters->descriptor);
    parameters->descriptor = nullptr;
}

// The codes of the get procs are ignored: a value that cannot be read leaves its field unchanged.
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
    // A local, writable array: hosts overwrite each key that they find with 'null', although the interface
    // declares the array as constant.
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
    DisposeDescriptor(globals);
    // If the descriptor lacks a key, the field keeps its default.
    if (code != noErr && code != errMissingParameter) Fail(globals, code);
}

}  // namespace

bool DescriptorParametersUsable(const PIDescriptorParameters* parameters) {
    return parameters != nullptr && parameters->descriptorParametersVersion == 0 &&
           ReadProcsUsable(parameters->readDescriptorProcs) &&
           WriteProcsUsable(parameters->writeDescriptorProcs);
}

void ReadScriptParameters(Globals* globals) {
    SetDefaultParameters(globals);
    const PIDescriptorParameters* parameters = globals->filterParamBlock->descriptorParameters;
    if (!DescriptorParametersUsable(parameters)) return;  // showDialog keeps its value

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
    DisposeDescriptor(globals);
    Handle descriptor = nullptr;
    procs->closeWriteDescriptorProc(token, &descriptor);
    parameters->descriptor = descriptor;
    parameters->recordInfo = plugInDialogOptional;
}

}  // namespace filter

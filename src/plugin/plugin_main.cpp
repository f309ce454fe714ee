#include "plugin/plugin_main.h"

#include "shell/globals.h"
#include "shell/handles.h"
#include "shell/render.h"
#include "shell/scripting.h"
#include "support/checked_heap.h"
#include "support/module_state.h"
#include "ui/about_box.h"
#include "ui/parameter_dialog.h"

namespace filter {
namespace {

// Opens the dialog if it was requested and there is a document, and clears the request. Cancel leaves
// userCanceledErr in the result cell. If the dialog cannot open, the run continues with the current
// parameters.
void ShowRequestedDialog(Globals* globals) {
    const PluginParameters* request = ParametersOf(globals);
    if (request == nullptr || request->showDialog == 0) return;
    if (globals->docInfo != nullptr) ShowParameterDialog(globals);
    // The block is not locked: the host may have moved it.
    if (PluginParameters* parameters = ParametersOf(globals)) parameters->showDialog = 0;
}

// The whole run. It starts from the defaults. A step that fails leaves its code in the result cell, which
// only the render checks.
void DoStart(Globals* globals) {
    EnsureParameters(globals);
    ResetGlobals(globals);
    ReadScriptParameters(globals);
    globals->docInfo = globals->filterParamBlock->documentInfo;
    if (globals->docInfo == nullptr) Fail(globals, errPlugInHostInsufficient);
    ShowRequestedDialog(globals);
    ReleasePreviewBuffers(globals);
    DisposePlanes(globals);
    if (*globals->result == noErr) RunFullRender(globals);
}

void RequestDialog(Globals* globals) {
    EnsureParameters(globals);
    if (PluginParameters* parameters = ParametersOf(globals)) parameters->showDialog = 1;
}

// Catches all exceptions, since the host must not see one. Allocations of the engine can throw.
void RunSelector(std::int16_t selector, Globals* globals) {
    try {
        switch (selector) {
            case filterSelectorParameters:
                RequestDialog(globals);
                break;
            case filterSelectorPrepare:
                EnsureParameters(globals);
                break;
            case filterSelectorStart:
                DoStart(globals);
                break;
            case filterSelectorContinue:
                break;  // the filter does not use the host's tiles
            case filterSelectorFinish:
                WriteScriptParameters(globals);
                break;
            default:
                break;
        }
    } catch (const HeapFailure& failure) {
        Fail(globals, failure.code);
    } catch (...) {
        Fail(globals, memFullErr);
    }
}

}  // namespace
}  // namespace filter

extern "C" void PluginMain(std::int16_t selector, void* paramBlock, std::intptr_t* data,
                           std::int16_t* result) {
    using namespace filter;
    if (selector == filterSelectorAbout) {
        auto* about = static_cast<AboutRecord*>(paramBlock);
        gSPBasicSuite = about->sSPBasic;
        ShowAboutBox(about);
        return;
    }
    auto* record = static_cast<FilterRecord*>(paramBlock);
    gSPBasicSuite = record->sSPBasic;
    Globals* globals =
        AllocateGlobals(result, record, record->handleProcs, sizeof(Globals), data, ResetGlobals);
    if (globals == nullptr) {
        *result = memFullErr;
        return;
    }
    RunSelector(selector, globals);
    if (*data != 0) UnlockHandle(record->handleProcs, reinterpret_cast<Handle>(*data));
}

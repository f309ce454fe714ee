#include "plugin/plugin_main.h"

#include "shell/globals.h"
#include "shell/handles.h"
#include "shell/render.h"
#include "shell/scripting.h"
#include "support/checked_heap.h"
#include "ui/about_box.h"
#include "ui/parameter_dialog.h"

namespace filter {
namespace {

// Opens the dialog where it is wanted and there is a document; the wish ends in either case. Cancel is known
// by what it leaves in the result cell alone; a dialog that cannot open is none, and the run goes on with the
// values at hand.
void AskUser(Globals* globals) {
    const PluginParameters* asked = ParametersOf(globals);
    if (asked == nullptr || asked->showDialog == 0) return;
    if (globals->docInfo != nullptr) ShowParameterDialog(globals);
    // Looked up anew: the block is not locked, and the host may have moved it meanwhile.
    if (PluginParameters* parameters = ParametersOf(globals)) parameters->showDialog = 0;
}

// The whole of a run. Every Start begins from the defaults; a step that fails leaves its code, and the render
// at the end is the one thing that asks for it.
void DoStart(Globals* globals) {
    EnsureParameters(globals);
    ResetGlobals(globals);
    ReadScriptParameters(globals);
    globals->docInfo = globals->filterParamBlock->documentInfo;
    if (globals->docInfo == nullptr) Fail(globals, errPlugInHostInsufficient);
    AskUser(globals);
    ReleasePreviewBuffers(globals);
    DisposePlanes(globals);
    if (*globals->result == noErr) RunFullRender(globals);
}

void RequestDialog(Globals* globals) {
    EnsureParameters(globals);
    if (PluginParameters* parameters = ParametersOf(globals)) parameters->showDialog = 1;
}

// The one place that stops exceptions: the engine's allocations raise, and the host must not see it.
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
                break;  // the host has no tile to ask for
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

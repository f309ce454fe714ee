#include "shell/engine_calls.h"

#include "shell/globals.h"
#include "support/checked_heap.h"

namespace filter {

keying::BackdropGrid gBackdropGrid;

namespace {

keying::Planes PlanesOf(const Globals* globals) {
    keying::Planes planes;
    planes.width = globals->planeWidth;
    planes.height = globals->planeHeight;
    planes.depth = globals->depthBytes == 1 ? 1 : 2;
    planes.maxSample = globals->maxSample;
    planes.topR = globals->topR;
    planes.topG = globals->topG;
    planes.topB = globals->topB;
    planes.topA = globals->topA;
    planes.bottomR = globals->bottomR;
    planes.bottomG = globals->bottomG;
    planes.bottomB = globals->bottomB;
    planes.outR = globals->outR;
    planes.outG = globals->outG;
    planes.outB = globals->outB;
    planes.outA = globals->outA;
    return planes;
}

keying::Settings SettingsOf(const Globals* globals) {
    keying::Settings settings;
    settings.backdropLevel = globals->SliderAdjBGLevel;
    settings.removeBackdrop = globals->SliderRemoveGreen;
    settings.restoreDark = globals->SliderRestoreBlack;
    settings.alterGreen = globals->SliderAlterGreen;
    settings.selectTransparency = globals->SliderSelectTransp;
    settings.scaleTransparency = globals->SliderScaleTransp;
    settings.blueBackdrop = globals->FlagBlueLogic != 0;
    settings.showPhoto = globals->FlagOrgPhoto != 0;
    settings.showMatte = globals->FlagShowSelect != 0;
    settings.blendEdges = globals->FlagRealityInteg != 0;
    settings.outputAlpha = globals->FlagOutputAlpha != 0;
    settings.fullSize = globals->finalRender != 0;
    return settings;
}

std::int32_t Percent(std::int32_t rows, std::int32_t height) {
    return height > 0 ? static_cast<std::int32_t>(std::int64_t{rows} * 100 / height) : 100;
}

struct Reports {
    Globals* globals;
    std::int32_t lastTick;
};

// Reports a full-size render to the host, once for every 20 rows. True if the host aborts.
bool ReportRows(void* context, std::int32_t rows, std::int32_t height) {
    Reports& reports = *static_cast<Reports*>(context);
    reports.globals->progressPercent = Percent(rows, height);
    if (!reports.globals->finalRender || rows / 20 == reports.lastTick) return false;
    reports.lastTick = rows / 20;
    const FilterRecord* host = reports.globals->filterParamBlock;
    if (host->progressProc != nullptr) host->progressProc(reports.lastTick, height / 20);
    return host->abortProc != nullptr && host->abortProc();
}

void* AllocateChecked(void*, std::size_t bytes) {
    void* block = CheckedNew(bytes);
    if (block == nullptr) throw HeapFailure{memFullErr};
    return block;
}

void ReleaseChecked(void*, void* block) {
    CheckedDelete(block);
}

void BlendEdges(Globals* globals, std::int32_t depth) {
    keying::Planes planes = PlanesOf(globals);
    planes.depth = depth;
    if (keying::BlendEdges(SettingsOf(globals), planes) != keying::Status::kDone) Fail(globals, memFullErr);
}

}  // namespace

void AnalyseBackdrop(Globals* globals) {
    keying::Backdrop backdrop;
    keying::MeasureBackdrop(SettingsOf(globals), PlanesOf(globals), &backdrop);
    globals->backdropMeanR = backdrop.meanR;
    globals->backdropMeanG = backdrop.meanG;
    globals->backdropMeanB = backdrop.meanB;
    gBackdropGrid = backdrop.grid;
}

void KeyPicture(Globals* globals) {
    const keying::Backdrop backdrop = {globals->backdropMeanR, globals->backdropMeanG, globals->backdropMeanB,
                                       gBackdropGrid};
    keying::Planes planes = PlanesOf(globals);
    // In a preview the selection has another size than the planes.
    if (globals->finalRender && globals->docInfo->selection != nullptr)
        planes.selection = globals->selectionPlane;
    Reports reports = {globals, 0};
    const keying::KeyResult result =
        keying::KeyPlanes(SettingsOf(globals), planes, backdrop, {ReportRows, &reports},
                          {AllocateChecked, ReleaseChecked, nullptr});
    if (result.status == keying::Status::kNoMemory) throw HeapFailure{memFullErr};
    if (result.status == keying::Status::kUnblended) Fail(globals, memFullErr);
    globals->progressPercent = Percent(result.rows, globals->planeHeight);
}

void blendEdges8(Globals* globals) {
    BlendEdges(globals, 1);
}

void blendEdges16(Globals* globals) {
    BlendEdges(globals, 2);
}

}  // namespace filter

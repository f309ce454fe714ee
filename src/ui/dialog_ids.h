// Identifiers of the dialog templates and controls in resources/dialogs.rc.
#pragma once

namespace filter {

// Name of the template; not case-sensitive.
constexpr char kParameterDialogTemplate[] = "MarbleFrondKeeperPluginPARAM";
constexpr int kAboutTemplate = 16000;

enum ParameterDialogId {
    kIdOk = 1,
    kIdCancel = 2,
    kIdPreview = 11,  // invisible: marks the preview's area
    kIdRemoveGreen = 1006,
    kIdRestoreBlack = 1007,
    kIdAlterGreen = 1008,
    kIdSelectTransp = 1009,
    kIdScaleTransp = 1010,
    kIdAdjBGLevel = 1011,
    kIdRealityInteg = 1013,
    kIdShowSelect = 1014,
    kIdBlueLogic = 1015,
    kIdOrgPhoto = 1016,
    kIdHelp = 1017,  // always invisible
    kIdOutputAlpha = 1018,
    kIdReset = 1019,
    kIdZoom = 1021,
    kIdScrollY = 1022,
    kIdScrollX = 1023,
};

enum AboutBoxId {
    kIdAboutText = 3,
    kIdAboutFirstPage = 4,
    kIdAboutSecondPage = 5,
};

}  // namespace filter

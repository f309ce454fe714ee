#include "frond/engine_settings.h"

namespace frond {

// The same as SettingsOf in src/shell/engine_calls.cpp.
keying::Settings ToEngineSettings(const ParameterValues& values) {
    const auto slider = [&](const char* name) { return static_cast<double>(ValueOrDefault(values, name)); };
    const auto flag = [&](const char* name) { return ValueOrDefault(values, name) != 0; };
    keying::Settings settings;
    settings.backdropLevel = slider("SliderAdjBGLevel");
    settings.removeBackdrop = slider("SliderRemoveGreen");
    settings.restoreDark = slider("SliderRestoreBlack");
    settings.alterGreen = slider("SliderAlterGreen");
    settings.selectTransparency = slider("SliderSelectTransp");
    settings.scaleTransparency = slider("SliderScaleTransp");
    settings.blueBackdrop = flag("FlagBlueLogic");
    settings.showPhoto = flag("FlagOrgPhoto");
    settings.showMatte = flag("FlagShowSelect");
    settings.blendEdges = flag("FlagRealityInteg");
    settings.outputAlpha = flag("FlagOutputAlpha");
    settings.fullSize = true;
    return settings;
}

}  // namespace frond

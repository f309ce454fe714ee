// The run's parameters: their scripting names, keys and defaults, in the terminology's order, which is
// also the order in which a descriptor is written. The fields of Globals bear the same names. "Adding a
// parameter" in docs/architecture.md lists what else has a row for each.
#pragma once

#include "hostapi/hostapi.h"

namespace filter {

struct ParameterInfo {
    const char* name;
    FourCharCode key;
    bool isFlag;  // false: a slider, a signed 32-bit integer; its range in the dialog is 0 to 200
    std::int32_t defaultValue;
};

constexpr ParameterInfo kParameters[] = {
    // Sliders.
    {"SliderRemoveGreen", FourCC("RGre"), false, 40},
    {"SliderRestoreBlack", FourCC("RBlk"), false, 20},
    {"SliderAlterGreen", FourCC("AGre"), false, 100},
    {"SliderSelectTransp", FourCC("STsp"), false, 100},
    {"SliderScaleTransp", FourCC("SKTp"), false, 70},
    {"SliderAdjBGLevel", FourCC("ABGl"), false, 100},
    // Flags.
    {"FlagRealityInteg", FourCC("RInt"), true, 1},
    {"FlagShowSelect", FourCC("SSel"), true, 0},
    {"FlagOutputAlpha", FourCC("OutA"), true, 0},
    {"FlagBlueLogic", FourCC("Blog"), true, 0},
    {"FlagOrgPhoto", FourCC("OrgP"), true, 0},
};

constexpr int kParameterCount = sizeof(kParameters) / sizeof(kParameters[0]);

// The scripting event, and its class and suite.
constexpr FourCharCode kScriptEvent = FourCC("sdK1");

}  // namespace filter

// The parameters: scripting names, keys and defaults, in the order of the terminology resource, in which
// descriptors are written too. The fields of Globals have the same names. "Add a slider" in
// CONTRIBUTING.md lists the other tables that have a row for each.
#pragma once

#include "hostapi/hostapi.h"

namespace filter {

struct ParameterInfo {
    const char* name;
    FourCharCode key;
    bool isFlag;  // otherwise a slider: signed 32 bits, 0 to 200 in the dialog
    std::int32_t defaultValue;
};

constexpr ParameterInfo kParameters[] = {
    {"SliderRemoveGreen", FourCC("RGre"), false, 40}, {"SliderRestoreBlack", FourCC("RBlk"), false, 20},
    {"SliderAlterGreen", FourCC("AGre"), false, 100}, {"SliderSelectTransp", FourCC("STsp"), false, 100},
    {"SliderScaleTransp", FourCC("SKTp"), false, 70}, {"SliderAdjBGLevel", FourCC("ABGl"), false, 100},
    {"FlagRealityInteg", FourCC("RInt"), true, 1},    {"FlagShowSelect", FourCC("SSel"), true, 0},
    {"FlagOutputAlpha", FourCC("OutA"), true, 0},     {"FlagBlueLogic", FourCC("Blog"), true, 0},
    {"FlagOrgPhoto", FourCC("OrgP"), true, 0},
};

constexpr int kParameterCount = sizeof(kParameters) / sizeof(kParameters[0]);
constexpr int kSliderCount = 6;  // the sliders come first
static_assert(!kParameters[kSliderCount - 1].isFlag && kParameters[kSliderCount].isFlag);

// The scripting event, its class and its suite.
constexpr FourCharCode kScriptEvent = FourCC("sdK1");

}  // namespace filter

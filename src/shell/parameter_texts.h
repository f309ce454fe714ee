// The names and texts of the parameters in programs: the options of frond and the properties of the operation
// for GEGL.
#pragma once

#include "shell/parameter_table.h"

namespace filter {

struct ParameterText {
    const char* option;  // without dashes
    const char* label;   // the dialog's own, misspellings included
    const char* text;
};

// In the order of kParameters.
constexpr ParameterText kParameterTexts[] = {
    {"remove-green", "Remove Background Areas (Where green is)",
     "How far a colour may be from the backdrop's and still be removed"},
    {"restore-black", "Restore Dark Areas", "How strongly dark areas are kept"},
    {"alter-green", "To alter blue areas go right, for green areas go left",
     "How much of the backdrop's colour may remain in half-transparent areas"},
    {"select-transparency", "Select how transpatent the Transparent Areas are",
     "How solid half-transparent areas become; higher is more solid"},
    {"scale-transparency", "Scale the Transparent areas",
     "Contrast of half-transparent areas; 50 leaves them as measured"},
    {"background-level", "Adjust the background green levels",
     "Level of the backdrop, in percent of the measured one"},
    {"blend", "Blend Edges", "Blend edges; on unless switched off"},
    {"show-matte", "Show Selected Ares",
     "Show the selected areas in false colours, if edges are not blended"},
    {"transparent", "Output Transparency Information",
     "Write the subject alone, with transparency; needs no background"},
    {"blue", "Use Blue Logic", "The backdrop is blue"},
    {"original", "Show Original Photo", "Leave the photograph unkeyed"},
};
static_assert(sizeof(kParameterTexts) / sizeof(kParameterTexts[0]) == kParameterCount,
              "every parameter has a text");

}  // namespace filter

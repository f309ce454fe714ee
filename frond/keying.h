// Keys a photograph file.
#pragma once

#include <string>

#include "frond/progress_bar.h"
#include "frond/session.h"
#include "images/resample.h"

namespace frond {

// What all photographs of a command share. A picture of width 0: not given.
struct KeySettings {
    images::Picture background;
    std::string backgroundName;
    images::Picture selection;
    std::string selectionName;
    ParameterValues parameters;
    int depth = 0;  // 0: the photograph's
    images::Fit fit = images::Fit::kCover;
    bool withDialog = false;
};

struct KeyingResult {
    images::Picture result;    // the layer over the background; the layer with alpha for "FlagOutputAlpha"
    images::Picture matte;     // grey: the opacity that the filter computes
    ParameterValues recorded;  // by the module
    std::string warning;       // one line, or empty
};

// Keys one photograph. Without a background, a file of two or more layers is keyed over its lowest layer. The
// result has the photograph's profile and resolution. The matte is the alpha of a second run with
// "FlagOutputAlpha", unless the result's run has the same parameters. The dialog opens in the result's run,
// and both runs use the parameters that the user chose. Throws Failure.
KeyingResult KeyPhotograph(Session& session, const KeySettings& settings, const std::filesystem::path& path,
                           bool wantsResult, bool wantsMatte);

}  // namespace frond

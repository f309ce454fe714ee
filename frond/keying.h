// From a photograph's file to a keyed picture.
#pragma once

#include <string>

#include "frond/progress_bar.h"
#include "frond/session.h"
#include "images/resample.h"

namespace frond {

// What all photographs of one command have in common. A picture of no width: not given.
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

struct Keyed {
    images::Picture
        result;  // the target layer as a host shows it over the background; with alpha when it was asked for
    images::Picture matte;  // grey: the opacity that the filter gives the photograph
    ParameterValues recorded;
    std::string warning;  // one line, or empty
};

// Keys one photograph. A layered file of two or more layers is keyed over its own lowest layer when no
// background is given. The result keeps the photograph's profile and resolution. The matte is the alpha of a
// run of its own with "FlagOutputAlpha", unless the result's run was such a run itself. With the dialog,
// which comes with the result's run, both take the parameters that the user leaves. Throws Failure.
Keyed KeyPhotograph(Session& session, const KeySettings& settings, const std::filesystem::path& path,
                    bool wantsResult, bool wantsMatte);

}  // namespace frond

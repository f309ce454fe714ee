// The steps of one result: a photograph is read, keyed and made into pictures again. The first and the last
// step may run on any thread, for several results at once. Memory goes from step to step and is freed as
// early as possible.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "frond/backgrounds.h"
#include "frond/session.h"
#include "frond/warnings.h"

namespace frond {

// A selection: a value per pixel. Where it is 0, the photograph stays unchanged. Width 0: not given.
struct Selection {
    std::string name;
    int width = 0, height = 0;
    std::vector<std::uint8_t> values;
};

// Reduces a mask to 8 bits, and a colour mask to its brightness.
Selection MakeSelection(images::Picture mask, const std::string& name);

// What all results of a command share.
struct KeySettings {
    Selection selection;
    int depth = 0;  // 0: the photograph's
    int lift = 0;   // what the photograph's samples are at least, of 255
    bool withDialog = false;
    bool wantsResult = true, wantsMatte = false;
};

// A photograph that has been read: RGB, at the depth of the run. Its results on several backgrounds share it.
struct ReadPhotograph {
    images::Picture header;                   // without planes; the profile is for RGB
    host::Layer layer;                        // with transparency; the last result takes it
    std::shared_ptr<FittedBackground> lower;  // what it is keyed over when no background is given
    std::vector<Warning> warnings;            // about the photograph itself
};

// A photograph with its background, ready to be keyed.
struct KeyingInput {
    ReadPhotograph& photo;
    bool takesLayer;  // no other result needs the photograph's layer after this one
    std::shared_ptr<FittedBackground> background;
    bool ownsBackground;  // no other result has it
};

struct KeyedPhotograph {
    host::Layer layer;         // after the run; without channels unless a result is wanted
    host::Channel matte;       // the opacity that the filter computes; empty unless wanted
    ParameterValues recorded;  // by the module
};

// Reads a photograph. Without a background, a file of two or more layers is keyed over its lowest layer.
// `source` is any background of the command. Throws Failure.
ReadPhotograph ReadForKeying(const KeySettings& settings, const BackgroundSource& source,
                             const std::filesystem::path& path);

// Runs the module, on the thread of the session. Takes the photograph's layer or copies it. The matte is the
// alpha of a second run with "FlagOutputAlpha", unless the result's run has the same parameters. The dialog
// opens in the result's run, and both runs use the parameters that the user chose. Throws Failure.
KeyedPhotograph Key(Session& session, const KeySettings& settings, const ParameterValues& parameters,
                    const KeyingInput& input);

// The result: the layer over the background, or the layer with alpha for "FlagOutputAlpha", with the
// photograph's profile and resolution. Frees the layer.
images::Picture TakeResult(const images::Picture& header, const FittedBackground& background,
                           KeyedPhotograph& keyed);

// The matte in grey, with the photograph's resolution. Frees the channel.
images::Picture TakeMatte(const images::Picture& header, KeyedPhotograph& keyed);

}  // namespace frond

// The steps of one photograph: it is read, keyed and made into pictures again. The first and the last step
// may run on any thread, for several photographs at once. Memory goes from step to step and is freed as early
// as possible.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "frond/document_pixels.h"
#include "frond/session.h"
#include "images/resample.h"

namespace frond {

// A background with the size, depth and profile of photographs.
struct Background {
    int width = 0, height = 0, depth = 0;
    std::vector<std::uint8_t> profile;  // of the photograph; empty: none
    FileSamples colour[3];
    bool isConverted = true;  // false: its own profile cannot be converted to the photograph's
};

// A background picture for all photographs of a command. The last fitted one is kept: photographs of one
// camera have the same size and profile.
struct BackgroundSource {
    std::string name;
    images::Picture picture;  // width 0: not given
    images::Fit fit = images::Fit::kCover;
    // The command has one photograph, which gets the only copy of the fitted background.
    bool isForOne = false;

    std::mutex mutex;  // for `last`, and for `picture` once photographs are being read
    std::shared_ptr<Background> last;
};

// Frees the picture and forgets the last background: all photographs have been read.
void ReleaseBackground(BackgroundSource& source);

// A selection: a value per pixel. Where it is 0, the photograph stays unchanged. Width 0: not given.
struct Selection {
    std::string name;
    int width = 0, height = 0;
    std::vector<std::uint8_t> values;
};

// Reduces a mask to 8 bits, and a colour mask to its brightness.
Selection MakeSelection(images::Picture mask, const std::string& name);

// What all photographs of a command share.
struct KeySettings {
    Selection selection;
    ParameterValues parameters;
    int depth = 0;  // 0: the photograph's
    bool withDialog = false;
    bool wantsResult = true, wantsMatte = false;
};

// A photograph that has been read: RGB, at the depth of the run.
struct ReadPhotograph {
    images::Picture header;                  // without planes; the profile is for RGB
    host::Layer layer;                       // with transparency
    std::shared_ptr<Background> background;  // may be changed only if owned
    bool ownsBackground = false;             // no other photograph has it
};

struct KeyedPhotograph {
    host::Layer layer;         // after the run; without channels unless a result is wanted
    host::Channel matte;       // the opacity that the filter computes; empty unless wanted
    ParameterValues recorded;  // by the module
};

// Reads a photograph and prepares its background. Without a background, a file of two or more layers is keyed
// over its lowest layer. Throws Failure.
ReadPhotograph ReadForKeying(const KeySettings& settings, BackgroundSource& source,
                             const std::filesystem::path& path);

// Runs the module, on the thread of the session. The photograph loses its layer. The matte is the alpha of a
// second run with "FlagOutputAlpha", unless the result's run has the same parameters. The dialog opens in the
// result's run, and both runs use the parameters that the user chose. Throws Failure.
KeyedPhotograph Key(Session& session, const KeySettings& settings, ReadPhotograph& photo);

// The result: the layer over the background, or the layer with alpha for "FlagOutputAlpha", with the
// photograph's profile and resolution. Frees the layer.
images::Picture TakeResult(const ReadPhotograph& photo, KeyedPhotograph& keyed);

// The matte in grey, with the photograph's resolution. Frees the channel.
images::Picture TakeMatte(const ReadPhotograph& photo, KeyedPhotograph& keyed);

}  // namespace frond

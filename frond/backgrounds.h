// The backgrounds of a command. Each has its own settings and is fitted to the photographs.
#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "frond/document_pixels.h"
#include "frond/parameters.h"
#include "images/resample.h"

namespace frond {

// A background with the size, depth and profile of photographs.
struct FittedBackground {
    int width = 0, height = 0, depth = 0;
    std::vector<std::uint8_t> profile;  // of the photograph; empty: none
    FileSamples colour[3];
    bool isConverted = true;     // false: its own profile cannot be converted to the photograph's
    bool isTaggedAlone = false;  // it had a profile, and the photograph has none
};

// A background for all photographs of a command. It is read when it is first used. Two fitted copies are
// kept: an event has upright and wide photographs of one camera.
struct BackgroundSource {
    std::filesystem::path
        path;          // empty: none given. Photographs have their own lower layer, or transparency.
    std::string name;  // for messages
    ParameterValues parameters;  // for photographs on this background
    images::Fit fit = images::Fit::kCover;
    bool isForOne = false;  // the only result on it gets the only fitted copy

    // Whether the picture stays in memory for photographs of further sizes. Several backgrounds are read
    // again instead.
    bool keepsPicture = true;

    std::mutex mutex;                             // for what follows
    images::Picture picture;                      // width 0: not in memory
    std::shared_ptr<FittedBackground> fitted[2];  // the last used one first
    std::string failure;                          // why it cannot be read; empty: it can
};

using Backgrounds = std::deque<BackgroundSource>;  // never empty; its elements cannot move

// The value of --fit: "cover", "stretch" or "none".
images::Fit FitNamed(const std::string& name);

// The background files for the values of --over. A folder counts as its files in the order of their names,
// without hidden files and those that end in .json. Throws Failure kBadInput for a missing file or an empty
// folder.
std::vector<std::filesystem::path> FindBackgrounds(const std::vector<std::string>& over);

// The file with a background's own settings: beach.json beside beach.jpg. It need not exist.
std::filesystem::path ActionFileOf(const std::filesystem::path& background);

// Adds a background for each path, or one without a path when there are none. Its parameters are those of
// `action`, replaced by those of its own action file, replaced by those of `options`. Throws Failure.
void OpenBackgrounds(Backgrounds& backgrounds, const std::vector<std::filesystem::path>& paths,
                     images::Fit fit, const ParameterValues& action, const ParameterValues& options);

// Reads a single background before the first photograph, so that a damaged file ends the command early.
// Throws Failure kBadInput.
void ReadSingleBackground(Backgrounds& backgrounds);

// Removes a profile that is not for RGB from a picture that has become RGB.
void DropGreyProfile(images::Picture& picture);

// Gives a picture the photograph's depth and profile. `photo` may be without planes.
std::shared_ptr<FittedBackground> MakeFittedBackground(images::Picture picture, const images::Picture& photo);

// The background for a photograph: a kept one, or a new one. On any thread. Throws Failure kBadInput when the
// background cannot be read; the same text each time.
std::shared_ptr<FittedBackground> FitBackground(BackgroundSource& source, const images::Picture& photo);

// Whether the line is the text of that failure. On any thread.
bool IsFailureOf(BackgroundSource& source, const std::string& line);

// Frees the pictures: all photographs have been read.
void ReleaseBackgrounds(Backgrounds& backgrounds);

}  // namespace frond

#include "frond/backgrounds.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "frond/command.h"
#include "images/atomic_file.h"
#include "images/colour_profile.h"
#include "images/text.h"

namespace frond {

namespace {

namespace fs = std::filesystem;

bool IsHidden(const fs::path& path) {
    return path.filename().u8string()[0] == '.';
}

std::vector<fs::path> FilesOf(const fs::path& folder) {
    std::vector<fs::path> files;
    std::error_code failure;
    for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end;
         entry.increment(failure)) {
        std::error_code ignored;
        const fs::path& path = entry->path();
        if (entry->is_regular_file(ignored) && !IsHidden(path) && path.extension() != ".json")
            files.push_back(path);
    }
    if (failure) throw Failure(kBadInput, images::DisplayName(folder) + ": " + failure.message());
    if (files.empty()) throw Failure(kBadInput, images::DisplayName(folder) + ": has no background in it");
    std::sort(files.begin(), files.end());
    return files;
}

bool Fits(const FittedBackground& fitted, const images::Picture& photo) {
    return fitted.width == photo.width && fitted.height == photo.height && fitted.depth == photo.depth &&
           fitted.profile == photo.profile;
}

void ReadSource(BackgroundSource& source) {
    if (!source.failure.empty()) throw Failure(kBadInput, source.failure);
    try {
        source.picture = ReadInputPicture(source.path);
    } catch (const Failure& failure) {
        source.failure = failure.what();
        throw;
    }
}

}  // namespace

images::Fit FitNamed(const std::string& name) {
    return name == "cover"     ? images::Fit::kCover
           : name == "stretch" ? images::Fit::kStretch
                               : images::Fit::kNone;
}

std::vector<fs::path> FindBackgrounds(const std::vector<std::string>& over) {
    std::vector<fs::path> paths;
    for (const std::string& text : over) {
        const fs::path path = PathFromUtf8(text);
        std::error_code ignored;
        if (fs::is_directory(path, ignored)) {
            for (fs::path& file : FilesOf(path)) paths.push_back(std::move(file));
        } else if (images::IsStandardStream(path) || fs::exists(path, ignored)) {
            paths.push_back(path);
        } else {
            throw Failure(kBadInput, images::DisplayName(path) + ": no such file");
        }
    }
    return paths;
}

fs::path ActionFileOf(const fs::path& background) {
    return fs::path(background).replace_extension(".json");
}

void OpenBackgrounds(Backgrounds& backgrounds, const std::vector<fs::path>& paths, images::Fit fit,
                     const ParameterValues& action, const ParameterValues& options) {
    for (std::size_t i = 0; i < std::max<std::size_t>(1, paths.size()); ++i) {
        BackgroundSource& source = backgrounds.emplace_back();
        source.parameters = action;
        source.fit = fit;
        source.keepsPicture = paths.size() <= 1 || images::IsSpecialFile(paths[i]);
        if (!paths.empty()) {
            source.path = paths[i];
            source.name = images::InputName(paths[i]);
            const fs::path own = ActionFileOf(paths[i]);
            std::error_code ignored;
            if (fs::is_regular_file(own, ignored)) MergeParameters(source.parameters, ReadAction(own));
        }
        MergeParameters(source.parameters, options);
    }
}

void ReadSingleBackground(Backgrounds& backgrounds) {
    if (backgrounds.size() == 1 && !backgrounds[0].path.empty()) ReadSource(backgrounds[0]);
}

// A profile's header names its colour space.
void DropGreyProfile(images::Picture& picture) {
    constexpr std::size_t kColourSpaceAt = 16;
    if (picture.profile.size() < kColourSpaceAt + 4 ||
        std::memcmp(picture.profile.data() + kColourSpaceAt, "RGB ", 4) != 0) {
        picture.profile.clear();
    }
}

std::shared_ptr<FittedBackground> MakeFittedBackground(images::Picture picture,
                                                       const images::Picture& photo) {
    auto fitted = std::make_shared<FittedBackground>();
    fitted->width = photo.width;
    fitted->height = photo.height;
    fitted->depth = photo.depth;
    fitted->profile = photo.profile;
    images::ConvertToRgb(picture);
    images::ChangeDepth(picture, photo.depth);
    DropGreyProfile(picture);
    images::FlattenOnWhite(picture);
    fitted->isTaggedAlone = photo.profile.empty() && !picture.profile.empty();
    const bool bothHaveOne = !photo.profile.empty() && !picture.profile.empty();
    if (bothHaveOne && picture.profile != photo.profile)
        fitted->isConverted = images::ConvertToProfile(picture, photo.profile);
    for (std::size_t c = 0; c < 3; ++c) fitted->colour[c] = TakeFileSamples(picture.colour[c], photo.depth);
    return fitted;
}

std::shared_ptr<FittedBackground> FitBackground(BackgroundSource& source, const images::Picture& photo) {
    const std::lock_guard<std::mutex> lock(source.mutex);
    auto& [first, second] = source.fitted;
    if (first != nullptr && Fits(*first, photo)) return first;
    std::swap(first, second);
    if (first != nullptr && Fits(*first, photo)) return first;
    first.reset();
    if (source.picture.width == 0) ReadSource(source);
    auto fitted = MakeFittedBackground(
        images::FitPicture(source.picture, photo.width, photo.height, source.fit), photo);
    if (!source.keepsPicture || source.isForOne) source.picture = {};
    if (!source.isForOne) first = fitted;
    return fitted;
}

bool IsFailureOf(BackgroundSource& source, const std::string& line) {
    const std::lock_guard<std::mutex> lock(source.mutex);
    return line == source.failure;
}

void ReleaseBackgrounds(Backgrounds& backgrounds) {
    for (BackgroundSource& source : backgrounds) {
        const std::lock_guard<std::mutex> lock(source.mutex);
        source.picture = {};
        for (auto& fitted : source.fitted) fitted.reset();
    }
}

}  // namespace frond

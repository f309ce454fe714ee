#include "frond/keying.h"

#include <cstring>

#include "frond/command.h"
#include "images/colour_profile.h"
#include "images/picture_file.h"
#include "images/resample.h"
#include "images/text.h"

namespace frond {

namespace {

// The two layers of a run, of the same size and depth.
struct Layers {
    images::Picture photo, background;
};

images::LayeredPicture ReadLayeredFile(const std::filesystem::path& path) {
    try {
        return images::ReadLayeredPicture(path);
    } catch (const images::PictureError& error) {
        throw Failure(kBadInput, error.what());
    }
}

std::string SizeText(const images::Picture& picture) {
    return std::to_string(picture.width) + "x" + std::to_string(picture.height);
}

// Removes a profile that is not for RGB, since the picture is RGB now. Its header names its colour space.
void DropGreyProfile(images::Picture& picture) {
    constexpr std::size_t kColourSpaceAt = 16;
    if (picture.profile.size() < kColourSpaceAt + 4 ||
        std::memcmp(picture.profile.data() + kColourSpaceAt, "RGB ", 4) != 0) {
        picture.profile.clear();
    }
}

Layers ReadLayers(const KeySettings& settings, const std::filesystem::path& path) {
    images::LayeredPicture file = ReadLayeredFile(path);
    Layers layers;
    layers.photo = std::move(file.merged);
    const int width = layers.photo.width, height = layers.photo.height;
    if (settings.background.width > 0) {
        layers.background = images::FitPicture(settings.background, width, height, settings.fit);
    } else if (file.layers.size() == 2) {
        images::Picture upper = images::PlaceOnCanvas(file.layers[1], width, height);
        upper.profile = layers.photo.profile;
        upper.resolutionX = layers.photo.resolutionX;
        upper.resolutionY = layers.photo.resolutionY;
        upper.resolutionUnit = layers.photo.resolutionUnit;
        layers.photo = std::move(upper);
        layers.background = images::PlaceOnCanvas(file.layers[0], width, height);
        layers.background.profile = layers.photo.profile;
    } else if (ValueOrDefault(settings.parameters, "FlagOutputAlpha") != 0) {
        layers.background = images::MakePicture(width, height, layers.photo.depth, 3, false);
    } else {
        throw Failure(kBadUsage, images::DisplayName(path) +
                                     ": has no background; give one with --over, or use --transparent");
    }
    const int depth = settings.depth != 0 ? settings.depth : layers.photo.depth;
    for (images::Picture* picture : {&layers.photo, &layers.background}) {
        images::ConvertToRgb(*picture);
        images::ChangeDepth(*picture, depth);
    }
    DropGreyProfile(layers.photo);
    DropGreyProfile(layers.background);
    images::FlattenOnWhite(layers.background);
    return layers;
}

// Converts the background to the photograph's profile when both have one. Returns false when that is
// impossible.
bool ConvertBackground(Layers& layers) {
    const bool bothHaveOne = !layers.photo.profile.empty() && !layers.background.profile.empty();
    if (!bothHaveOne || layers.background.profile == layers.photo.profile) return true;
    return images::ConvertToProfile(layers.background, layers.photo.profile);
}

// The selection's values, 0 to 255; a colour mask is reduced to its brightness. Empty without a selection.
images::Plane SelectionFor(const KeySettings& settings, const images::Picture& photo) {
    if (settings.selection.width == 0) return {};
    images::Picture mask = settings.selection;
    if (mask.width != photo.width || mask.height != photo.height) {
        throw Failure(kBadInput, settings.selectionName + ": is " + SizeText(mask) +
                                     " pixels, the photograph " + SizeText(photo));
    }
    images::ChangeDepth(mask, 8);
    if (mask.colour.size() == 1) return mask.colour[0];
    images::Plane bytes(images::PixelCount(mask));
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint16_t>(
            (299u * mask.colour[0][i] + 587u * mask.colour[1][i] + 114u * mask.colour[2][i] + 500u) / 1000u);
    }
    return bytes;
}

// Composites the target layer over the background, as a host displays the document.
void CompositeOver(images::Picture& layer, const images::Picture& background) {
    const auto largest = static_cast<std::uint32_t>(images::LargestSample(layer.depth));
    for (std::size_t c = 0; c < layer.colour.size(); ++c) {
        images::Plane& plane = layer.colour[c];
        const images::Plane& below = background.colour[c];
        for (std::size_t i = 0; i < plane.size(); ++i) {
            const std::uint32_t alpha = layer.alpha[i];
            if (alpha == largest) continue;
            plane[i] = static_cast<std::uint16_t>(
                (plane[i] * alpha + below[i] * (largest - alpha) + largest / 2) / largest);
        }
    }
    layer.alpha.clear();
}

// The parameters with which the filter writes the matte alone.
ParameterValues MatteParameters(ParameterValues values) {
    SetValue(values, "FlagOutputAlpha", 1);
    SetValue(values, "FlagRealityInteg", 1);
    SetValue(values, "FlagShowSelect", 0);
    SetValue(values, "FlagOrgPhoto", 0);
    return values;
}

bool IsMatteRun(const ParameterValues& values) {
    return ValueOrDefault(values, "FlagOutputAlpha") != 0 &&
           ValueOrDefault(values, "FlagRealityInteg") != 0 && ValueOrDefault(values, "FlagShowSelect") == 0 &&
           ValueOrDefault(values, "FlagOrgPhoto") == 0;
}

images::Picture MakeGrey(images::Plane plane, const images::Picture& like) {
    images::Picture grey;
    grey.width = like.width;
    grey.height = like.height;
    grey.depth = like.depth;
    grey.colour.push_back(std::move(plane));
    grey.resolutionX = like.resolutionX;
    grey.resolutionY = like.resolutionY;
    grey.resolutionUnit = like.resolutionUnit;
    return grey;
}

}  // namespace

KeyingResult KeyPhotograph(Session& session, const KeySettings& settings, const std::filesystem::path& path,
                           bool wantsResult, bool wantsMatte) {
    Layers layers = ReadLayers(settings, path);
    const images::Plane selection = SelectionFor(settings, layers.photo);
    RunInput job{&layers.photo, &layers.background, &selection, settings.parameters, settings.withDialog};
    KeyingResult keyed;
    if (!ConvertBackground(layers)) {
        keyed.warning = settings.backgroundName +
                        ": its colour profile cannot be converted to the photograph's; its values are "
                        "used unchanged";
    }
    if (wantsResult || IsMatteRun(settings.parameters)) {
        RunOutput run = RunModule(session, job);
        keyed.recorded = run.parameters;
        if (wantsMatte && IsMatteRun(run.parameters)) keyed.matte = MakeGrey(run.layer.alpha, layers.photo);
        keyed.result = std::move(run.layer);
        if (ValueOrDefault(run.parameters, "FlagOutputAlpha") == 0)
            CompositeOver(keyed.result, layers.background);
        keyed.result.profile = layers.photo.profile;
        keyed.result.resolutionX = layers.photo.resolutionX;
        keyed.result.resolutionY = layers.photo.resolutionY;
        keyed.result.resolutionUnit = layers.photo.resolutionUnit;
    }
    if (wantsMatte && keyed.matte.width == 0) {
        job.parameters = MatteParameters(settings.withDialog ? keyed.recorded : settings.parameters);
        job.withDialog = false;
        RunOutput run = RunModule(session, job);
        if (!wantsResult) keyed.recorded = run.parameters;
        keyed.matte = MakeGrey(std::move(run.layer.alpha), layers.photo);
    }
    return keyed;
}

}  // namespace frond

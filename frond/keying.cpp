#include "frond/keying.h"

#include <cstring>

#include "frond/frond.h"
#include "images/atomic_file.h"
#include "images/colour.h"
#include "images/picture_io.h"

namespace frond {

namespace {

// The two layers of a run, of one size and depth.
struct Plate {
    images::Picture photo, background;
};

images::LayeredPicture ReadLayers(const std::filesystem::path& path) {
    try {
        return images::ReadLayeredPicture(path);
    } catch (const images::PictureError& error) {
        throw Failure(kBadInput, error.what());
    }
}

std::string SizeText(const images::Picture& picture) {
    return std::to_string(picture.width) + "x" + std::to_string(picture.height);
}

// A profile says of what colours it speaks: one for grey has no meaning for a picture turned into RGB.
void DropGreyProfile(images::Picture& picture) {
    constexpr std::size_t kColourSpaceAt = 16;
    if (picture.profile.size() < kColourSpaceAt + 4 ||
        std::memcmp(picture.profile.data() + kColourSpaceAt, "RGB ", 4) != 0) {
        picture.profile.clear();
    }
}

Plate ReadPlate(const KeySettings& settings, const std::filesystem::path& path) {
    images::LayeredPicture file = ReadLayers(path);
    Plate plate;
    plate.photo = std::move(file.merged);
    const int width = plate.photo.width, height = plate.photo.height;
    if (settings.background.width > 0) {
        plate.background = images::FitPicture(settings.background, width, height, settings.fit);
    } else if (file.layers.size() == 2) {
        images::Picture upper = images::PlaceOnCanvas(file.layers[1], width, height);
        upper.profile = plate.photo.profile;
        upper.resolutionX = plate.photo.resolutionX;
        upper.resolutionY = plate.photo.resolutionY;
        upper.resolutionUnit = plate.photo.resolutionUnit;
        plate.photo = std::move(upper);
        plate.background = images::PlaceOnCanvas(file.layers[0], width, height);
        plate.background.profile = plate.photo.profile;
    } else if (ValueOrDefault(settings.parameters, "FlagOutputAlpha") != 0) {
        plate.background = images::MakePicture(width, height, plate.photo.depth, 3, false);
    } else {
        throw Failure(kBadUsage, images::DisplayName(path) +
                                     ": has no background; give one with --over, or use --transparent");
    }
    const int depth = settings.depth != 0 ? settings.depth : plate.photo.depth;
    for (images::Picture* picture : {&plate.photo, &plate.background}) {
        images::MakeColour(*picture);
        images::ChangeDepth(*picture, depth);
    }
    DropGreyProfile(plate.photo);
    DropGreyProfile(plate.background);
    images::Flatten(plate.background);
    return plate;
}

// Where both pictures say what their values mean, the background is brought to the photograph's profile. What
// has none is taken as it stands. False when the conversion cannot be done.
bool MatchColours(Plate& plate) {
    const bool bothSay = !plate.photo.profile.empty() && !plate.background.profile.empty();
    if (!bothSay || plate.background.profile == plate.photo.profile) return true;
    return images::ConvertColours(plate.background, plate.photo.profile);
}

// A mask's values as bytes; a coloured mask counts by its brightness.
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

// The target layer over the background, as the host would show the document.
void LayOver(images::Picture& layer, const images::Picture& background) {
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

// The parameters that write the matte alone, each pixel's at its own place.
ParameterValues ForMatte(ParameterValues values) {
    Set(values, "FlagOutputAlpha", 1);
    Set(values, "FlagRealityInteg", 1);
    Set(values, "FlagShowSelect", 0);
    Set(values, "FlagOrgPhoto", 0);
    return values;
}

bool IsMatteRun(const ParameterValues& values) {
    return ValueOrDefault(values, "FlagOutputAlpha") != 0 &&
           ValueOrDefault(values, "FlagRealityInteg") != 0 && ValueOrDefault(values, "FlagShowSelect") == 0 &&
           ValueOrDefault(values, "FlagOrgPhoto") == 0;
}

images::Picture GreyOf(images::Plane plane, const images::Picture& like) {
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

Keyed KeyPhotograph(Session& session, const KeySettings& settings, const std::filesystem::path& path,
                    bool wantsResult, bool wantsMatte) {
    Plate plate = ReadPlate(settings, path);
    const images::Plane selection = SelectionFor(settings, plate.photo);
    KeyJob job{&plate.photo, &plate.background, &selection, settings.parameters, settings.withDialog};
    Keyed keyed;
    if (!MatchColours(plate)) {
        keyed.warning = settings.backgroundName +
                        ": its colour profile cannot be converted to the photograph's; its values are taken "
                        "as they stand";
    }
    if (wantsResult || IsMatteRun(settings.parameters)) {
        KeyResult run = RunModule(session, job);
        keyed.recorded = run.parameters;
        if (wantsMatte && IsMatteRun(run.parameters)) keyed.matte = GreyOf(run.layer.alpha, plate.photo);
        keyed.result = std::move(run.layer);
        if (ValueOrDefault(run.parameters, "FlagOutputAlpha") == 0) LayOver(keyed.result, plate.background);
        keyed.result.profile = plate.photo.profile;
        keyed.result.resolutionX = plate.photo.resolutionX;
        keyed.result.resolutionY = plate.photo.resolutionY;
        keyed.result.resolutionUnit = plate.photo.resolutionUnit;
    }
    if (wantsMatte && keyed.matte.width == 0) {
        job.parameters = ForMatte(settings.withDialog ? keyed.recorded : settings.parameters);
        job.withDialog = false;
        KeyResult run = RunModule(session, job);
        if (!wantsResult) keyed.recorded = run.parameters;
        keyed.matte = GreyOf(std::move(run.layer.alpha), plate.photo);
    }
    return keyed;
}

}  // namespace frond

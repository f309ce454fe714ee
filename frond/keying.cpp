#include "frond/keying.h"

#include "frond/advice.h"
#include "frond/command.h"
#include "images/atomic_file.h"
#include "images/picture_file.h"
#include "images/text.h"

namespace frond {

namespace {

images::LayeredPicture ReadLayeredFile(const std::filesystem::path& path) {
    try {
        return images::ReadLayeredPicture(path);
    } catch (const images::PictureError& error) {
        throw Failure(kBadInput, error.what());
    }
}

std::string SizeText(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

// Layers above the lowest have transparency, even when they are opaque.
host::Layer TakeLayer(images::Picture& picture) {
    host::Layer layer;
    layer.name = "Photograph";
    for (images::Plane& plane : picture.colour) layer.colour.push_back(TakeChannel(plane, picture.depth));
    picture.colour.clear();
    if (picture.alpha.empty()) {
        const host::Document like = host::MakeDocument(picture.width, picture.height, picture.depth);
        layer.transparency = host::MakeChannel(like, picture.depth == 8 ? 255 : host::kHostMaxSample16);
    } else {
        layer.transparency = TakeChannel(picture.alpha, picture.depth);
    }
    return layer;
}

void RequireSelectionOfSize(const Selection& selection, const images::Picture& photo) {
    if (selection.width == 0) return;
    if (selection.width == photo.width && selection.height == photo.height) return;
    throw Failure(kBadInput, selection.name + ": is " + SizeText(selection.width, selection.height) +
                                 " pixels, the photograph " + SizeText(photo.width, photo.height));
}

// The filter reads one selection byte per pixel at every depth. In a 16-bit document the bytes are therefore
// in the first half of the plane.
host::Channel SelectionChannel(const Selection& selection, int depth) {
    host::Channel channel;
    channel.bytes.reserve(selection.values.size() * static_cast<std::size_t>(depth / 8));
    channel.bytes = selection.values;
    channel.bytes.resize(selection.values.size() * static_cast<std::size_t>(depth / 8), 255);
    return channel;
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

}  // namespace

Selection MakeSelection(images::Picture mask, const std::string& name) {
    Selection selection;
    selection.name = name;
    selection.width = mask.width;
    selection.height = mask.height;
    images::ChangeDepth(mask, 8);
    selection.values.resize(images::PixelCount(mask));
    for (std::size_t i = 0; i < selection.values.size(); ++i) {
        const bool isGrey = mask.colour.size() == 1;
        selection.values[i] = static_cast<std::uint8_t>(
            isGrey ? mask.colour[0][i]
                   : (299u * mask.colour[0][i] + 587u * mask.colour[1][i] + 114u * mask.colour[2][i] + 500u) /
                         1000u);
    }
    return selection;
}

ReadPhotograph ReadForKeying(const KeySettings& settings, const BackgroundSource& source,
                             const std::filesystem::path& path) {
    images::LayeredPicture file = ReadLayeredFile(path);
    const int width = file.merged.width, height = file.merged.height;
    const bool isOverOwnLayer = source.path.empty() && file.layers.size() == 2;
    images::Picture picture = std::move(file.merged), lower;
    if (isOverOwnLayer) {
        images::Picture upper = images::PlaceOnCanvas(file.layers[1], width, height);
        upper.profile = picture.profile;
        upper.exif = picture.exif;
        upper.xmp = picture.xmp;
        upper.resolutionX = picture.resolutionX;
        upper.resolutionY = picture.resolutionY;
        upper.resolutionUnit = picture.resolutionUnit;
        picture = std::move(upper);
        lower = images::PlaceOnCanvas(file.layers[0], width, height);
        lower.profile = picture.profile;
    } else if (source.path.empty()) {
        if (ValueOrDefault(source.parameters, "FlagOutputAlpha") == 0) {
            throw Failure(kBadUsage, images::InputName(path) +
                                         ": has no background; give one with --over, or use --transparent");
        }
        lower = images::MakePicture(width, height, picture.depth, 3, false);
    }
    file = {};
    images::ConvertToRgb(picture);
    images::ChangeDepth(picture, settings.depth != 0 ? settings.depth : picture.depth);
    DropGreyProfile(picture);
    RequireSelectionOfSize(settings.selection, picture);
    if (settings.lift > 0) images::RaiseBlacks(picture, settings.lift);
    ReadPhotograph photo;
    if (!settings.withDialog) {
        const std::vector<std::uint8_t>& selected = settings.selection.values;
        photo.warnings = AdviseOn(images::DisplayName(path), picture, source.parameters,
                                  selected.empty() ? nullptr : selected.data());
    }
    photo.layer = TakeLayer(picture);
    if (source.path.empty()) photo.lower = MakeFittedBackground(std::move(lower), picture);
    photo.header = std::move(picture);
    return photo;
}

KeyedPhotograph Key(Session& session, const KeySettings& settings, const ParameterValues& parameters,
                    const KeyingInput& input) {
    const images::Picture& header = input.photo.header;
    host::Document document = host::MakeDocument(header.width, header.height, header.depth);
    document.layers.resize(2);
    document.layers[0].name = "Background";
    // At 8 bits a document's samples are those of a file. The document borrows them where it can.
    const bool borrows = input.ownsBackground && header.depth == 8;
    for (FileSamples& samples : input.background->colour) {
        host::Channel channel;
        if (borrows) {
            channel.bytes = std::move(samples);
        } else {
            channel = ChannelOf(samples, header.depth);
        }
        document.layers[0].colour.push_back(std::move(channel));
    }
    document.layers[1] = input.takesLayer ? std::move(input.photo.layer) : input.photo.layer;
    if (settings.selection.width > 0) document.selection = SelectionChannel(settings.selection, header.depth);
    document.targetLayer = 1;

    KeyedPhotograph keyed;
    const bool givesMatte = IsMatteRun(parameters);
    ParameterValues matteParameters = parameters;
    if (settings.wantsResult || givesMatte) {
        host::Layer unkeyed;  // for the second run
        if (settings.wantsMatte && (settings.withDialog || !givesMatte)) unkeyed = document.layers[1];
        keyed.recorded = RunModule(session, document, parameters, settings.withDialog);
        keyed.layer = std::move(document.layers[1]);
        if (settings.wantsMatte && IsMatteRun(keyed.recorded)) keyed.matte = *keyed.layer.transparency;
        document.layers[1] = std::move(unkeyed);
        if (settings.withDialog) matteParameters = keyed.recorded;
    }
    if (settings.wantsMatte && keyed.matte.bytes.empty()) {
        const ParameterValues recorded =
            RunModule(session, document, MatteParameters(matteParameters), false);
        if (!settings.wantsResult) keyed.recorded = recorded;
        keyed.matte = std::move(*document.layers[1].transparency);
    }
    if (!settings.wantsResult) keyed.layer = {};
    for (std::size_t c = 0; borrows && c < 3; ++c)
        input.background->colour[c] = std::move(document.layers[0].colour[c].bytes);
    return keyed;
}

images::Picture TakeResult(const images::Picture& header, const FittedBackground& background,
                           KeyedPhotograph& keyed) {
    images::Picture result = header;
    const bool isTransparent = ValueOrDefault(keyed.recorded, "FlagOutputAlpha") != 0;
    for (std::size_t c = 0; c < keyed.layer.colour.size(); ++c) {
        host::Channel& channel = keyed.layer.colour[c];
        result.colour.push_back(isTransparent ? TakePlane(channel, result.depth)
                                              : TakeComposite(channel, *keyed.layer.transparency,
                                                              background.colour[c], result.depth));
    }
    if (isTransparent) result.alpha = TakePlane(*keyed.layer.transparency, result.depth);
    keyed.layer = {};
    return result;
}

images::Picture TakeMatte(const images::Picture& header, KeyedPhotograph& keyed) {
    images::Picture matte = header;
    matte.profile.clear();  // it is for RGB
    matte.colour.push_back(TakePlane(keyed.matte, matte.depth));
    return matte;
}

}  // namespace frond

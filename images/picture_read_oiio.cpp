// Reads picture files with OpenImageIO.
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "images/atomic_file.h"
#include "images/picture_file.h"
#include "images/picture_metadata.h"
#include "images/picture_validation.h"
#include "images/text.h"

namespace images {

namespace {

using OIIO::ImageInput;
using OIIO::ImageSpec;
using OIIO::TypeDesc;

// The channels' indices in the file; -1 when missing.
struct ChannelMap {
    int colour[3] = {-1, -1, -1};
    int colours = 0;
    int alpha = -1;
};

int ChannelNamed(const ImageSpec& spec, const char* name) {
    const auto at = std::find(spec.channelnames.begin(), spec.channelnames.end(), name);
    return at == spec.channelnames.end() ? -1 : static_cast<int>(at - spec.channelnames.begin());
}

// Uses the channels' names, since a rendered picture can have any number of other channels.
ChannelMap MapChannels(const ImageSpec& spec) {
    ChannelMap map;
    // OpenImageIO's GIF reader reports an alpha channel after the last channel.
    const bool isThere = spec.alpha_channel >= 0 && spec.alpha_channel < spec.nchannels;
    map.alpha = isThere ? spec.alpha_channel : ChannelNamed(spec, "A");
    const char* const names[] = {"R", "G", "B"};
    for (int i = 0; i < 3; ++i) map.colour[i] = ChannelNamed(spec, names[i]);
    if (map.colour[0] >= 0 && map.colour[1] >= 0 && map.colour[2] >= 0) {
        map.colours = 3;
        return map;
    }
    map.colour[0] = ChannelNamed(spec, "Y");
    if (map.colour[0] < 0 && spec.nchannels <= 2 && map.alpha != 0) map.colour[0] = 0;
    map.colours = map.colour[0] >= 0 ? 1 : 0;
    return map;
}

void RequireRgbOrGrey(const ImageSpec& spec, const std::string& name) {
    for (const char* attribute : {"tiff:ColorSpace", "jpeg:ColorSpace", "psd:ColorSpace"}) {
        const std::string space = spec.get_string_attribute(attribute);
        if (space == "CMYK" || space == "YCbCrK" || space == "color separated") {
            throw PictureError(name + ": is a CMYK picture; convert it to RGB first");
        }
    }
    const int photometric = spec.get_int_attribute("tiff:PhotometricInterpretation", 2);
    if (photometric >= 8 && photometric <= 10) {
        throw PictureError(name + ": is a Lab picture; convert it to RGB first");
    }
}

// The sRGB transfer curve.
float EncodeLinear(float linear) {
    return linear <= 0.0031308f ? linear * 12.92f : 1.055f * std::pow(linear, 1 / 2.4f) - 0.055f;
}

std::uint16_t Quantise(float value) {
    return static_cast<std::uint16_t>(std::lround(std::min(1.0f, std::max(0.0f, value)) * 65535));  // NaN: 0
}

// Splits interleaved floating-point samples into planes of 16 bits. Divides premultiplied colour by alpha,
// and encodes linear light with the sRGB curve.
void DeinterleaveFloats(const std::vector<float>& samples, int channels, const ChannelMap& map,
                        bool multiplied, bool linear, Picture& picture) {
    for (std::size_t i = 0; i < PixelCount(picture); ++i) {
        const float* pixel = samples.data() + i * channels;
        const float alpha = map.alpha >= 0 ? pixel[map.alpha] : 1;
        for (int c = 0; c < map.colours; ++c) {
            float value = pixel[map.colour[c]];
            if (multiplied && alpha > 0) value /= alpha;
            picture.colour[c][i] = Quantise(linear ? EncodeLinear(value) : value);
        }
        if (map.alpha >= 0) picture.alpha[i] = Quantise(alpha);
    }
}

// The same for integers, which keep their scale.
template <typename Sample>
void DeinterleaveIntegers(const std::vector<Sample>& samples, int channels, const ChannelMap& map,
                          bool multiplied, Picture& picture) {
    const std::uint32_t largest = static_cast<std::uint32_t>(LargestSample(picture.depth));
    for (std::size_t i = 0; i < PixelCount(picture); ++i) {
        const Sample* pixel = samples.data() + i * channels;
        const std::uint32_t alpha = map.alpha >= 0 ? pixel[map.alpha] : largest;
        for (int c = 0; c < map.colours; ++c) {
            std::uint32_t value = pixel[map.colour[c]];
            if (multiplied && alpha > 0) value = std::min(largest, (value * largest + alpha / 2) / alpha);
            picture.colour[c][i] = static_cast<std::uint16_t>(value);
        }
        if (map.alpha >= 0) picture.alpha[i] = static_cast<std::uint16_t>(alpha);
    }
}

template <typename Sample>
std::vector<Sample> ReadSamples(ImageInput& input, int subimage, const ImageSpec& spec, TypeDesc type,
                                const std::string& name) {
    std::vector<Sample> samples(spec.image_pixels() * spec.nchannels);
    if (!input.read_image(subimage, 0, 0, spec.nchannels, type, samples.data()) || input.has_error()) {
        throw PictureError(name + ": is damaged or cut short: " + ToSingleLine(input.geterror()));
    }
    return samples;
}

void ReadResolution(const ImageSpec& spec, Picture& picture) {
    const std::string unit = spec.get_string_attribute("ResolutionUnit");
    const float x = spec.get_float_attribute("XResolution");
    const float y = spec.get_float_attribute("YResolution", x);
    if (x < 1 || y < 1) return;  // some writers store 0 or a value near it
    picture.resolutionX = x;
    picture.resolutionY = y;
    if (unit == "in" || unit == "inch") {
        picture.resolutionUnit = ResolutionUnit::kInch;
        picture.resolutionX = RoundResolution(x);
        picture.resolutionY = RoundResolution(y);
    }
    if (unit == "cm") picture.resolutionUnit = ResolutionUnit::kCentimetre;
    if (unit == "m") {
        picture.resolutionUnit = ResolutionUnit::kCentimetre;
        picture.resolutionX /= 100;
        picture.resolutionY /= 100;
    }
}

void ReadProfile(const ImageSpec& spec, Picture& picture) {
    const OIIO::ParamValue* profile = spec.find_attribute("ICCProfile");
    if (profile == nullptr) return;
    const auto* bytes = static_cast<const std::uint8_t*>(profile->data());
    picture.profile.assign(bytes, bytes + profile->datasize());
}

// Whether alpha is straight. The readers listed return straight alpha without setting the attribute.
bool HasStraightAlpha(const ImageSpec& spec, const std::string& format) {
    if (spec.get_int_attribute("oiio:UnassociatedAlpha") != 0) return true;
    const char* const straight[] = {"bmp", "dds", "heif", "ico", "jpeg2000", "psd"};
    return std::find(std::begin(straight), std::end(straight), format) != std::end(straight);
}

Picture ReadSubimage(ImageInput& input, int subimage, const std::string& name) {
    const ImageSpec spec = input.spec_dimensions(subimage).nchannels > 0 ? input.spec(subimage) : ImageSpec();
    if (spec.width < 1 || spec.height < 1) throw PictureError(name + ": has no pixels");
    if (spec.deep || spec.depth > 1) throw PictureError(name + ": is not a flat picture");
    RequireRgbOrGrey(spec, name);
    const ChannelMap map = MapChannels(spec);
    if (map.colours == 0) throw PictureError(name + ": has neither RGB nor grey channels");

    const bool isFloat = spec.format.is_floating_point();
    const int depth = !isFloat && spec.format.size() == 1 ? 8 : 16;
    Picture picture = MakePicture(spec.width, spec.height, depth, map.colours, map.alpha >= 0);
    const bool multiplied = map.alpha >= 0 && !HasStraightAlpha(spec, input.format_name());
    const bool linear = OIIO::Strutil::iequals(spec.get_string_attribute("oiio:ColorSpace"), "linear");
    if (isFloat) {
        DeinterleaveFloats(ReadSamples<float>(input, subimage, spec, TypeDesc::FLOAT, name), spec.nchannels,
                           map, multiplied, linear, picture);
    } else if (depth == 8) {
        DeinterleaveIntegers(ReadSamples<std::uint8_t>(input, subimage, spec, TypeDesc::UINT8, name),
                             spec.nchannels, map, multiplied, picture);
    } else {
        DeinterleaveIntegers(ReadSamples<std::uint16_t>(input, subimage, spec, TypeDesc::UINT16, name),
                             spec.nchannels, map, multiplied, picture);
    }
    ReadProfile(spec, picture);
    ReadResolution(spec, picture);
    picture.offsetX = spec.x - spec.full_x;
    picture.offsetY = spec.y - spec.full_y;
    return picture;
}

std::unique_ptr<ImageInput> OpenPicture(const std::filesystem::path& path) {
    const std::string name = DisplayName(path);
    ValidatePictureFile(path);
    ImageSpec hints;
    hints.attribute("oiio:UnassociatedAlpha", 1);
    std::unique_ptr<ImageInput> input = ImageInput::open(path.string(), &hints);
    if (input == nullptr) {
        throw PictureError(name + ": cannot be read as a picture: " + ToSingleLine(OIIO::geterror()));
    }
    return input;
}

// The picture to read: the largest of an icon, which has one picture in several sizes; else the first.
int MainSubimage(ImageInput& input) {
    int best = 0;
    if (std::string(input.format_name()) != "ico") return best;
    for (int i = 1; input.seek_subimage(i, 0); ++i) {
        if (input.spec_dimensions(i).image_pixels() > input.spec_dimensions(best).image_pixels()) best = i;
    }
    return best;
}

Picture ReadMerged(ImageInput& input, const std::string& name) {
    const int subimage = MainSubimage(input);
    Picture picture = ReadSubimage(input, subimage, name);
    const ImageSpec spec = input.spec(subimage);
    // A rendered picture's data window can differ from its display window.
    if (picture.offsetX != 0 || picture.offsetY != 0 || spec.full_width != spec.width ||
        spec.full_height != spec.height) {
        picture = PlaceOnCanvas(picture, spec.full_width, spec.full_height);
    }
    return ApplyOrientation(std::move(picture), spec.get_int_attribute("Orientation", 1));
}

}  // namespace

Picture ReadPicture(const std::filesystem::path& path) {
    const std::unique_ptr<ImageInput> input = OpenPicture(path);
    Picture picture = ReadMerged(*input, DisplayName(path));
    const std::string format = input->format_name();
    if (format == "jpeg") picture.profile = ReadJpegProfile(ReadFileBytes(path));
    if (format == "webp")
        picture = ApplyOrientation(std::move(picture), ReadWebpOrientation(ReadFileBytes(path)));
    return picture;
}

LayeredPicture ReadLayeredPicture(const std::filesystem::path& path) {
    const std::unique_ptr<ImageInput> input = OpenPicture(path);
    LayeredPicture result;
    if (std::string(input->format_name()) != "psd") {
        result.merged = ReadPicture(path);
        return result;
    }
    result.merged = ReadMerged(*input, DisplayName(path));
    for (int subimage = 1; subimage <= 2 && input->seek_subimage(subimage, 0); ++subimage) {
        const ImageSpec spec = input->spec_dimensions(subimage);
        if (spec.width < 1 || spec.height < 1) {
            // An empty layer is still a layer: it becomes one transparent pixel.
            Picture empty = MakePicture(1, 1, result.merged.depth, 3, true);
            empty.alpha[0] = 0;
            result.layers.push_back(std::move(empty));
        } else {
            result.layers.push_back(ReadSubimage(*input, subimage, DisplayName(path)));
        }
    }
    return result;
}

}  // namespace images

// Reading picture files through OpenImageIO.
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "images/atomic_file.h"
#include "images/picture_check.h"
#include "images/picture_io.h"
#include "images/picture_metadata.h"

namespace images {

namespace {

using OIIO::ImageInput;
using OIIO::ImageSpec;
using OIIO::TypeDesc;

// Which channel of the file is which; -1: not there.
struct ChannelMap {
    int colour[3] = {-1, -1, -1};
    int colours = 0;
    int alpha = -1;
};

int ChannelNamed(const ImageSpec& spec, const char* name) {
    const auto at = std::find(spec.channelnames.begin(), spec.channelnames.end(), name);
    return at == spec.channelnames.end() ? -1 : static_cast<int>(at - spec.channelnames.begin());
}

// By the channels' names, since a rendered picture may carry any number of others beside these.
ChannelMap MapChannels(const ImageSpec& spec) {
    ChannelMap map;
    // The reader of GIF files names a channel beyond the last one.
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

void RefuseOtherColours(const ImageSpec& spec, const std::string& name) {
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

// The sRGB curve over linear light.
float EncodeLinear(float linear) {
    return linear <= 0.0031308f ? linear * 12.92f : 1.055f * std::pow(linear, 1 / 2.4f) - 0.055f;
}

std::uint16_t Quantise(float value) {
    return static_cast<std::uint16_t>(std::lround(std::min(1.0f, std::max(0.0f, value)) * 65535));  // NaN: 0
}

// Interleaved floating-point samples into planes of 16 bits: colour multiplied by alpha is divided again, and
// linear light takes the sRGB curve.
void SeparateFloat(const std::vector<float>& samples, int channels, const ChannelMap& map, bool multiplied,
                   bool linear, Picture& picture) {
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

// The same for integers, which are the picture's samples as they stand.
template <typename Sample>
void SeparateIntegers(const std::vector<Sample>& samples, int channels, const ChannelMap& map,
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
        throw PictureError(name + ": is damaged or cut short: " + OneLine(input.geterror()));
    }
    return samples;
}

void ReadResolution(const ImageSpec& spec, Picture& picture) {
    const std::string unit = spec.get_string_attribute("ResolutionUnit");
    const float x = spec.get_float_attribute("XResolution");
    const float y = spec.get_float_attribute("YResolution", x);
    if (x < 1 || y < 1) return;  // some writers leave a zero, or next to it
    picture.resolutionX = x;
    picture.resolutionY = y;
    if (unit == "in" || unit == "inch") {
        picture.resolutionUnit = ResolutionUnit::kInch;
        picture.resolutionX = TidyResolution(x);
        picture.resolutionY = TidyResolution(y);
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

// Whether alpha is straight. These readers give it so without a word.
bool IsStraight(const ImageSpec& spec, const std::string& format) {
    if (spec.get_int_attribute("oiio:UnassociatedAlpha") != 0) return true;
    const char* const silent[] = {"bmp", "dds", "heif", "ico", "jpeg2000", "psd"};
    return std::find(std::begin(silent), std::end(silent), format) != std::end(silent);
}

Picture ReadSubimage(ImageInput& input, int subimage, const std::string& name) {
    const ImageSpec spec = input.spec_dimensions(subimage).nchannels > 0 ? input.spec(subimage) : ImageSpec();
    if (spec.width < 1 || spec.height < 1) throw PictureError(name + ": holds no pixels");
    if (spec.deep || spec.depth > 1) throw PictureError(name + ": is no flat picture");
    RefuseOtherColours(spec, name);
    const ChannelMap map = MapChannels(spec);
    if (map.colours == 0) throw PictureError(name + ": has neither red, green and blue nor grey");

    const bool isFloat = spec.format.is_floating_point();
    const int depth = !isFloat && spec.format.size() == 1 ? 8 : 16;
    Picture picture = MakePicture(spec.width, spec.height, depth, map.colours, map.alpha >= 0);
    const bool multiplied = map.alpha >= 0 && !IsStraight(spec, input.format_name());
    const bool linear = OIIO::Strutil::iequals(spec.get_string_attribute("oiio:ColorSpace"), "linear");
    if (isFloat) {
        SeparateFloat(ReadSamples<float>(input, subimage, spec, TypeDesc::FLOAT, name), spec.nchannels, map,
                      multiplied, linear, picture);
    } else if (depth == 8) {
        SeparateIntegers(ReadSamples<std::uint8_t>(input, subimage, spec, TypeDesc::UINT8, name),
                         spec.nchannels, map, multiplied, picture);
    } else {
        SeparateIntegers(ReadSamples<std::uint16_t>(input, subimage, spec, TypeDesc::UINT16, name),
                         spec.nchannels, map, multiplied, picture);
    }
    ReadProfile(spec, picture);
    ReadResolution(spec, picture);
    picture.offsetX = spec.x - spec.full_x;
    picture.offsetY = spec.y - spec.full_y;
    return picture;
}

std::unique_ptr<ImageInput> Open(const std::filesystem::path& path) {
    const std::string name = DisplayName(path);
    CheckPictureFile(path);
    ImageSpec hints;
    hints.attribute("oiio:UnassociatedAlpha", 1);
    std::unique_ptr<ImageInput> input = ImageInput::open(path.string(), &hints);
    if (input == nullptr) {
        throw PictureError(name + ": cannot be read as a picture: " + OneLine(OIIO::geterror()));
    }
    return input;
}

// An icon's file holds one picture in several sizes; any other file's first picture is the one.
int MainSubimage(ImageInput& input) {
    int best = 0;
    if (std::string(input.format_name()) != "ico") return best;
    for (int i = 1; input.seek_subimage(i, 0); ++i) {
        if (input.spec_dimensions(i).image_pixels() > input.spec_dimensions(best).image_pixels()) best = i;
    }
    return best;
}

Picture ReadFlat(ImageInput& input, const std::string& name) {
    const int subimage = MainSubimage(input);
    Picture picture = ReadSubimage(input, subimage, name);
    const ImageSpec spec = input.spec(subimage);
    // A rendered picture may cover only a part of its frame, or more than it.
    if (picture.offsetX != 0 || picture.offsetY != 0 || spec.full_width != spec.width ||
        spec.full_height != spec.height) {
        picture = PlaceOnCanvas(picture, spec.full_width, spec.full_height);
    }
    return ApplyOrientation(std::move(picture), spec.get_int_attribute("Orientation", 1));
}

}  // namespace

Picture ReadPicture(const std::filesystem::path& path) {
    const std::unique_ptr<ImageInput> input = Open(path);
    Picture picture = ReadFlat(*input, DisplayName(path));
    const std::string format = input->format_name();
    if (format == "jpeg") picture.profile = JpegProfile(ReadWholeFile(path));
    if (format == "webp") picture = ApplyOrientation(std::move(picture), OrientationIn(ReadWholeFile(path)));
    return picture;
}

LayeredPicture ReadLayeredPicture(const std::filesystem::path& path) {
    const std::unique_ptr<ImageInput> input = Open(path);
    LayeredPicture result;
    if (std::string(input->format_name()) != "psd") {
        result.merged = ReadPicture(path);
        return result;
    }
    result.merged = ReadFlat(*input, DisplayName(path));
    for (int subimage = 1; subimage <= 2 && input->seek_subimage(subimage, 0); ++subimage) {
        const ImageSpec spec = input->spec_dimensions(subimage);
        if (spec.width < 1 || spec.height < 1) {
            // An empty layer counts as a layer all the same: one transparent pixel stands for it.
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

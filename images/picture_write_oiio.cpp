// Writes picture files with OpenImageIO.
#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>

#include <memory>

#include "images/picture_file.h"
#include "images/picture_metadata.h"
#include "images/text.h"

namespace images {

namespace {

using OIIO::ImageOutput;
using OIIO::ImageSpec;
using OIIO::TypeDesc;

ImageSpec MakeSpec(const Picture& picture, const PictureFormat& format, int depth, int channels) {
    ImageSpec spec(picture.width, picture.height, channels, depth == 8 ? TypeDesc::UINT8 : TypeDesc::UINT16);
    spec.alpha_channel = -1;
    if (channels == 2 || channels == 4) {
        spec.alpha_channel = channels - 1;
        spec.channelnames[channels - 1] = "A";
        spec.attribute("oiio:UnassociatedAlpha", 1);
    }
    if (!picture.profile.empty() && format.holds16) {
        spec.attribute("ICCProfile", TypeDesc(TypeDesc::UINT8, static_cast<int>(picture.profile.size())),
                       picture.profile.data());
    }
    if (picture.resolutionX > 0) {
        const char* const units[] = {"none", "in", "cm"};
        spec.attribute("XResolution", static_cast<float>(picture.resolutionX));
        spec.attribute("YResolution", static_cast<float>(picture.resolutionY));
        // OpenImageIO's writers compute the vertical resolution as horizontal times this ratio.
        spec.attribute("PixelAspectRatio", static_cast<float>(picture.resolutionY / picture.resolutionX));
        spec.attribute("ResolutionUnit", units[static_cast<int>(picture.resolutionUnit)]);
    }
    if (format.holds16) {
        spec.attribute("compression", "zip");
    } else {
        spec.attribute("compression", "jpeg:95");
        spec.attribute("jpeg:subsampling",
                       "4:4:4");  // subsampling is most visible at the coloured edges of a composite
    }
    return spec;
}

template <typename Sample>
std::vector<Sample> Interleave(const Picture& picture, int channels) {
    std::vector<const Plane*> planes;
    for (const Plane& plane : picture.colour) planes.push_back(&plane);
    planes.push_back(&picture.alpha);
    std::vector<Sample> samples(PixelCount(picture) * channels);
    for (int c = 0; c < channels; ++c) {
        const Plane& plane = *planes[c];
        for (std::size_t i = 0; i < plane.size(); ++i) {
            samples[i * channels + c] = static_cast<Sample>(plane[i]);
        }
    }
    return samples;
}

}  // namespace

std::vector<std::uint8_t> EncodePicture(const std::filesystem::path& path, const Picture& picture) {
    const PictureFormat format = FormatOf(path);
    if (!format.holds16 && picture.depth == 16) {
        Picture reduced = picture;
        ChangeDepth(reduced, 8);
        return EncodePicture(path, reduced);
    }
    const int channels =
        static_cast<int>(picture.colour.size()) + (format.holdsAlpha && !picture.alpha.empty() ? 1 : 0);
    const std::unique_ptr<ImageOutput> output = ImageOutput::create(format.name);
    std::vector<std::uint8_t> bytes;
    OIIO::Filesystem::IOVecOutput memory(bytes);
    const ImageSpec spec = MakeSpec(picture, format, picture.depth, channels);
    if (!output || !output->set_ioproxy(&memory) || !output->open(path.string(), spec)) {
        throw PictureError(DisplayName(path) + ": cannot be encoded: " +
                           ToSingleLine(output ? output->geterror() : OIIO::geterror()));
    }
    const bool written =
        picture.depth == 8
            ? output->write_image(TypeDesc::UINT8, Interleave<std::uint8_t>(picture, channels).data())
            : output->write_image(TypeDesc::UINT16, Interleave<std::uint16_t>(picture, channels).data());
    const bool closed = output->close();
    if (!written || !closed) {
        throw PictureError(DisplayName(path) + ": cannot be encoded: " + ToSingleLine(output->geterror()));
    }
    // OpenImageIO writes a wrong profile when it needs more than one JPEG segment.
    if (!format.holds16) EmbedJpegProfile(bytes, picture.profile);
    return bytes;
}

}  // namespace images

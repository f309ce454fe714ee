// Reads picture files with libvips.
#include <sys/mman.h>
#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "images/atomic_file.h"
#include "images/exr_windows.h"
#include "images/picture_file.h"
#include "images/psd_file.h"
#include "images/text.h"
#include "images/vips_library.h"

namespace images {

namespace {

using Bytes = std::vector<std::uint8_t>;

bool HasSignature(const Bytes& head, std::size_t at, const char* text) {
    const std::size_t size = std::strlen(text);
    return head.size() >= at + size && std::memcmp(head.data() + at, text, size) == 0;
}

// Opens a file for one pass from top to bottom. A pipe is read to its end first.
VipsImagePtr OpenImage(const std::filesystem::path& path, const Bytes& head, Bytes& piped) {
    if (HasSignature(head, 4, "ftyp")) LoadHeifModule();
    const std::unique_ptr<VipsSource, Unreference> source(
        piped.empty() ? vips_source_new_from_file(path.c_str())
                      : vips_source_new_from_memory(piped.data(), piped.size()));
    VipsImage* image = nullptr;
    // Warnings, which this level passes, are common in files of cameras.
    if (source != nullptr) {
        image = vips_image_new_from_source(source.get(), "", "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                           VIPS_FAIL_ON_ERROR, nullptr);
    }
    if (image == nullptr) {
        ThrowVipsError(InputName(path) +
                       ": cannot be read as a picture; some formats need --allow-untrusted");
    }
    return VipsImagePtr(image);
}

void RequireRgbOrGrey(VipsImage* image, const std::string& name) {
    switch (vips_image_get_interpretation(image)) {
        case VIPS_INTERPRETATION_CMYK:
            throw PictureError(name + ": is a CMYK picture; convert it to RGB first");
        case VIPS_INTERPRETATION_LAB:
        case VIPS_INTERPRETATION_LABQ:
        case VIPS_INTERPRETATION_LABS:
            throw PictureError(name + ": is a Lab picture; convert it to RGB first");
        default:
            break;
    }
    const VipsBandFormat format = vips_image_get_format(image);
    if (vips_image_get_coding(image) != VIPS_CODING_NONE ||
        (format != VIPS_FORMAT_UCHAR && format != VIPS_FORMAT_USHORT && format != VIPS_FORMAT_FLOAT)) {
        throw PictureError(name + ": has samples that are not of 8 or 16 bits or floating point");
    }
}

// The sRGB transfer curve.
float EncodeLinear(float linear) {
    return linear <= 0.0031308f ? linear * 12.92f : 1.055f * std::pow(linear, 1 / 2.4f) - 0.055f;
}

std::uint16_t Quantise(float value) {
    return static_cast<std::uint16_t>(std::lround(std::min(1.0f, std::max(0.0f, value)) * 65535));  // NaN: 0
}

// Reads linear light into planes of 16 bits. Alpha, up to `opaque`, may be multiplied into the colour.
bool ReadFloats(VipsImage* image, float opaque, bool isMultiplied, Picture& picture) {
    const int bands = vips_image_get_bands(image);
    const std::unique_ptr<VipsRegion, Unreference> region(vips_region_new(image));
    std::size_t i = 0;
    for (int y = 0; y < picture.height; ++y) {
        const VipsRect row{0, y, picture.width, 1};
        if (vips_region_prepare(region.get(), &row) != 0) return false;
        const auto* pixel = reinterpret_cast<const float*>(VIPS_REGION_ADDR(region.get(), 0, y));
        for (int x = 0; x < picture.width; ++x, ++i, pixel += bands) {
            const float alpha = picture.alpha.empty() ? 1 : pixel[picture.colour.size()] / opaque;
            const float divisor = isMultiplied && alpha > 0 ? alpha : 1;
            for (std::size_t c = 0; c < picture.colour.size(); ++c)
                picture.colour[c][i] = Quantise(EncodeLinear(pixel[c] / divisor));
            if (!picture.alpha.empty()) picture.alpha[i] = Quantise(alpha);
        }
    }
    return true;
}

Bytes BlobOf(VipsImage* image, const char* name) {
    const void* bytes = nullptr;
    std::size_t size = 0;
    if (vips_image_get_typeof(image, name) == 0 || vips_image_get_blob(image, name, &bytes, &size) != 0)
        return {};
    const auto* first = static_cast<const std::uint8_t*>(bytes);
    return {first, first + size};
}

// libvips counts in pixels per millimetre. It gives 1 when the file has no resolution.
void ReadResolution(VipsImage* image, Picture& picture) {
    const double x = vips_image_get_xres(image), y = vips_image_get_yres(image);
    if (x <= 0 || y <= 0 || (x == 1 && y == 1)) return;
    const char* unit = nullptr;
    const bool isMetric = vips_image_get_typeof(image, VIPS_META_RESOLUTION_UNIT) != 0 &&
                          vips_image_get_string(image, VIPS_META_RESOLUTION_UNIT, &unit) == 0 &&
                          std::strcmp(unit, "cm") == 0;
    picture.resolutionUnit = isMetric ? ResolutionUnit::kCentimetre : ResolutionUnit::kInch;
    picture.resolutionX = isMetric ? x * 10 : RoundResolution(x * 25.4);
    picture.resolutionY = isMetric ? y * 10 : RoundResolution(y * 25.4);
}

// Opens a TIFF file, or its bytes from a pipe as a file in memory. Null when that fails.
TIFF* OpenTiff(const std::filesystem::path& path, const Bytes& piped) {
    if (piped.empty()) return TIFFOpen(path.c_str(), "r");
    const int file = memfd_create("piped", MFD_CLOEXEC);
    if (file < 0) return nullptr;
    std::size_t done = 0;
    while (done < piped.size()) {
        const ssize_t count = write(file, piped.data() + done, piped.size() - done);
        if (count <= 0) break;
        done += static_cast<std::size_t>(count);
    }
    TIFF* const tiff = lseek(file, 0, SEEK_SET) == 0 ? TIFFFdOpen(file, "piped", "r") : nullptr;
    if (tiff == nullptr) close(file);
    return tiff;
}

// Whether the channel after the colours is transparency. libvips takes it for that in every file. In a TIFF
// file it can be a saved selection, which has no kind.
bool HasAlpha(const std::filesystem::path& path, const Bytes& head, const Bytes& piped, int bands,
              int colours) {
    if (bands <= colours || (!HasSignature(head, 0, "II") && !HasSignature(head, 0, "MM")))
        return bands > colours;
    const std::unique_ptr<TIFF, void (*)(TIFF*)> file(OpenTiff(path, piped), TIFFClose);
    std::uint16_t count = 0;
    const std::uint16_t* kinds = nullptr;
    return file != nullptr && TIFFGetField(file.get(), TIFFTAG_EXTRASAMPLES, &count, &kinds) == 1 &&
           count > 0 && kinds[0] != EXTRASAMPLE_UNSPECIFIED;
}

Picture ReadImage(const std::filesystem::path& path, const Bytes& head) {
    const std::string name = InputName(path);
    Bytes piped = IsSpecialFile(path) ? head : Bytes();
    const VipsImagePtr image = OpenImage(path, head, piped);
    RequireRgbOrGrey(image.get(), name);
    const bool isFloat = vips_image_get_format(image.get()) == VIPS_FORMAT_FLOAT;
    const int bands = vips_image_get_bands(image.get()), colours = bands < 3 ? 1 : 3;
    Picture picture = MakePicture(vips_image_get_width(image.get()), vips_image_get_height(image.get()),
                                  vips_image_get_format(image.get()) == VIPS_FORMAT_UCHAR ? 8 : 16, colours,
                                  HasAlpha(path, head, piped, bands, colours));
    // libvips gives the pixels of OpenEXR as they are in the file, but alpha up to 255.
    const bool isExr = HasSignature(head, 0, "\x76\x2F\x31\x01");
    const bool isRead =
        isFloat ? ReadFloats(image.get(), isExr ? 255 : 1, isExr, picture) : ReadPlanes(image.get(), picture);
    if (!isRead) ThrowVipsError(name + ": is damaged or cut short");
    picture.profile = BlobOf(image.get(), VIPS_META_ICC_NAME);
    ReadResolution(image.get(), picture);
    picture.exif = BlobOf(image.get(), VIPS_META_EXIF_NAME);
    picture.xmp = BlobOf(image.get(), VIPS_META_XMP_NAME);
    if (isExr) picture = PlaceInDisplayWindow(picture, head);
    return ApplyOrientation(std::move(picture), vips_image_get_orientation(image.get()));
}

LayeredPicture ReadFile(const std::filesystem::path& path, PsdLayers layers) {
    constexpr std::size_t kHeadBytes = 65536;
    StartVips();
    const bool isSpecial = IsSpecialFile(path);
    const Bytes head = ReadFileBytes(path, isSpecial ? SIZE_MAX : kHeadBytes);
    if (head.empty()) throw PictureError(InputName(path) + ": is empty");
    if (!HasSignature(head, 0, "8BPS")) return {ReadImage(path, head), {}};
    return ReadPsd(isSpecial ? head : ReadFileBytes(path), InputName(path), layers);
}

}  // namespace

Picture ReadPicture(const std::filesystem::path& path) {
    return ReadFile(path, PsdLayers::kSkip).merged;
}

LayeredPicture ReadLayeredPicture(const std::filesystem::path& path) {
    return ReadFile(path, PsdLayers::kRead);
}

}  // namespace images

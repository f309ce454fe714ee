// Writes picture files with libvips.
#include <cstring>

#include "images/picture_file.h"
#include "images/text.h"
#include "images/vips_library.h"

namespace images {

namespace {

// Editors take 72 pixels per inch for a picture without a resolution. libvips would write 25.4.
constexpr double kDefaultResolution = 72;

void SetResolution(VipsImage* image, const Picture& picture) {
    const bool isKnown = picture.resolutionX > 0 && picture.resolutionUnit != ResolutionUnit::kNone;
    const bool isMetric = isKnown && picture.resolutionUnit == ResolutionUnit::kCentimetre;
    const double millimetres = isMetric ? 10 : 25.4;
    image->Xres = (isKnown ? picture.resolutionX : kDefaultResolution) / millimetres;
    image->Yres = (isKnown ? picture.resolutionY : kDefaultResolution) / millimetres;
    vips_image_set_string(image, VIPS_META_RESOLUTION_UNIT, isMetric ? "cm" : "in");
}

// A tag's value from libvips' text of it, which ends with its type in brackets: "HTC (HTC, ASCII, 4
// components, 4 bytes)". Empty without the tag.
std::string ExifValue(VipsImage* image, const char* name) {
    const char* text = nullptr;
    if (vips_image_get_typeof(image, name) == 0 || vips_image_get_string(image, name, &text) != 0) return {};
    const std::string value = text;
    return value.substr(0, value.rfind(" ("));
}

std::string EscapeXml(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '<' || c == '&' || c == '"') {
            escaped += c == '<' ? "&lt;" : c == '&' ? "&amp;" : "&quot;";
        } else if (static_cast<unsigned char>(c) >= 0x20) {
            escaped += c;
        }
    }
    return escaped;
}

// The picture's XMP, with camera and date from EXIF if it lacks them: libvips writes no EXIF to TIFF files.
// Empty when there is neither.
std::string XmpWithCameraAndDate(VipsImage* image, std::string xmp) {
    constexpr char kEnd[] = "</rdf:RDF>";
    std::string added;
    const std::pair<const char*, const char*> properties[] = {
        {"exif-ifd0-Make", "tiff:Make"},
        {"exif-ifd0-Model", "tiff:Model"},
        {"exif-ifd2-DateTimeOriginal", "exif:DateTimeOriginal"}};
    for (const auto& [tag, property] : properties) {
        std::string value = ExifValue(image, tag);
        if (value.empty() || xmp.find(property) != std::string::npos) continue;
        if (std::strncmp(property, "exif:Date", 9) == 0 && value.size() >= 19) {
            value[4] = value[7] = '-';  // 2024:01:31 12:00:00 in EXIF
            value[10] = 'T';
        }
        added += std::string(" ") + property + "=\"" + EscapeXml(value) + '"';
    }
    if (added.empty()) return xmp;
    if (xmp.empty()) {
        xmp = std::string(
                  "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">"
                  "<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">") +
              kEnd + "</x:xmpmeta>";
    }
    const std::size_t end = xmp.find(kEnd);
    if (end == std::string::npos) return xmp;
    return xmp.insert(end,
                      "<rdf:Description rdf:about=\"\" xmlns:tiff=\"http://ns.adobe.com/tiff/1.0/\" "
                      "xmlns:exif=\"http://ns.adobe.com/exif/1.0/\"" +
                          added + "/>");
}

void SetMetadata(VipsImage* image, const Picture& picture, const std::string& format) {
    // This also sets what libvips reads in the block, from which it makes the block of the file.
    if (!picture.exif.empty())
        vips_image_set_blob_copy(image, VIPS_META_EXIF_NAME, picture.exif.data(), picture.exif.size());
    vips_image_remove(image, "jpeg-thumbnail-data");
    vips_autorot_remove_angle(image);
    std::string xmp(picture.xmp.begin(), picture.xmp.end());
    if (format == "TIFF") xmp = XmpWithCameraAndDate(image, xmp);
    for (const char* upright : {"tiff:Orientation=\"", "<tiff:Orientation>"}) {
        const std::size_t at = xmp.find(upright);
        if (at != std::string::npos && at + std::strlen(upright) < xmp.size())
            xmp[at + std::strlen(upright)] = '1';
    }
    if (!xmp.empty()) vips_image_set_blob_copy(image, VIPS_META_XMP_NAME, xmp.data(), xmp.size());
}

// A complete file; empty when the picture cannot be encoded.
std::vector<std::uint8_t> Encode(VipsImage* image, const std::string& format, const WriteOptions& options) {
    void* bytes = nullptr;
    std::size_t size = 0;
    int failed = 0;
    if (format == "PNG") {
        // Of all filters this one gains most for the time it takes, at every level.
        failed = vips_pngsave_buffer(image, &bytes, &size, "compression", options.compression, "filter",
                                     VIPS_FOREIGN_PNG_FILTER_UP, nullptr);
    } else if (format == "TIFF") {
        // libvips' deflate has one level, which takes four times as long as LZW and saves a twentieth.
        const VipsForeignTiffCompression compression =
            options.compression == 0   ? VIPS_FOREIGN_TIFF_COMPRESSION_NONE
            : options.compression <= 5 ? VIPS_FOREIGN_TIFF_COMPRESSION_LZW
                                       : VIPS_FOREIGN_TIFF_COMPRESSION_DEFLATE;
        failed = vips_tiffsave_buffer(image, &bytes, &size, "compression", compression, "predictor",
                                      VIPS_FOREIGN_TIFF_PREDICTOR_HORIZONTAL, nullptr);
    } else if (format == "WebP") {
        failed = vips_webpsave_buffer(image, &bytes, &size, "Q", options.quality, nullptr);
    } else {
        failed = vips_jpegsave_buffer(
            image, &bytes, &size, "Q", options.quality, "subsample_mode",
            options.subsamples ? VIPS_FOREIGN_SUBSAMPLE_ON : VIPS_FOREIGN_SUBSAMPLE_OFF, nullptr);
    }
    const auto* first = static_cast<const std::uint8_t*>(bytes);
    std::vector<std::uint8_t> file;
    if (failed == 0) file.assign(first, first + size);
    g_free(bytes);
    return file;
}

}  // namespace

std::vector<std::uint8_t> EncodePicture(const std::filesystem::path& path, const Picture& picture,
                                        const WriteOptions& options, const std::atomic<bool>* stop) {
    StartVips();
    const PictureFormat format = FormatOf(path);
    const PlanarSource source{&picture, format.holds16 ? picture.depth : 8, format.holdsAlpha, stop};
    const VipsImagePtr image = ImageOf(source);
    SetMetadata(image.get(), picture, format.name);
    SetResolution(image.get(), picture);  // after that of EXIF
    std::vector<std::uint8_t> file = Encode(image.get(), format.name, options);
    if (file.empty()) {
        const bool isStopped = stop != nullptr && *stop;
        ThrowVipsError(DisplayName(path) + (isStopped
                                                ? ": not written, interrupted"
                                                : std::string(": cannot be encoded as ") + format.name));
    }
    return file;
}

}  // namespace images

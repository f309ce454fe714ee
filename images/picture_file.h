// Reads and writes picture files: with libvips on Linux (picture_read_vips.cpp, picture_write_vips.cpp), with
// the Windows Imaging Component on Windows (picture_read_wic.cpp, picture_write_wic.cpp). PSD files have a
// reader of their own (psd_file.cpp). All functions may run in several threads at once.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "images/picture.h"

namespace images {

// Reads a picture with 8 or 16 bits as in the file, oriented upright, with straight alpha, colour profile,
// resolution and, on Linux, EXIF and XMP. Floating point is linear light: it becomes 16 bits with the sRGB
// curve. Throws PictureError for a file that is missing, empty, truncated or not a picture, and for colour
// modes other than RGB and grey.
Picture ReadPicture(const std::filesystem::path& path);

// The same, with the two lowest layers of a layered file, each with its own size and offset.
LayeredPicture ReadLayeredPicture(const std::filesystem::path& path);

// Lets the functions above also use the decoders that libvips calls untrusted: those of OpenEXR and JPEG
// 2000, and all of ImageMagick. They have not been tested against files that are made to do harm. For the
// whole process; call it before the first picture is read. Without effect on Windows.
void AllowUntrustedFormats();

// What a file format can store.
struct PictureFormat {
    const char* name;  // "PNG", "TIFF", "JPEG", "WebP"
    bool holds16;      // 16 bits per sample
    bool holdsAlpha;
};

// The format for an extension, in upper or lower case: .png, .tif, .tiff, .jpg, .jpeg, and on Linux .webp. A
// pipe or a device without an extension gets PNG. Throws PictureError for any other extension.
PictureFormat FormatOf(const std::filesystem::path& path);

// How files are written. Each format ignores the values of the others.
struct WriteOptions {
    // 0 to 9: from fast and large to slow and small. PNG: zlib's level. TIFF: 0 none, up to 5 LZW, else
    // deflate. On Windows PNG has no levels, and TIFF has 0 or deflate.
    int compression = 1;
    int quality = 95;         // JPEG and WebP, 1 to 100
    bool subsamples = false;  // JPEG: colour at half the resolution. Visible at the edges of a composite.
};

// Returns a picture as a complete file in the format of the path's extension, with profile, resolution and,
// on Linux, EXIF and XMP; TIFF has XMP only, with camera and date from EXIF. JPEG gets no alpha, JPEG and
// WebP 8 bits. Throws PictureError, on Linux also when `stop` (may be null) becomes true meanwhile.
std::vector<std::uint8_t> EncodePicture(const std::filesystem::path& path, const Picture& picture,
                                        const WriteOptions& options = {},
                                        const std::atomic<bool>* stop = nullptr);

// Encodes the picture and replaces the file atomically (WriteFileAtomically). Throws PictureError when the
// file cannot be written, DiskFull for a full disk, and PictureError when `stop` (may be null) becomes true
// during the write.
void WritePicture(const std::filesystem::path& path, const Picture& picture,
                  const std::atomic<bool>* stop = nullptr, const WriteOptions& options = {});

}  // namespace images

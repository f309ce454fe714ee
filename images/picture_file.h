// Reads and writes picture files: with OpenImageIO on Linux (picture_read_oiio.cpp, picture_write_oiio.cpp),
// with the Windows Imaging Component on Windows (picture_read_wic.cpp, picture_write_wic.cpp).
//
// The functions may be called from several threads at once.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "images/picture.h"

namespace images {

// Reads a picture with 8 or 16 bits as in the file, oriented upright, with straight alpha, colour profile and
// resolution. Floating point becomes 16 bits; linear light is encoded with the sRGB curve. Throws
// PictureError for a file that is missing, empty, truncated or not a picture, and for colour modes other than
// RGB and grey.
Picture ReadPicture(const std::filesystem::path& path);

// The same, with the two lowest layers of a layered file, each with its own size and offset.
LayeredPicture ReadLayeredPicture(const std::filesystem::path& path);

// What a file format can store.
struct PictureFormat {
    const char* name;  // "PNG", "TIFF", "JPEG"
    bool holds16;      // 16 bits per sample
    bool holdsAlpha;
};

// The format for an extension, in upper or lower case: .png, .tif, .tiff, .jpg, .jpeg. A pipe or a device
// without an extension gets PNG. Throws PictureError for any other extension.
PictureFormat FormatOf(const std::filesystem::path& path);

// Returns a picture as a complete file in the format of the path's extension, with profile and resolution.
// JPEG gets 8 bits and no alpha. Throws PictureError.
std::vector<std::uint8_t> EncodePicture(const std::filesystem::path& path, const Picture& picture);

// Encodes the picture and replaces the file atomically (WriteFileAtomically). Throws PictureError when the
// file cannot be written, DiskFull for a full disk, and PictureError when `stop` (may be null) becomes true
// during the write.
void WritePicture(const std::filesystem::path& path, const Picture& picture,
                  const std::atomic<bool>* stop = nullptr);

}  // namespace images

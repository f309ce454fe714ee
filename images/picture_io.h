// Picture files. One implementation per platform: picture_read_oiio.cpp and picture_write_oiio.cpp,
// picture_read_wic.cpp and picture_write_wic.cpp.
#pragma once

#include <atomic>
#include <filesystem>

#include "images/picture.h"

namespace images {

// Reads a picture: 8 or 16 bits as the file has them (floating point becomes 16 bits, linear light takes the
// sRGB curve), turned upright, alpha straight, with its colour profile and resolution. Throws PictureError
// for a file that is missing, not a picture, cut short, empty, or of other colours than RGB and grey.
Picture ReadPicture(const std::filesystem::path& path);

// The same, with the two lowest layers of a layered file, each at its own size with its offset.
LayeredPicture ReadLayeredPicture(const std::filesystem::path& path);

// What a file of this name can hold.
struct PictureFormat {
    const char* name;  // "PNG", "TIFF", "JPEG"
    bool holds16;
    bool holdsAlpha;
};

// By the ending, in either case: .png, .tif, .tiff, .jpg, .jpeg. A pipe or a device without an ending gets
// PNG. Throws PictureError for any other.
PictureFormat FormatOf(const std::filesystem::path& path);

// Writes a picture in the format of the name's ending, with profile and resolution; JPEG gets 8 bits, and no
// alpha. The file takes its name when it is whole (WriteWholeFile): `path` holds either what it held before
// or the whole picture. Throws PictureError for a folder that is not there or not
// writable, DiskFull for a full disk, PictureError when `stop` (may be null) becomes true meanwhile.
void WritePicture(const std::filesystem::path& path, const Picture& picture,
                  const std::atomic<bool>* stop = nullptr);

}  // namespace images

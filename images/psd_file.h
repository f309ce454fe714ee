// Reads Photoshop's own files, PSD and the larger PSB, with the places of their layers. libvips reads them
// with ImageMagick alone, which drops the places, and the Windows Imaging Component not at all.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "images/picture.h"

namespace images {

enum class PsdLayers { kSkip, kRead };

// Reads a complete file: the merged picture with profile, resolution, EXIF and XMP, and the two lowest layers
// if wanted. RGB or grey, 8 or 16 bits. An empty layer becomes one transparent pixel. Throws PictureError,
// which starts with `name`, for other files and for truncated or damaged ones.
LayeredPicture ReadPsd(const std::vector<std::uint8_t>& file, const std::string& name, PsdLayers layers);

}  // namespace images

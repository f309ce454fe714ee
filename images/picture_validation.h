// Checks of a picture file's bytes that the decoders leave out.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "images/picture.h"

namespace images {

// Throws PictureError for a file that is missing, empty, truncated or in an unsupported colour mode. Decoders
// fill the rest of a truncated JPEG, PNG or PSD file with grey without an error, and convert CMYK without its
// profile. Files of other formats pass: their decoders report such errors.
void ValidatePictureFile(const std::filesystem::path& path);
// The same for bytes in memory; errors start with `name`.
void ValidatePictureBytes(const std::vector<std::uint8_t>& bytes, const std::string& name);

}  // namespace images

// Checks of a picture file's bytes that the decoders leave out.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "images/picture.h"

namespace images {

// Throws PictureError, which starts with `name`, for a file that is empty, a truncated JPEG or PNG file, or a
// CMYK JPEG file. The Windows Imaging Component fills the rest of a truncated file with grey without an
// error, and converts CMYK without its profile. Other files pass: their decoders report such errors.
void ValidatePictureBytes(const std::vector<std::uint8_t>& bytes, const std::string& name);

}  // namespace images

// What both ways of reading and writing picture files share: tests of a file's wholeness that decoders leave
// out, orientation, endings.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "images/picture.h"

namespace images {

// Throws PictureError for a file that is missing, empty, cut short or of colours that are not read. Decoders
// fill the rest of a truncated JPEG, PNG or PSD with grey and say nothing, or convert CMYK without its
// profile; a file of any other kind passes here and is left to its decoder.
void CheckPictureFile(const std::filesystem::path& path);
void CheckPictureBytes(const std::vector<std::uint8_t>& bytes, const std::string& name);

// Turns a picture by its orientation tag, 1 to 8 in the numbering of EXIF; any other value leaves it as it
// is.
Picture ApplyOrientation(Picture picture, int orientation);

// A resolution as people mean it: PNG counts pixels per metre, and 300 to the inch come back as 299.9994.
double TidyResolution(double pixelsPerUnit);

// A decoder's message in one line, without line breaks and closing stops.
std::string OneLine(const std::string& text);

}  // namespace images

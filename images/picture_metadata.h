// What picture files say beside their pixels, read and written in the bytes of a file: for platforms whose
// coders leave it out.
#pragma once

#include <cstdint>
#include <vector>

namespace images {

// The colour profile of a JPEG file, put together from its pieces; empty when there is none.
std::vector<std::uint8_t> JpegProfile(const std::vector<std::uint8_t>& file);

// The orientation that the EXIF block of a JPEG or WebP file tells, 1 to 8; 1 when there is none.
int OrientationIn(const std::vector<std::uint8_t>& file);

// Puts a colour profile into a whole PNG, JPEG or TIFF file. A JPEG file's own profile is taken out; files of
// the other kinds must have none. False, and the file is as it was, when it is of another kind or not as its
// kind should be.
bool EmbedProfile(std::vector<std::uint8_t>& file, const std::vector<std::uint8_t>& profile);

}  // namespace images

// Metadata in the bytes of a picture file, for what the decoders and encoders leave out.
#pragma once

#include <cstdint>
#include <vector>

namespace images {

// The colour profile of a JPEG file, joined from its segments; empty when there is none.
std::vector<std::uint8_t> ReadJpegProfile(const std::vector<std::uint8_t>& file);

// The orientation in the EXIF block of a WebP file, 1 to 8; 1 when there is none.
int ReadWebpOrientation(const std::vector<std::uint8_t>& file);

// Replaces the colour profile of a complete JPEG file. Returns false, and leaves the file unchanged, when the
// file is not a valid JPEG file or the profile is empty or larger than 255 segments.
bool EmbedJpegProfile(std::vector<std::uint8_t>& file, const std::vector<std::uint8_t>& profile);

}  // namespace images

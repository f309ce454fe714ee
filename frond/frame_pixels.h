// Pixels of raw frames and planes. Frames have 8 bits a sample, interleaved; planes one channel each.
#pragma once

#include <cstddef>
#include <cstdint>

namespace frond {

// Puts the samples of `count` RGB pixels into three planes. No two of the buffers overlap.
void SplitPixels(const std::uint8_t* rgb, std::size_t count, std::uint8_t* const (&planes)[3]);

// Makes `count` pixels of planes, RGB or RGBA. No two of the buffers overlap.
void JoinRgb(const std::uint8_t* const (&planes)[3], std::size_t count, std::uint8_t* rgb);
void JoinRgba(const std::uint8_t* const (&planes)[3], const std::uint8_t* alpha, std::size_t count,
              std::uint8_t* rgba);

// Composites the plane `above` over `below` by its alpha, rounded to nearest.
void CompositePlane(std::uint8_t* above, const std::uint8_t* alpha, const std::uint8_t* below,
                    std::size_t count);

}  // namespace frond

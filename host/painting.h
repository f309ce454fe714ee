// Putting a displayed map on the screen.
#pragma once

#include <cstdint>
#include <vector>

#include "host/host.h"

namespace host {

// The source rectangle of the map as rows of 32-bit pixels from the top, 0x00RRGGBB. Where the mask is not
// full, a checkerboard shows through in proportion; its squares are kCheckSide pixels wide and stand still
// against the map.
constexpr std::int32_t kCheckSide = 8;
std::vector<std::uint32_t> ComposeDisplay(const DisplayCall& shown);

// Paints into the device context of the call. Does nothing where there is no Win32.
void PaintDisplay(const DisplayCall& shown);

}  // namespace host

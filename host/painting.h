// Paints a displayed pixel map.
#pragma once

#include <cstdint>
#include <vector>

#include "host/host.h"

namespace host {

// Returns the map's source rectangle as rows of 32-bit pixels, 0x00RRGGBB, top row first. Composites it with
// the mask as alpha over a checkerboard, whose squares of kCheckerSize pixels are aligned to the map.
constexpr std::int32_t kCheckerSize = 8;
std::vector<std::uint32_t> ComposeDisplay(const DisplayCall& shown);

// Paints to the call's device context. Does nothing on other systems than Windows.
void PaintDisplay(const DisplayCall& shown);

}  // namespace host

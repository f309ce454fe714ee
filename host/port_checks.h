// The channel ports suite's checks before a transfer. Each failed check records a violation with the call's
// name.
//
// Ports use the document's coordinates. If the bounds start at 0, a rectangle outside them is a violation. If
// they do not, the module still requests rectangles from 0, 0 on, which is intended: the host transfers the
// part inside the bounds, returns it in the rectangle, and leaves the rest of the memory unchanged.
#pragma once

#include "host/host_state.h"

namespace host {

bool IsEmpty(const VRect& rect);
bool Contains(const VRect& outer, const VRect& inner);

// Returns the port, or null for one that is unknown or whose document is closed.
Port* RequirePort(Host& host, const char* call, PIChannelPort key);

// Converts the memory record for a transfer of `rows` by `columns` samples. Returns false when it does not
// fit the channel or its block.
bool RequireMemory(Host& host, const char* call, const Channel& channel, const PixelMemoryDesc* memory,
                   std::int64_t rows, std::int64_t columns, PixelArea* area);

// Stores the rectangle's part inside the document. Returns false for an invalid rectangle.
bool RequireRectangle(Host& host, const char* call, const VRect* rect, VRect* inside);

// Stores the area that a scaled read samples. An empty side covers the one sample at its position. Returns
// false for an invalid source.
bool RequireSource(Host& host, const VRect& asked, VRect* source);

}  // namespace host

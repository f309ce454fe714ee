// What the channel ports suite checks before samples move. Each check that fails leaves a violation under the
// call's name.
//
// The ports' coordinates are the document's. Where the bounds begin at 0, a rectangle that leaves them is a
// violation. Where they do not, the module still asks for rectangles from 0, 0 on by design: the host then
// delivers the part inside the bounds, tells so in the rectangle, and leaves the rest of the memory alone.
#pragma once

#include "host/host_state.h"

namespace host {

bool IsEmpty(const VRect& rect);
bool Contains(const VRect& outer, const VRect& inner);

// A service's port; null for one that is unknown, or was closed with its document.
Port* RequirePort(Host& host, const char* call, PIChannelPort key);

// The memory record as bytes; false when it does not suit the channel or its buffer. `rows` by `columns`
// samples are to pass.
bool RequireMemory(Host& host, const char* call, const Channel& channel, const PixelMemoryDesc* memory,
                   std::int64_t rows, std::int64_t columns, PixelArea* area);

// The part of the rectangle that the document has; false when the rectangle is not allowed.
bool RequireRectangle(Host& host, const char* call, const VRect* rect, VRect* inside);

// What a scaled read samples. An empty side is the limit of a shrinking one: it stands for the sample that it
// lies on, so that a zoom to nothing still shows the colour of the place. False for an illegal source.
bool RequireSource(Host& host, const VRect& asked, VRect* source);

}  // namespace host

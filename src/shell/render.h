// The full-size render.
#pragma once

#include <cstdint>

#include "hostapi/hostapi.h"

namespace filter {

struct Globals;

// Loads the document, analyses it, keys it and writes the result to the target layer. A failure goes to the
// result cell and does not stop the render: after a failed read it continues with what the planes hold. It
// only stops if planes cannot be allocated. The planes are always freed, also after an exception.
void RunFullRender(Globals* globals);

// Writes one full-size plane to a channel of the target. A channel that cannot be written is skipped.
void WriteChannelPlane(Globals* globals, const ReadChannelDesc* channel, std::uint8_t* plane);

}  // namespace filter

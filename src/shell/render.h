// The full-size run.
#pragma once

#include <cstdint>

#include "hostapi/hostapi.h"

namespace filter {

struct Globals;

// Loads the document, analyses and keys it and writes the result to the target layer. Failures go to the
// result cell, which is looked at nowhere on the way: after a failed read the run goes on with what the
// planes hold. Only planes that do not exist end it early. The planes are freed on every way out, exceptions
// included.
void RunFullRender(Globals* globals);

// Writes one plane at full size to a channel of the target; a channel that cannot be written is passed over.
void WriteChannelPlane(Globals* globals, const ReadChannelDesc* channel, std::uint8_t* plane);

}  // namespace filter

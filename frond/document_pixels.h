// Samples of picture files and of the host's documents. A picture's plane has 16-bit storage; a document's
// channel has one byte a sample at depth 8, and two in the scale 0 to 32768 at depth 16.
#pragma once

#include <cstdint>
#include <vector>

#include "host/document.h"
#include "images/picture.h"

namespace frond {

// The samples of a file's plane: one byte each at depth 8, two in native order, 0 to 65535, at depth 16.
using FileSamples = std::vector<std::uint8_t>;

// Convert one plane. Those that take a plane or a channel free it.
FileSamples TakeFileSamples(images::Plane& plane, int depth);
host::Channel TakeChannel(images::Plane& plane, int depth);
host::Channel ChannelOf(const FileSamples& samples, int depth);
images::Plane TakePlane(host::Channel& channel, int depth);
images::Plane PlaneOf(const host::Channel& channel, int depth);

// Composites a channel over the background by the layer's alpha, as a host displays the document, rounded to
// nearest. Frees the channel. All three have the same number of samples and the same depth.
images::Plane TakeComposite(host::Channel& channel, const host::Channel& alpha, const FileSamples& background,
                            int depth);

}  // namespace frond

// The frames of a stream: read, keyed by the engine and written. Frames have RGB pixels, 8 bits a sample,
// interleaved, rows from the top without gaps; results with transparency have RGBA pixels.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "engine/keying.h"
#include "frond/raw_stream.h"

namespace frond {

// What one worker keys a frame with.
struct FrameBuffers {
    std::vector<std::uint8_t> top, bottom, out;  // planes one after the other: three, three or none, and four
    keying::Planes planes;
    keying::Backdrop backdrop;
};

struct FrameStream {
    // The caller's:
    int width = 0, height = 0;  // pixels
    keying::Settings settings;  // `workers` does not count
    std::int64_t interval = 0;  // frames that use one measurement of the backdrop; 0: all use the first's
    std::vector<std::uint8_t> bottom;  // three planes of a still background; empty with a stream of them
    RawStream input, output;
    std::optional<RawStream> backgrounds;        // frames like those of `input`; the last one stays
    std::function<void(std::int64_t)> reported;  // with the number of frames written, after each one

    // Of all workers:
    std::size_t pixels = 0;
    std::vector<std::uint8_t> opaque;  // the alpha of all frames
    std::vector<FrameBuffers> buffers;
    std::atomic<bool> stop{false};

    // Of the worker that reads:
    std::vector<std::uint8_t> rawInput, rawBackground;
    std::int64_t framesRead = 0, backgroundsRead = 0;
    bool backgroundsHaveEnded = false;
    keying::Backdrop backdrop;  // measured last

    // Of the worker that writes:
    std::vector<std::uint8_t> rawOutput;
    std::int64_t framesWritten = 0;
};

// Throws Failure kRunFailed if so many workers need more memory than the machine has.
void RequireMemoryForFrames(int width, int height, int workers);

// Keys all frames, or those before an interrupt, with `workers` frames under way at most; all that is written
// is whole frames. The bytes do not depend on `workers`. False: nobody reads the output any more. Throws
// Failure kBadInput when a stream has no frame or ends within one, kBadOutput, and std::bad_alloc; the frames
// before are then written.
bool KeyFrames(FrameStream& stream, int workers);

}  // namespace frond

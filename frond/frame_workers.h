// Frames of a stream on several threads. Each worker takes one frame at a time through all steps, with
// buffers of its own, so that no more frames are under way than there are workers.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

namespace frond {

// What is done with a frame, by the number of its worker, from 0.
struct FrameSteps {
    // For one frame at a time, in order. False: there are no more frames.
    std::function<bool(int worker)> read;
    // For several frames at once, by their numbers from 0.
    std::function<void(int worker, std::int64_t frame)> key;
    // For one frame at a time, in order.
    std::function<void(int worker)> write;
};

// Takes frames through the steps until `read` returns false, and returns how many were written. Worker 0 is
// the caller's thread; threads that cannot be started are left out. When a step throws, the frames before
// are still written, none after; `stop` becomes true, which `read` may look at; and the exception leaves
// RunFrames when all workers have ended. `read` and `write` may run at the same time.
std::int64_t RunFrames(int workers, std::atomic<bool>& stop, const FrameSteps& steps);

}  // namespace frond

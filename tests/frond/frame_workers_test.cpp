// Frames in order on any number of workers, and the conversion of their pixels. Waits for counts, never for
// a time.
#include "frond/frame_workers.h"

#include <gtest/gtest.h>

#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

#include "frond/frame_pixels.h"

namespace {

using namespace frond;

constexpr std::int64_t kFrames = 40;

struct Log {
    std::atomic<std::int64_t> read{0};
    std::atomic<bool> stop{false};
    std::vector<std::int64_t> held;     // each worker's frame
    std::vector<std::int64_t> written;  // in this order
};

// The step of frame 5 with this name throws; empty: none.
std::int64_t RunLogged(Log& log, int workers, const std::string& failing) {
    log.held.resize(static_cast<std::size_t>(workers));
    const auto held = [&](int worker) -> std::int64_t& { return log.held[static_cast<std::size_t>(worker)]; };
    const auto fail = [&](const char* step, std::int64_t frame) {
        if (frame == 5 && failing == step) throw std::runtime_error(step);
    };
    return RunFrames(workers, log.stop,
                     {[&](int worker) {
                          if (log.read == kFrames) return false;
                          fail("read", log.read);
                          held(worker) = log.read++;
                          return true;
                      },
                      [&](int worker, std::int64_t frame) {
                          EXPECT_EQ(held(worker), frame);
                          fail("key", frame);
                          // Some frames wait until all that can be under way have been read.
                          const std::int64_t ahead = std::min(frame + workers, kFrames);
                          while (frame % workers == 0 && failing.empty() && log.read < ahead)
                              std::this_thread::yield();
                      },
                      [&](int worker) {
                          EXPECT_LE(log.read, held(worker) + workers);
                          fail("write", held(worker));
                          log.written.push_back(held(worker));
                      }});
}

TEST(FrameWorkers, WriteAllFramesInOrder) {
    std::vector<std::int64_t> all(kFrames);
    std::iota(all.begin(), all.end(), 0);
    for (const int workers : {1, 2, 3, 8, 64}) {
        SCOPED_TRACE(workers);
        Log log;
        EXPECT_EQ(RunLogged(log, workers, ""), kFrames);
        EXPECT_EQ(log.written, all);
        EXPECT_FALSE(log.stop);
    }
}

TEST(FrameWorkers, WriteTheFramesBeforeAFailure) {
    for (const int workers : {1, 2, 8}) {
        for (const char* step : {"read", "key", "write"}) {
            SCOPED_TRACE(testing::Message() << workers << ' ' << step);
            Log log;
            EXPECT_THROW(RunLogged(log, workers, step), std::runtime_error);
            EXPECT_EQ(log.written, (std::vector<std::int64_t>{0, 1, 2, 3, 4}));
            EXPECT_TRUE(log.stop);
        }
    }
}

// Every count past several vectors, with a guard behind each buffer.
TEST(FramePixels, GoToPlanesAndBack) {
    constexpr std::uint8_t kGuard = 0xEE;
    for (std::size_t count = 0; count < 100; ++count) {
        std::vector<std::uint8_t> rgb(3 * count), rgba, planes[4];
        for (std::size_t i = 0; i < rgb.size(); ++i) rgb[i] = static_cast<std::uint8_t>(7 * i + 1);
        for (std::vector<std::uint8_t>& plane : planes) plane.assign(count + 1, kGuard);
        SplitPixels(rgb.data(), count, {planes[0].data(), planes[1].data(), planes[2].data()});
        for (std::size_t i = 0; i < count; ++i) {
            planes[3][i] = static_cast<std::uint8_t>(i);
            for (std::size_t c = 0; c < 3; ++c) ASSERT_EQ(planes[c][i], rgb[3 * i + c]) << count;
            for (const std::vector<std::uint8_t>& plane : planes) rgba.push_back(plane[i]);
        }
        rgb.push_back(kGuard);
        rgba.push_back(kGuard);
        const std::uint8_t* const colour[] = {planes[0].data(), planes[1].data(), planes[2].data()};
        std::vector<std::uint8_t> joined(3 * count + 1, kGuard), withAlpha(4 * count + 1, kGuard);
        JoinRgb(colour, count, joined.data());
        JoinRgba(colour, planes[3].data(), count, withAlpha.data());
        EXPECT_EQ(joined, rgb);
        EXPECT_EQ(withAlpha, rgba);
        for (const std::vector<std::uint8_t>& plane : planes) EXPECT_EQ(plane[count], kGuard);
    }
}

}  // namespace

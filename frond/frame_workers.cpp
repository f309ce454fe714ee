#include "frond/frame_workers.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace frond {

namespace {

struct Line {
    const FrameSteps& steps;
    std::atomic<bool>& stop;

    std::mutex reading;  // held by the worker that reads; guards the next two
    std::int64_t nextToRead = 0;
    bool isAtEnd = false;

    std::mutex writing;  // held by the worker that writes; guards the next two
    std::int64_t nextToWrite = 0;
    std::exception_ptr failure;  // of the first frame that failed; none after it is written
    std::condition_variable turn;
};

// Runs a step, and returns what it throws.
template <typename Step>
std::exception_ptr Attempt(const Step& step) {
    try {
        step();
    } catch (...) {
        return std::current_exception();
    }
    return nullptr;
}

// Reads the next frame, and returns its number; -1 at the end. A failure is that of the frame.
std::int64_t ReadNext(Line& line, int worker, std::exception_ptr* failure) {
    const std::lock_guard<std::mutex> lock(line.reading);
    if (line.isAtEnd || line.stop) return -1;
    *failure = Attempt([&] { line.isAtEnd = !line.steps.read(worker); });
    if (*failure != nullptr) line.isAtEnd = true;
    return line.isAtEnd && *failure == nullptr ? -1 : line.nextToRead++;
}

void Work(Line& line, int worker) {
    for (;;) {
        std::exception_ptr failure;
        const std::int64_t frame = ReadNext(line, worker, &failure);
        if (frame < 0) return;
        if (failure == nullptr) failure = Attempt([&] { line.steps.key(worker, frame); });
        std::unique_lock<std::mutex> lock(line.writing);
        line.turn.wait(lock, [&] { return line.nextToWrite == frame || line.failure != nullptr; });
        if (line.failure != nullptr) return;
        if (failure == nullptr) failure = Attempt([&] { line.steps.write(worker); });
        if (failure == nullptr) ++line.nextToWrite;
        line.failure = failure;
        line.turn.notify_all();
        if (failure == nullptr) continue;
        line.stop = true;
        return;
    }
}

}  // namespace

std::int64_t RunFrames(int workers, std::atomic<bool>& stop, const FrameSteps& steps) {
    Line line{steps, stop, {}, 0, false, {}, 0, nullptr, {}};
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(workers));
    try {
        for (int worker = 1; worker < workers; ++worker)
            threads.emplace_back([&line, worker] { Work(line, worker); });
    } catch (const std::system_error&) {
        // Fewer threads do.
    }
    Work(line, 0);
    for (std::thread& thread : threads) thread.join();
    if (line.failure != nullptr) std::rethrow_exception(line.failure);
    return line.nextToWrite;
}

}  // namespace frond

// The workers of one operation: threads that share its rows. They start with the operation and are gone when
// it returns, so that a module that holds the engine can be unloaded at any time.
#pragma once

#include <cstdint>

namespace keying {

// No more are started, however many processors there are: one mask of processors on Windows.
constexpr std::int32_t kMostWorkers = 64;

// The workers of an operation: `wanted`, or with 0 as many as the processors that this process may use, but
// no more than `pixels` are worth. 1 or more.
std::int32_t WorkerCount(std::int32_t wanted, std::int64_t pixels);

struct Team;

// Worker 0 is the caller's thread. The threads run with the caller's floating-point environment. What they
// call allocates nothing and throws nothing.
class Workers {
  public:
    // Starts count - 1 threads, or as many as the system gives.
    explicit Workers(std::int32_t count);
    ~Workers();
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    std::int32_t Count() const;

    // Cuts 0 to total into bands, the last one shorter, and calls work(context, worker, first, end) for each.
    // The next band goes to the next worker that is free. Returns after all calls.
    using Work = void (*)(const void* context, std::int32_t worker, std::int64_t first, std::int64_t end);
    void RunBands(std::int64_t total, std::int64_t band, Work work, const void* context);

  private:
    Team* team_;  // null with one worker
    std::int32_t count_;
};

// RunBands with work(worker, first, end).
template <class Work>
static inline void ForBands(Workers* workers, std::int64_t total, std::int64_t band, const Work& work) {
    workers->RunBands(
        total, band,
        [](const void* context, std::int32_t worker, std::int64_t first, std::int64_t end) {
            (*static_cast<const Work*>(context))(worker, first, end);
        },
        &work);
}

}  // namespace keying

#include "frond/pipeline.h"

#include <algorithm>
#include <bitset>
#include <condition_variable>
#include <deque>
#include <limits>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#elif defined(__linux__)
#include <malloc.h>
#include <sched.h>
#endif

namespace frond {

namespace {

struct Pipeline {
    const PipelineStages& stages;
    const std::size_t count, underWay;

    std::mutex mutex;  // for what follows
    std::condition_variable changed;
    std::vector<bool> isBegun, isRead, isEncoded;
    std::deque<std::size_t> toEncode;  // keyed items
    std::size_t nextToWrite = 0, nextToReport = 0;
    bool isWriting = false, isEnding = false;

    Pipeline(std::size_t theCount, int jobs, const PipelineStages& theStages)
        : stages(theStages),
          count(theCount),
          underWay(ItemsUnderWay(jobs)),
          isBegun(theCount),
          isRead(theCount),
          isEncoded(theCount) {}
};

// Calls a stage without the lock.
void RunStage(std::unique_lock<std::mutex>& lock, const std::function<void(std::size_t)>& stage,
              std::size_t item) {
    lock.unlock();
    stage(item);
    lock.lock();
}

// The first item that can be read now; `count` for none.
std::size_t NextToRead(const Pipeline& p) {
    const std::size_t end = std::min(p.count, p.nextToWrite + p.underWay);
    for (std::size_t item = p.nextToWrite; item < end; ++item) {
        if (p.isBegun[item]) continue;
        const std::size_t first = p.stages.readsAfter ? p.stages.readsAfter(item) : item;
        if (first == item || p.isRead[first]) return item;
    }
    return p.count;
}

// The work of a thread. What frees memory comes first.
void Work(Pipeline& p) {
    std::unique_lock<std::mutex> lock(p.mutex);
    while (!p.isEnding && p.nextToWrite < p.count) {
        if (!p.isWriting && p.isEncoded[p.nextToWrite]) {
            p.isWriting = true;
            RunStage(lock, p.stages.write, p.nextToWrite);
            p.isWriting = false;
            ++p.nextToWrite;
        } else if (!p.toEncode.empty()) {
            const std::size_t item = p.toEncode.front();
            p.toEncode.pop_front();
            RunStage(lock, p.stages.encode, item);
            p.isEncoded[item] = true;
        } else if (const std::size_t item = NextToRead(p); item < p.count) {
            p.isBegun[item] = true;
            RunStage(lock, p.stages.read, item);
            p.isRead[item] = true;
        } else {
            p.changed.wait(lock);
            continue;
        }
        p.changed.notify_all();
    }
}

// Reports written items until the condition holds.
template <typename Condition>
void ReportUntil(Pipeline& p, std::unique_lock<std::mutex>& lock, const Condition& condition) {
    for (;;) {
        if (p.nextToReport < p.nextToWrite) {
            RunStage(lock, p.stages.report, p.nextToReport++);
        } else if (condition()) {
            return;
        } else {
            p.changed.wait(lock);
        }
    }
}

// The pipeline's threads. The destructor ends them.
struct Workers {
    Pipeline& pipeline;
    std::vector<std::thread> threads;

    Workers(Pipeline& thePipeline, int jobs) : pipeline(thePipeline) {
        try {
            for (int i = 0; i < jobs; ++i) threads.emplace_back(Work, std::ref(pipeline));
        } catch (const std::system_error&) {
            // Fewer threads do the same.
        }
    }
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;
    ~Workers() {
        {
            const std::lock_guard<std::mutex> lock(pipeline.mutex);
            pipeline.isEnding = true;
        }
        pipeline.changed.notify_all();
        for (std::thread& thread : threads) thread.join();
    }
};

// Keeps freed blocks of up to 32 MiB, the most that the C library allows, for the next items. Otherwise the
// kernel clears their pages again for every photograph, which takes a fifth of a JPEG batch's processor time.
void KeepFreedMemory() {
#ifdef __GLIBC__
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
#endif
}

void RunInTurn(std::size_t count, const PipelineStages& stages) {
    for (std::size_t item = 0; item < count; ++item) {
        stages.read(item);
        stages.key(item);
        stages.encode(item);
        stages.write(item);
        stages.report(item);
    }
}

}  // namespace

void RunPipeline(std::size_t count, int jobs, const PipelineStages& stages) {
    if (count > 1) KeepFreedMemory();
    if (jobs <= 1 || count <= 1) return RunInTurn(count, stages);
    Pipeline pipeline(count, jobs, stages);
    const Workers workers(pipeline, static_cast<int>(std::min<std::size_t>(jobs, count)));
    if (workers.threads.empty()) return RunInTurn(count, stages);
    std::unique_lock<std::mutex> lock(pipeline.mutex);
    for (std::size_t item = 0; item < count; ++item) {
        ReportUntil(pipeline, lock, [&] { return pipeline.isRead[item]; });
        RunStage(lock, stages.key, item);
        pipeline.toEncode.push_back(item);
        pipeline.changed.notify_all();
    }
    ReportUntil(pipeline, lock, [&] { return pipeline.nextToReport == count; });
}

int AvailableCores() {
#ifdef _WIN32
    DWORD_PTR process = 0, system = 0;
    if (GetProcessAffinityMask(GetCurrentProcess(), &process, &system) != 0 && process != 0)
        return static_cast<int>(std::bitset<8 * sizeof process>(process).count());
#elif defined(__linux__)
    cpu_set_t cores;
    if (sched_getaffinity(0, sizeof cores, &cores) == 0) return CPU_COUNT(&cores);
#endif
    return static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
}

}  // namespace frond

// The order of a pipeline's stages, and how many items are under way. Waits for counts, never for a time.
#include "frond/pipeline.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using namespace frond;

constexpr std::size_t kItems = 40;

struct Log {
    std::atomic<std::size_t> begun{0}, ended{0}, inStages{0};  // `begun` and `ended`: items under way
    std::vector<int> next = std::vector<int>(kItems);          // each item's next stage
    std::array<std::atomic<bool>, kItems> isRead{};
    std::vector<std::size_t> keyed, written, reported;
    std::thread::id caller = std::this_thread::get_id();

    // Five neighbours belong together, so that two groups fit into the pipeline.
    static std::size_t First(std::size_t item) { return item - item % 5; }

    void Enter(std::size_t item, int stage) {
        ++inStages;
        EXPECT_EQ(next[item]++, stage) << item;
    }
};

void RunLogged(Log& log, int jobs, std::size_t failsAt) {
    RunPipeline(kItems, jobs,
                {[&](std::size_t i) {
                     EXPECT_LE(++log.begun - log.ended, ItemsUnderWay(jobs));
                     log.Enter(i, 0);
                     EXPECT_TRUE(i == Log::First(i) || log.isRead[Log::First(i)]) << i;
                     log.isRead[i] = true;
                     --log.inStages;
                 },
                 [&](std::size_t i) {
                     EXPECT_EQ(std::this_thread::get_id(), log.caller);
                     log.Enter(i, 1);
                     // The first item waits until as many as possible have been read.
                     while (log.begun < ItemsUnderWay(jobs)) std::this_thread::yield();
                     log.keyed.push_back(i);
                     --log.inStages;
                 },
                 [&](std::size_t i) {
                     log.Enter(i, 2);
                     --log.inStages;
                 },
                 [&](std::size_t i) {
                     log.Enter(i, 3);
                     log.written.push_back(i);
                     ++log.ended;
                     --log.inStages;
                 },
                 [&](std::size_t i) {
                     EXPECT_EQ(std::this_thread::get_id(), log.caller);
                     EXPECT_EQ(log.next[i], 4);
                     if (i == failsAt) throw std::runtime_error("the end");
                     log.reported.push_back(i);
                 },
                 Log::First});
}

TEST(Pipeline, KeepsTheOrderAndTheBound) {
    std::vector<std::size_t> all(kItems);
    std::iota(all.begin(), all.end(), 0);
    for (const int jobs : {1, 2, 3, 8}) {
        SCOPED_TRACE(jobs);
        Log log;
        RunLogged(log, jobs, kItems);
        EXPECT_EQ(log.keyed, all);
        EXPECT_EQ(log.written, all);
        EXPECT_EQ(log.reported, all);
    }
}

TEST(Pipeline, EndsWithAnExceptionOfAReport) {
    for (const int jobs : {1, 2, 8}) {
        SCOPED_TRACE(jobs);
        Log log;
        EXPECT_THROW(RunLogged(log, jobs, 5), std::runtime_error);
        EXPECT_EQ(log.inStages, 0u);
        EXPECT_EQ(log.reported, (std::vector<std::size_t>{0, 1, 2, 3, 4}));
        EXPECT_LE(log.written.size(), 5 + ItemsUnderWay(jobs));
    }
    EXPECT_GE(AvailableCores(), 1);
}

}  // namespace

// Any number of workers must give the bytes, the reports and the rows of a stop that one gives.
#include <gtest/gtest.h>

#include <cfenv>
#include <filesystem>
#include <memory>

#include "engine/variants.h"
#include "tests/support/compare_variants.h"
#include "tests/support/scenes.h"

#ifdef __linux__
#include <pthread.h>
#include <sys/resource.h>
#endif

#ifndef __has_feature
#define __has_feature(name) 0
#endif

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || __has_feature(address_sanitizer) || \
    __has_feature(thread_sanitizer)
#define FROND_SANITIZED 1
#else
#define FROND_SANITIZED 0
#endif

namespace {

using namespace test_support;

// Of random runs and of reports, only every n-th is tried where a sanitizer makes each slow.
constexpr std::int32_t kEvery = FROND_SANITIZED ? 8 : 1;

// A run in a picture that is high enough for several workers.
std::unique_ptr<TestEngine> DrawHighRun(std::uint64_t seed, std::int32_t workers) {
    Random draws(seed);
    const bool wide = draws.Below(8) == 0;  // the reach of edge blending grows with the width
    const std::int32_t width = wide ? draws.Between(1000, 2100) : draws.Between(1, 70);
    const std::int32_t height = draws.Between(135, wide ? 300 : 700);
    auto engine = std::make_unique<TestEngine>(width, height, kRunKinds[draws.Below(4)]);
    DrawParameters(&draws, engine.get());
    if (draws.Below(2) == 0) SetFlags(engine.get(), draws.Below(2) == 0 ? kBlend : 0);
    if (engine->settings.fullSize && draws.Below(2) == 0) engine->stopFromRow = draws.Between(1, height);
    PaintScene(engine.get(), kScenes[draws.Below(std::size(kScenes))], draws);
    engine->settings.workers = workers;
    return engine;
}

std::string DifferenceFromOneWorker(TestEngine* one, TestEngine* several) {
    one->AnalyseAndKey();
    several->AnalyseAndKey();
    if (NumbersOfBackdrop(one->backdrop) != NumbersOfBackdrop(several->backdrop)) return "the backdrop";
    return FirstDifference(*one, *several);
}

TEST(EngineWorkers, GiveTheBytesOfOne) {
    for (std::uint64_t seed = 0; seed < 80; seed += kEvery) {
        const std::int32_t workers = 2 + static_cast<std::int32_t>(seed % 11);
        const auto one = DrawHighRun(seed, 1), several = DrawHighRun(seed, workers);
        ASSERT_EQ(DifferenceFromOneWorker(one.get(), several.get()), "")
            << "seed " << seed << ", " << workers << " workers";
    }
}

TEST(EngineWorkers, StopAtEveryReportAsOneDoes) {
    for (const unsigned flags : {0u, +kView, +kBlend, kBlend | kView, kView | kTransparency}) {
        for (std::int32_t report = 20; report < 420; report += 21 * kEvery) {
            std::unique_ptr<TestEngine> engines[2];
            for (int i = 0; i < 2; ++i) {
                engines[i] = std::make_unique<TestEngine>(40, 419, RunKind::kFull8);
                SetFlags(engines[i].get(), flags);
                PaintScene(engines[i].get(), kScenes[0], Random(7));
                engines[i]->settings.workers = i == 0 ? 1 : 5;
                engines[i]->stopFromRow = report;
            }
            ASSERT_EQ(DifferenceFromOneWorker(engines[0].get(), engines[1].get()), "")
                << "flags " << flags << ", stop at " << report;
        }
    }
}

TEST(EngineWorkers, RoundAsTheCallerDoes) {
    const auto one = DrawHighRun(3, 1), several = DrawHighRun(3, 4), nearest = DrawHighRun(3, 1);
    nearest->AnalyseAndKey();
    std::fesetround(FE_UPWARD);
    const std::string difference = DifferenceFromOneWorker(one.get(), several.get());
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(difference, "");
    EXPECT_NE(FirstDifference(*nearest, *one), "") << "the picture does not show how numbers are rounded";
}

#ifdef __linux__

std::int32_t Threads() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<std::int32_t>(std::distance(begin(tasks), end(tasks)));
}

TEST(EngineWorkers, AreGoneWhenTheCallReturns) {
    const auto engine = DrawHighRun(1, 3);
    const std::int32_t before = Threads();
    std::int32_t during = 0;
    const auto count = [](void* context, std::int32_t, std::int32_t) {
        *static_cast<std::int32_t*>(context) = Threads();
        return false;
    };
    engine->Analyse();
    EXPECT_EQ(Threads(), before);
    keying::KeyPlanes(engine->settings, engine->planes, engine->backdrop, {count, &during});
    EXPECT_EQ(during, before + 2);
    EXPECT_EQ(Threads(), before);
}

// Without address space few threads get a stack: those for which the C library kept one. A sanitizer needs
// address space of its own.
#if !FROND_SANITIZED
constexpr std::int32_t kMost = 40;

std::int32_t ThreadsThatStart(std::int32_t wanted) {
    pthread_t threads[kMost];
    std::int32_t count = 0;
    const auto end = [](void* nothing) { return nothing; };
    while (count < wanted && pthread_create(&threads[count], nullptr, end, nullptr) == 0) ++count;
    for (std::int32_t i = 0; i < count; ++i) pthread_join(threads[i], nullptr);
    return count;
}

TEST(EngineWorkers, LeaveTheWorkToTheOthersWhenSomeDoNotStart) {
    const auto one = DrawHighRun(2, 1), several = DrawHighRun(2, kMost);
    one->AnalyseAndKey();
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    const rlimit none = {1, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &none), 0);
    several->AnalyseAndKey();
    const std::int32_t started = ThreadsThatStart(kMost);
    setrlimit(RLIMIT_AS, &before);
    EXPECT_LT(started, kMost - 1);
    EXPECT_EQ(FirstDifference(*one, *several), "");
}

#endif
#endif

}  // namespace

// One module and one host for a great many small runs of all kinds: nothing may grow. Some 2,000 runs by
// default; FROND_SOAK_RUNS in the environment says how many otherwise. Not for Windows, where the module
// speaks of a missing suite in a message box, and waits for somebody to close it.
#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "host/module.h"
#include "rig/engine_scenes.h"
#include "shell/parameter_table.h"
#include "tests/shell_rig.h"

#ifdef __GLIBC__
#include <malloc.h>
#include <unistd.h>
#endif

namespace {

// What the process holds, in bytes.
struct Footprint {
    std::int64_t allocated = 0, resident = 0;
};

// Nothing where it cannot be told: sanitizers keep memory of their own, and hold back what was freed.
Footprint MeasureFootprint() {
    Footprint footprint;
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)
    const struct mallinfo2 heap = mallinfo2();
    footprint.allocated = static_cast<std::int64_t>(heap.uordblks + heap.hblkhd);
    if (std::FILE* file = std::fopen("/proc/self/statm", "r")) {
        long pages = 0, resident = 0;
        if (std::fscanf(file, "%ld %ld", &pages, &resident) == 2)
            footprint.resident = std::int64_t{resident} * sysconf(_SC_PAGESIZE);
        std::fclose(file);
    }
#endif
    return footprint;
}

Descriptor RandomDescriptor(Draws* draws) {
    Descriptor descriptor;
    for (const ParameterInfo& info : kParameters) {
        const auto value = static_cast<std::int32_t>(draws->Below(info.isFlag ? 2 : 201));
        if (draws->Below(4) != 0)
            descriptor.push_back({info.key, info.isFlag ? kTypeBoolean : kTypeInteger, value});
    }
    return descriptor;
}

// Faults of every kind, some on purpose too late to be met. A dialog that is asked for cannot open here.
void DrawFaults(Draws* draws, HostOptions* options) {
    options->playInfo = static_cast<std::int16_t>(draws->Below(3));
    options->failKindEnabled = draws->Below(4) == 0;
    options->failKind = static_cast<HostCall>(draws->Below(static_cast<int>(HostCall::kDisplayPixels) + 1));
    options->failKindAt = static_cast<int>(draws->Below(6));
    options->failAt = draws->Below(4) == 0 ? 1 + static_cast<int>(draws->Below(120)) : 0;
    options->abortAt = static_cast<int>(draws->Below(4));
}

void RunOnce(Host& host, PluginMainProc pluginMain, Draws* draws) {
    const auto side = [draws] { return 1 + static_cast<int>(draws->Below(6)); };
    const int width = side(), height = side();
    Document document = GreenDocument(width, height, draws->Below(2) == 0 ? 8 : 16, 2);
    if (draws->Below(3) == 0) document.selection = PatternChannel(document, 3);
    DrawFaults(draws, &OptionsOf(host));
    if (draws->Below(3) != 0) GiveDescriptor(host, RandomDescriptor(draws));
    RunFilter(host, pluginMain, document,
              draws->Below(2) == 0 ? AskForParameters::kNo : AskForParameters::kYes);
}

TEST(Soak, NothingGrowsOverManyRuns) {
    const char* const asked = std::getenv("FROND_SOAK_RUNS");
    const int runs = asked != nullptr ? std::atoi(asked) : 2000;
    const int early = std::max(1000, runs / 10);  // by then all that has a limit has reached it
    ASSERT_GT(runs, early);
    std::string error;
    ModulePtr module = OpenModule("MarbleFrondKeeper.so", &error);
    ASSERT_NE(module, nullptr) << error;
    const HostPtr host = CreateHost();
    Draws draws(5);
    Footprint before;
    for (int run = 1; run <= runs; ++run) {
        RunOnce(*host, module->pluginMain, &draws);
        const LiveCounts live = CountLive(*host);
        ASSERT_LE(live.handles, 3) << "run " << run;  // state, parameters, descriptor
        ASSERT_EQ(live.buffers + live.blocks + live.readTokens + live.writeTokens, 0) << "run " << run;
        ASSERT_EQ(ViolationText(*host), "") << "run " << run;
        ClearReport(*host);
        if (run != early && run != runs) continue;
        CloseHost(*host);  // empties what the host holds back of freed memory
        const Footprint now = MeasureFootprint();
        // Not to stdout, whose first line takes a buffer from the memory that is measured.
        std::fprintf(stderr, "run %d: %lld bytes allocated, %lld resident\n", run,
                     static_cast<long long>(now.allocated), static_cast<long long>(now.resident));
        if (run == early) before = now;
        if (run < runs) continue;
        EXPECT_LE(now.allocated, before.allocated + 4096);
        EXPECT_LE(now.resident, before.resident + (1 << 20));
    }
    // A module that stayed in the process would never run its unload step.
    module.reset();
    EXPECT_EQ(dlopen("./MarbleFrondKeeper.so", RTLD_NOW | RTLD_NOLOAD), nullptr);
}

}  // namespace

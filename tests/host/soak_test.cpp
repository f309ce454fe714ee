// Many small runs of all kinds in one module and one host: memory must not grow. 2,000 runs, or as many as
// the environment variable FROND_SOAK_RUNS says. Not for Windows, where a missing suite opens a message box
// that waits for the user.
#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>

#include "host/module.h"
#include "shell/parameter_table.h"
#include "tests/support/scenes.h"
#include "tests/support/test_shell.h"

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {

using namespace test_support;

// Bytes that the process has allocated. 0 where unknown: sanitizers delay the release of memory.
std::size_t AllocatedBytes() {
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
#else
    return 0;
#endif
}

// A small document, random parameters, and faults of every kind, some of them too late to happen. The dialog
// cannot open here.
void RunOnce(Host& host, PluginMainProc pluginMain, Random* draws) {
    const auto below = [draws](int end) { return static_cast<int>(draws->Below(end)); };
    const int width = 1 + below(6), height = 1 + below(6);
    Document document = GreenDocument(width, height, below(2) == 0 ? 8 : 16, 2);
    if (below(3) == 0) document.selection = PatternChannel(document, 3);
    HostOptions& options = OptionsOf(host);
    options.playInfo = static_cast<std::int16_t>(below(3));
    options.failKindEnabled = below(4) == 0;
    options.failKind = static_cast<HostCall>(below(static_cast<int>(HostCall::kDisplayPixels) + 1));
    options.failKindAt = below(6);
    options.failAt = below(4) == 0 ? 1 + below(120) : 0;
    options.abortAt = below(4);
    Descriptor items;
    for (const ParameterInfo& info : kParameters) {
        const int value = below(info.isFlag ? 2 : 201);
        if (below(4) != 0) items.push_back({info.key, info.isFlag ? kTypeBoolean : kTypeInteger, value});
    }
    if (below(3) != 0) SetDescriptor(host, items);
    RunFilter(host, pluginMain, document, below(2) == 0 ? AskForParameters::kNo : AskForParameters::kYes);
}

TEST(Soak, MemoryStaysConstantOverManyRuns) {
    const char* const asked = std::getenv("FROND_SOAK_RUNS");
    const int runs = asked != nullptr ? std::atoi(asked) : 2000;
    const int early = std::max(1000, runs / 10);  // by then every bounded container is full
    ASSERT_GT(runs, early);
    std::string error;
    ModulePtr module = OpenModule("MarbleFrondKeeper.so", &error);
    ASSERT_NE(module, nullptr) << error;
    const HostPtr host = CreateHost();
    Random draws(5);
    std::size_t before = 0;
    for (int run = 1; run <= runs; ++run) {
        RunOnce(*host, module->pluginMain, &draws);
        const LiveCounts live = CountLive(*host);
        ASSERT_LE(live.handles, 3) << "run " << run;  // state, parameters, descriptor
        ASSERT_EQ(live.buffers + live.blocks + live.readTokens + live.writeTokens, 0) << "run " << run;
        ASSERT_EQ(ViolationText(*host), "") << "run " << run;
        ClearReport(*host);
        if (run != early && run != runs) continue;
        CloseHost(*host);  // releases the memory that the host watches
        if (run == early) before = AllocatedBytes();
    }
    EXPECT_LE(AllocatedBytes(), before + 4096);
    // The module must be unloaded, so that its unload step runs.
    module.reset();
    EXPECT_EQ(dlopen("./MarbleFrondKeeper.so", RTLD_NOW | RTLD_NOLOAD), nullptr);
}

}  // namespace

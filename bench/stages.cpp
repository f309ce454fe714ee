#include "bench/stages.h"

#include <sched.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "engine/keying.h"
#include "engine/variants.h"
#include "host/host.h"
#include "plugin/plugin_main.h"
#include "shell/parameter_table.h"
#include "tests/support/test_engine.h"

namespace bench {

const char* const kStageNames[] = {"run",        "unblended", "engine", "analysis", "keying",
                                   "refinement", "edges",     "copy",   nullptr};

namespace {

using namespace filter;
using namespace test_support;

int gWorkers = 1;

// Seconds of this thread's processor time with one worker: this equals the clock's time on an idle machine
// and does not include other programs on a busy one. With several workers only the clock shows what they
// save.
double Now() {
    timespec now = {};
    clock_gettime(gWorkers == 1 ? CLOCK_THREAD_CPUTIME_ID : CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

template <class Work>
double Seconds(Work work) {
    const double start = Now();
    work();
    return Now() - start;
}

// Runs work on as many processors as there are workers: the module takes all that it may use.
template <class Work>
void OnProcessors(int count, Work work) {
    cpu_set_t all, some;
    sched_getaffinity(0, sizeof all, &all);
    CPU_ZERO(&some);
    for (int cpu = 0; cpu < CPU_SETSIZE && CPU_COUNT(&some) < count; ++cpu) {
        if (CPU_ISSET(cpu, &all)) CPU_SET(cpu, &some);
    }
    sched_setaffinity(0, sizeof some, &some);
    work();
    sched_setaffinity(0, sizeof all, &all);
}

// The data of one shape. Members are made when they are first needed.
struct Prepared {
    Shape shape;
    Layers layers;
    std::optional<host::Document> document;
    std::unique_ptr<TestEngine> picture;  // planes of the two layers
    std::unique_ptr<TestEngine> keyed;    // foreground and matte as the top layer
};

Prepared& Prepare(const Shape& shape) {
    static std::unique_ptr<Prepared> last;
    if (!last || !(last->shape == shape)) {
        last.reset();  // before the next: they are large
        last.reset(new Prepared{shape, MakeLayers(shape), {}, {}, {}});
    }
    return *last;
}

std::unique_ptr<TestEngine> MakeEngine(const Prepared& p) {
    return std::make_unique<TestEngine>(p.layers.width, p.layers.height,
                                        p.shape.depth == 8 ? RunKind::kFull8 : RunKind::kFull16);
}

TestEngine& PictureEngine(Prepared& p) {
    if (!p.picture) {
        p.picture = MakeEngine(p);
        for (int c = 0; c < 3; ++c) {
            std::memcpy(p.picture->Bytes(static_cast<Plane>(kTopR + c)), p.layers.photo[c].data(),
                        p.picture->PlaneBytes());
            std::memcpy(p.picture->Bytes(static_cast<Plane>(kBottomR + c)), p.layers.background[c].data(),
                        p.picture->PlaneBytes());
        }
    }
    p.picture->settings.blendEdges = true;
    p.picture->settings.outputAlpha = false;
    p.picture->settings.workers = gWorkers;
    return *p.picture;
}

// Keyed by the scalar reference, so later stages start from the same planes in every variant.
TestEngine& KeyedEngine(Prepared& p) {
    if (!p.keyed) {
        TestEngine& engine = PictureEngine(p);
        const std::string variant = keying::ActiveVariant()->name;
        keying::SetActiveVariant("scalar");
        engine.settings.outputAlpha = true;
        engine.AnalyseAndKey();
        keying::SetActiveVariant(variant.c_str());
        p.keyed = MakeEngine(p);
        const Plane from[] = {kOutR, kOutG, kOutB, kOutA, kBottomR, kBottomG, kBottomB};
        const Plane to[] = {kTopR, kTopG, kTopB, kTopA, kBottomR, kBottomG, kBottomB};
        for (int i = 0; i < 7; ++i)
            std::memcpy(p.keyed->Bytes(to[i]), engine.Bytes(from[i]), engine.PlaneBytes());
        p.keyed->settings.showPhoto = true;
        p.keyed->settings.blendEdges = false;
    }
    p.keyed->settings.workers = gWorkers;
    return *p.keyed;
}

Measured Result(TestEngine& engine, double seconds) {
    return {seconds, HashOutputs(engine), engine.Pixels(), {}};
}

Measured RunEngine(Prepared& p) {
    TestEngine& engine = PictureEngine(p);
    const double seconds = Seconds([&] { engine.AnalyseAndKey(); });
    return Result(engine, seconds);
}

Measured RunAnalysis(Prepared& p) {
    TestEngine& engine = PictureEngine(p);
    const double seconds = Seconds([&] { engine.Analyse(); });
    return {seconds, HashBackdrop(engine.backdrop), engine.Pixels(), {}};
}

Measured RunKeying(Prepared& p) {
    TestEngine& engine = PictureEngine(p);
    engine.settings.outputAlpha = true;
    engine.Analyse();
    const double seconds = Seconds([&] { engine.Key(); });
    return Result(engine, seconds);
}

Measured RunRefinement(Prepared& p) {
    TestEngine& engine = KeyedEngine(p);
    const double seconds = Seconds([&] { engine.Key(); });
    return Result(engine, seconds);
}

Measured RunEdges(Prepared& p) {
    TestEngine& engine = KeyedEngine(p);
    for (int i = 0; i < 4; ++i)
        engine.CopyPlane(static_cast<Plane>(kOutR + i), static_cast<Plane>(kTopR + i));
    const double seconds = Seconds([&] { keying::BlendEdges(engine.settings, engine.planes); });
    return Result(engine, seconds);
}

// What the memory allows: each worker copies its part of four planes.
Measured RunCopy(Prepared& p) {
    TestEngine& engine = PictureEngine(p);
    const Plane from[] = {kTopR, kTopG, kTopB, kBottomR}, to[] = {kOutR, kOutG, kOutB, kOutA};
    const std::size_t bytes = engine.PlaneBytes(), workers = static_cast<std::size_t>(gWorkers);
    const auto copy = [&](std::size_t worker) {
        const std::size_t begin = bytes * worker / workers, end = bytes * (worker + 1) / workers;
        for (int i = 0; i < 4; ++i)
            std::memcpy(engine.Bytes(to[i]) + begin, engine.Bytes(from[i]) + begin, end - begin);
    };
    const double seconds = Seconds([&] {
        std::vector<std::thread> threads;
        for (std::size_t worker = 1; worker < workers; ++worker) threads.emplace_back(copy, worker);
        copy(0);
        for (std::thread& thread : threads) thread.join();
    });
    return Result(engine, seconds);
}

// ---- A whole run in a host -------------------------------------------------------------------------------

host::Document& DocumentOf(Prepared& p) {
    if (!p.document) {
        host::Document document = host::MakeDocument(p.layers.width, p.layers.height, p.shape.depth);
        document.layers.push_back(host::MakeLayer(document, "Background", 0));
        document.layers.push_back(host::MakeLayer(document, "Photograph", 0));
        for (std::size_t c = 0; c < 3; ++c) document.layers[0].colour[c].bytes = p.layers.background[c];
        document.targetLayer = 1;
        p.document = std::move(document);
    }
    host::Layer& photo = p.document->layers[1];
    for (std::size_t c = 0; c < 3; ++c) photo.colour[c].bytes = p.layers.photo[c];
    photo.transparency = host::MakeChannel(*p.document, p.shape.depth == 8 ? 255 : host::kHostMaxSample16);
    return *p.document;
}

host::Descriptor DefaultParameters(bool blendEdges) {
    host::Descriptor descriptor;
    for (const ParameterInfo& parameter : kParameters) {
        const bool blend = std::strcmp(parameter.name, "FlagRealityInteg") == 0;
        descriptor.push_back({parameter.key, parameter.isFlag ? host::kTypeBoolean : host::kTypeInteger,
                              blend ? blendEdges : parameter.defaultValue});
    }
    return descriptor;
}

Measured RunInHost(Prepared& p, bool blendEdges) {
    host::Document& document = DocumentOf(p);
    host::HostOptions options;
    options.moveHandles = false;
    const host::HostPtr host = host::CreateHost(options);
    Measured measured{0, kHashStart, std::int64_t{p.layers.width} * p.layers.height, {}};
    host::SetDescriptor(*host, DefaultParameters(blendEdges));
    host::OpenDocument(*host, document);
    OSErr result = host::CallSelector(*host, PluginMain, filterSelectorParameters);
    if (result == noErr) result = host::CallSelector(*host, PluginMain, filterSelectorPrepare);
    if (result == noErr) {
        OnProcessors(gWorkers, [&] {
            measured.seconds =
                Seconds([&] { result = host::CallSelector(*host, PluginMain, filterSelectorStart); });
        });
    }
    if (result == noErr) result = host::CallSelector(*host, PluginMain, filterSelectorFinish);
    host::EndRun(*host);
    host::CloseHost(*host);
    if (result != noErr) measured.error = "the run ends with error " + std::to_string(result);
    if (measured.error.empty()) measured.error = host::ViolationText(*host);
    host::Layer& target = document.layers[1];
    for (const host::Channel& channel : target.colour) {
        measured.hash = HashBytes(channel.bytes.data(), channel.bytes.size(), measured.hash);
    }
    measured.hash =
        HashBytes(target.transparency->bytes.data(), target.transparency->bytes.size(), measured.hash);
    return measured;
}

}  // namespace

Measured RunStage(const std::string& stage, const std::string& variant, int workers, const Shape& shape) {
    gWorkers = workers;
    Prepared& p = Prepare(shape);
    if (!keying::SetActiveVariant(variant.c_str()))
        return {0, 0, 0, "this machine does not run the variant " + variant};
    if (stage == "run") return RunInHost(p, true);
    if (stage == "unblended") return RunInHost(p, false);
    if (stage == "engine") return RunEngine(p);
    if (stage == "analysis") return RunAnalysis(p);
    if (stage == "keying") return RunKeying(p);
    if (stage == "refinement") return RunRefinement(p);
    if (stage == "edges") return RunEdges(p);
    if (stage == "copy") return RunCopy(p);
    return {0, 0, 0, "there is no stage " + stage};
}

}  // namespace bench

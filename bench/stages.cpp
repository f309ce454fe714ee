#include "bench/stages.h"

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>

#include "engine/variants.h"
#include "host/host.h"
#include "plugin/plugin_main.h"
#include "shell/engine_calls.h"
#include "shell/parameter_table.h"
#include "tests/support/engine_rig.h"

namespace bench {

const char* const kStageNames[] = {"run",    "unblended",  "engine", "analysis",
                                   "keying", "refinement", "edges",  nullptr};

namespace {

// Seconds of processor time that this thread has had. The engine neither waits nor starts threads, so on an
// idle machine this is the time of the clock, and on a busy one other programs' turns do not count.
double ThreadSeconds() {
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

template <class Work>
double Seconds(Work work) {
    const double start = ThreadSeconds();
    work();
    return ThreadSeconds() - start;
}

// What has been made for one shape, as far as it was asked for.
struct Prepared {
    Shape shape;
    Layers layers;
    std::optional<host::Document> document;
    std::unique_ptr<EngineRig> picture;  // planes of the two layers
    std::unique_ptr<EngineRig> keyed;    // foreground and matte as the top layer
};

Prepared& Prepare(const Shape& shape) {
    static std::unique_ptr<Prepared> last;
    if (!last || !(last->shape == shape)) {
        last.reset();  // before the next: they are large
        last.reset(new Prepared{shape, MakeLayers(shape), {}, {}, {}});
    }
    return *last;
}

std::unique_ptr<EngineRig> MakeRig(const Prepared& p) {
    return std::make_unique<EngineRig>(p.layers.width, p.layers.height,
                                       p.shape.depth == 8 ? RunKind::kFull8 : RunKind::kFull16);
}

EngineRig& PictureRig(Prepared& p) {
    if (!p.picture) {
        p.picture = MakeRig(p);
        for (int c = 0; c < 3; ++c) {
            std::memcpy(p.picture->Bytes(static_cast<Plane>(kTopR + c)), p.layers.photo[c].data(),
                        p.picture->PlaneBytes());
            std::memcpy(p.picture->Bytes(static_cast<Plane>(kBottomR + c)), p.layers.background[c].data(),
                        p.picture->PlaneBytes());
        }
    }
    p.picture->globals.FlagRealityInteg = 1;
    p.picture->globals.FlagOutputAlpha = 0;
    return *p.picture;
}

// The scalar reference keys it, so that the stages that follow the keying start from the same planes in every
// variant.
EngineRig& KeyedRig(Prepared& p) {
    if (!p.keyed) {
        EngineRig& rig = PictureRig(p);
        const std::string variant = keying::ActiveVariant()->name;
        keying::SetActiveVariant("scalar");
        rig.globals.FlagOutputAlpha = 1;
        rig.AnalyseAndKey();
        keying::SetActiveVariant(variant.c_str());
        p.keyed = MakeRig(p);
        const Plane from[] = {kOutR, kOutG, kOutB, kOutA, kBottomR, kBottomG, kBottomB};
        const Plane to[] = {kTopR, kTopG, kTopB, kTopA, kBottomR, kBottomG, kBottomB};
        for (int i = 0; i < 7; ++i) std::memcpy(p.keyed->Bytes(to[i]), rig.Bytes(from[i]), rig.PlaneBytes());
        p.keyed->globals.FlagOrgPhoto = 1;
        p.keyed->globals.FlagRealityInteg = 0;
    }
    return *p.keyed;
}

Measured Result(EngineRig& rig, double seconds) {
    return {seconds, HashOutputs(rig), rig.Pixels(), {}};
}

Measured RunEngine(Prepared& p) {
    EngineRig& rig = PictureRig(p);
    const double seconds = Seconds([&] { rig.AnalyseAndKey(); });
    return Result(rig, seconds);
}

Measured RunAnalysis(Prepared& p) {
    EngineRig& rig = PictureRig(p);
    const double seconds = Seconds([&] { rig.Analyse(); });
    return {seconds, HashAnalysis(rig), rig.Pixels(), {}};
}

Measured RunKeying(Prepared& p) {
    EngineRig& rig = PictureRig(p);
    rig.globals.FlagOutputAlpha = 1;
    rig.Analyse();
    const double seconds = Seconds([&] { rig.Key(); });
    return Result(rig, seconds);
}

Measured RunRefinement(Prepared& p) {
    EngineRig& rig = KeyedRig(p);
    const double seconds = Seconds([&] { rig.Key(); });
    return Result(rig, seconds);
}

Measured RunEdges(Prepared& p) {
    EngineRig& rig = KeyedRig(p);
    for (int i = 0; i < 4; ++i) rig.CopyPlane(static_cast<Plane>(kOutR + i), static_cast<Plane>(kTopR + i));
    const double seconds =
        Seconds([&] { p.shape.depth == 8 ? blendEdges8(&rig.globals) : blendEdges16(&rig.globals); });
    return Result(rig, seconds);
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
    host::GiveDescriptor(*host, DefaultParameters(blendEdges));
    host::OpenDocument(*host, document);
    OSErr result = host::CallSelector(*host, PluginMain, filterSelectorParameters);
    if (result == noErr) result = host::CallSelector(*host, PluginMain, filterSelectorPrepare);
    if (result == noErr) {
        measured.seconds =
            Seconds([&] { result = host::CallSelector(*host, PluginMain, filterSelectorStart); });
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

Measured RunStage(const std::string& stage, const std::string& variant, const Shape& shape) {
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
    return {0, 0, 0, "there is no stage " + stage};
}

}  // namespace bench

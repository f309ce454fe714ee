#include "frond/session.h"

#include <cstring>

#include "frond/frond.h"
#include "images/atomic_file.h"

namespace frond {

Session::~Session() {
    if (host) CloseHost(*host);
    module.reset();
}

void StartSession(Session& session, const std::filesystem::path& module, HostOptions options) {
    session.host = CreateHost(std::move(options));
    std::string reason;
    session.module = OpenModule(module.u8string(), &reason);
    if (!session.module) throw Failure(kNoModule, reason);
}

namespace {

Channel ChannelOf(const Plane& plane, int depth) {
    Channel channel;
    if (depth == 8) {
        channel.bytes.assign(plane.begin(), plane.end());
        return channel;
    }
    channel.bytes.resize(plane.size() * 2);
    for (std::size_t i = 0; i < plane.size(); ++i) {
        const std::uint16_t sample = ToDocument16(plane[i]);
        std::memcpy(&channel.bytes[i * 2], &sample, sizeof sample);
    }
    return channel;
}

Plane PlaneOf(const Channel& channel, int depth) {
    if (depth == 8) return Plane(channel.bytes.begin(), channel.bytes.end());
    Plane plane(channel.bytes.size() / 2);
    for (std::size_t i = 0; i < plane.size(); ++i) {
        std::uint16_t sample;
        std::memcpy(&sample, &channel.bytes[i * 2], sizeof sample);
        plane[i] = FromDocument16(sample);
    }
    return plane;
}

Layer LayerOf(const Picture& picture, const char* name) {
    Layer layer;
    layer.name = name;
    for (const Plane& plane : picture.colour) layer.colour.push_back(ChannelOf(plane, picture.depth));
    return layer;
}

// The filter tests the selection byte by byte at every depth, one byte to a pixel from the plane's start. In
// a 16-bit document the plane is therefore packed: bytes in its first half, so that each pixel meets its own.
Channel SelectionOf(const Plane& selection, int depth) {
    Channel channel;
    channel.bytes.assign(selection.size() * static_cast<std::size_t>(depth / 8), 255);
    for (std::size_t i = 0; i < selection.size(); ++i) {
        channel.bytes[i] = static_cast<std::uint8_t>(selection[i]);
    }
    return channel;
}

Document DocumentOf(const KeyJob& job) {
    const Picture& photo = *job.photo;
    Document document = MakeDocument(photo.width, photo.height, photo.depth);
    document.layers.push_back(LayerOf(*job.background, "Background"));
    document.layers.push_back(LayerOf(photo, "Photograph"));
    // A layer above the lowest always has transparency, also when it is opaque.
    document.layers[1].transparency = photo.alpha.empty()
                                          ? MakeChannel(document, photo.depth == 8 ? 255 : kHostMaxSample16)
                                          : ChannelOf(photo.alpha, photo.depth);
    if (!job.selection->empty()) document.selection = SelectionOf(*job.selection, photo.depth);
    document.targetLayer = 1;
    return document;
}

std::string ErrorText(OSErr code) {
    switch (code) {
        case memFullErr:
            return "the filter ran out of memory";
        case userCanceledErr:
            return "cancelled";
        case errPlugInHostInsufficient:
            return "the filter misses a service of the host";
        default:
            return "the filter reports error " + std::to_string(code);
    }
}

}  // namespace

KeyResult RunModule(Session& session, const KeyJob& job) {
    Host& host = *session.host;
    Document document = DocumentOf(job);
    GiveDescriptor(host, DescriptorOf(job.parameters));
    ClearReport(host);
    OptionsOf(host).playInfo = job.withDialog ? plugInDialogDisplay : plugInDialogDontDisplay;
    const RunResult run = RunFilter(host, session.module->pluginMain, document,
                                    job.withDialog ? AskForParameters::kYes : AskForParameters::kNo);
    const bool cancelled = job.withDialog && run.result == userCanceledErr;
    if (cancelled) throw Failure(kInterrupted, "cancelled");
    if (gStopAsked || ReportOf(host).aborted) throw Failure(kInterrupted, "interrupted");
    if (run.result != noErr) throw Failure(kRunFailed, ErrorText(run.result));
    for (const Violation& violation : ReportOf(host).violations) {
        // The dialog's Reset gives up the buffers of before, by design; the host frees them.
        if (job.withDialog && violation.kind == ViolationKind::kLeak) continue;
        throw Failure(kRunFailed, "internal error: " + violation.text);
    }
    KeyResult result;
    result.layer = MakePicture(0, 0, document.depth, 0, false);
    result.layer.width = job.photo->width;
    result.layer.height = job.photo->height;
    for (Channel& channel : document.layers[1].colour) {
        result.layer.colour.push_back(PlaneOf(channel, document.depth));
        channel = {};
    }
    result.layer.alpha = PlaneOf(*document.layers[1].transparency, document.depth);
    result.parameters = ValuesOf(KeptDescriptor(host).value_or(Descriptor{}));
    return result;
}

}  // namespace frond

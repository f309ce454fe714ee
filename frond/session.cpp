#include "frond/session.h"

#include <cstring>

#include "frond/command.h"

namespace frond {

Session::~Session() {
    if (host) host::CloseHost(*host);
    module.reset();
}

void StartSession(Session& session, const std::filesystem::path& module, host::HostOptions options) {
    session.host = host::CreateHost(std::move(options));
    std::string reason;
    session.module = host::OpenModule(module.u8string(), &reason);
    if (!session.module) throw Failure(kNoModule, reason);
}

namespace {

host::Channel ChannelOf(const images::Plane& plane, int depth) {
    host::Channel channel;
    if (depth == 8) {
        channel.bytes.assign(plane.begin(), plane.end());
        return channel;
    }
    channel.bytes.resize(plane.size() * 2);
    for (std::size_t i = 0; i < plane.size(); ++i) {
        const std::uint16_t sample = images::ToDocument16(plane[i]);
        std::memcpy(&channel.bytes[i * 2], &sample, sizeof sample);
    }
    return channel;
}

images::Plane PlaneOf(const host::Channel& channel, int depth) {
    if (depth == 8) return images::Plane(channel.bytes.begin(), channel.bytes.end());
    images::Plane plane(channel.bytes.size() / 2);
    for (std::size_t i = 0; i < plane.size(); ++i) {
        std::uint16_t sample;
        std::memcpy(&sample, &channel.bytes[i * 2], sizeof sample);
        plane[i] = images::FromDocument16(sample);
    }
    return plane;
}

host::Layer LayerOf(const images::Picture& picture, const char* name) {
    host::Layer layer;
    layer.name = name;
    for (const images::Plane& plane : picture.colour) layer.colour.push_back(ChannelOf(plane, picture.depth));
    return layer;
}

// The filter reads one selection byte per pixel at every depth. In a 16-bit document the bytes are therefore
// in the first half of the plane.
host::Channel SelectionOf(const images::Plane& selection, int depth) {
    host::Channel channel;
    channel.bytes.assign(selection.size() * static_cast<std::size_t>(depth / 8), 255);
    for (std::size_t i = 0; i < selection.size(); ++i) {
        channel.bytes[i] = static_cast<std::uint8_t>(selection[i]);
    }
    return channel;
}

host::Document DocumentOf(const RunInput& job) {
    const images::Picture& photo = *job.photo;
    host::Document document = host::MakeDocument(photo.width, photo.height, photo.depth);
    document.layers.push_back(LayerOf(*job.background, "Background"));
    document.layers.push_back(LayerOf(photo, "Photograph"));
    // Layers above the lowest have transparency, even when they are opaque.
    document.layers[1].transparency =
        photo.alpha.empty() ? host::MakeChannel(document, photo.depth == 8 ? 255 : host::kHostMaxSample16)
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
            return "the host lacks a service that the filter needs";
        default:
            return "the filter reported error " + std::to_string(code);
    }
}

}  // namespace

RunOutput RunModule(Session& session, const RunInput& job) {
    host::Host& host = *session.host;
    host::Document document = DocumentOf(job);
    host::SetDescriptor(host, ToDescriptor(job.parameters));
    host::ClearReport(host);
    host::OptionsOf(host).playInfo = job.withDialog ? plugInDialogDisplay : plugInDialogDontDisplay;
    const host::RunResult run =
        host::RunFilter(host, session.module->pluginMain, document,
                        job.withDialog ? host::AskForParameters::kYes : host::AskForParameters::kNo);
    const bool cancelled = job.withDialog && run.result == userCanceledErr;
    if (cancelled) throw Failure(kInterrupted, "cancelled");
    if (gInterrupted || host::ReportOf(host).aborted) throw Failure(kInterrupted, "interrupted");
    if (run.result != noErr) throw Failure(kRunFailed, ErrorText(run.result));
    for (const host::Violation& violation : host::ReportOf(host).violations) {
        // Intended: the dialog's Reset loses its earlier buffers; the host frees them.
        if (job.withDialog && violation.kind == host::ViolationKind::kLeak) continue;
        throw Failure(kRunFailed, "internal error: " + violation.text);
    }
    RunOutput result;
    result.layer = images::MakePicture(0, 0, document.depth, 0, false);
    result.layer.width = job.photo->width;
    result.layer.height = job.photo->height;
    for (host::Channel& channel : document.layers[1].colour) {
        result.layer.colour.push_back(PlaneOf(channel, document.depth));
        channel = {};
    }
    result.layer.alpha = PlaneOf(*document.layers[1].transparency, document.depth);
    result.parameters = FromDescriptor(host::StoredDescriptor(host).value_or(host::Descriptor{}));
    return result;
}

}  // namespace frond

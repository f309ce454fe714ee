#include "frond/session.h"

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

ParameterValues RunModule(Session& session, host::Document& document, const ParameterValues& parameters,
                          bool withDialog) {
    host::Host& host = *session.host;
    host::SetDescriptor(host, ToDescriptor(parameters));
    host::ClearReport(host);
    host::OptionsOf(host).playInfo = withDialog ? plugInDialogDisplay : plugInDialogDontDisplay;
    const host::RunResult run =
        host::RunFilter(host, session.module->pluginMain, document,
                        withDialog ? host::AskForParameters::kYes : host::AskForParameters::kNo);
    const bool cancelled = withDialog && run.result == userCanceledErr;
    if (cancelled) throw Failure(kInterrupted, "cancelled");
    if (gInterrupted || host::ReportOf(host).aborted) throw Failure(kInterrupted, "interrupted");
    if (run.result != noErr) throw Failure(kRunFailed, ErrorText(run.result));
    for (const host::Violation& violation : host::ReportOf(host).violations) {
        // Intended: the dialog's Reset loses its earlier buffers; the host frees them.
        if (withDialog && violation.kind == host::ViolationKind::kLeak) continue;
        throw Failure(kRunFailed, "internal error: " + violation.text);
    }
    return FromDescriptor(host::StoredDescriptor(host).value_or(host::Descriptor{}));
}

}  // namespace frond

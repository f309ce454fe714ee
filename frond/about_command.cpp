// frond about: shows the filter's About box.
#include <CLI/CLI.hpp>

#include "frond/command.h"
#include "frond/owner_window.h"
#include "frond/session.h"

namespace frond {

namespace {

std::string gModule;

ExitCode RunAbout() {
    RequireWindows();
    const std::filesystem::path module = FindModule(PathFromUtf8(gModule));
    const OwnerWindow window = OpenOwnerWindow(kProgramName);
    host::HostOptions options;
    options.mainWindow = window.get();
    options.browseUrl = [](const char* url) { return OpenWebPage(url) ? SPErr{noErr} : SPErr{-1}; };
    Session session;
    StartSession(session, module, std::move(options));
    host::ShowAbout(*session.host, session.module->pluginMain);
    if (!host::ReportOf(*session.host).violations.empty()) {
        throw Failure(kRunFailed, "internal error: " + host::ReportOf(*session.host).violations.front().text);
    }
    return kDone;
}

}  // namespace

Command AddAboutCommand(CLI::App& app) {
    CLI::App* about = app.add_subcommand("about", "Show the filter's About box (on Windows)");
    about->add_option("--module", gModule, "The filter module; default: the one beside the program")
        ->type_name("FILE");
    about->footer(
        "Exit codes: 0; 2 (command line, or not on Windows), 5 (no module), 6 (the filter failed).");
    return {about, RunAbout};
}

}  // namespace frond

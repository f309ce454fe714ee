// frond manual: prints the manual page or the completion, for those who make packages.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "frond/command.h"
#include "frond/command_table.h"

namespace frond {

namespace {

std::string gWhat;
const CLI::App* gProgram = nullptr;

ExitCode RunManual() {
    const std::string text = gWhat == "page" ? FormatManualPage(*gProgram) : FormatCompletion(*gProgram);
    const std::size_t written = std::fwrite(text.data(), 1, text.size(), stdout);
    if (written != text.size() || std::fflush(stdout) != 0)
        throw Failure(kBadOutput, "standard output: cannot be written");
    return kDone;
}

}  // namespace

Command AddManualCommand(CLI::App& app) {
    CLI::App* manual =
        app.add_subcommand("manual", "Print the manual page in roff, or the completion for bash");
    manual->group("");  // hidden: it is for packages
    manual->add_option("WHAT", gWhat, "page or completion")
        ->required()
        ->check(CLI::IsMember({"page", "completion"}));
    gProgram = &app;
    return {manual, RunManual};
}

}  // namespace frond

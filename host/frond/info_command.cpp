// frond info: what a filter module tells a host about itself.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "host/frond/frond.h"
#include "host/frond/module_words.h"
#include "host/frond/pe_resources.h"
#include "host/whole_file.h"

namespace frond {

namespace {

std::string gModule;

ExitCode RunInfo() {
    const std::filesystem::path path = PathOf(gModule);
    const PeFile file = ReadPeFile(path);
    std::string text = Shown(path.filename()) + ": for " + file.machine + "\n";
    bool hasList = false;
    try {
        for (const PeResource& resource : file.resources) {
            if (resource.type == "PIPL") {
                hasList = true;
                text += "Property list " + std::to_string(resource.id) + "\n" +
                        PropertyListInWords(resource.data);
            } else if (resource.type == "AETE") {
                text +=
                    "Terminology " + std::to_string(resource.id) + "\n" + TerminologyInWords(resource.data);
            }
        }
    } catch (const OutOfBytes&) {
        throw Failure(kNoModule, Shown(path) + ": its property list or terminology ends too early");
    }
    if (!hasList) throw Failure(kNoModule, Shown(path) + ": has no property list, so it is no filter module");
    std::fputs(text.c_str(), stdout);
    return kDone;
}

}  // namespace

Command AddInfoCommand(CLI::App& app) {
    CLI::App* info = app.add_subcommand("info", "The property list and terminology of a .8bf in words");
    info->add_option("MODULE", gModule, "A filter module for Windows, of 32 or 64 bits")->required();
    info->footer("Exit codes: 0, 2 (command line), 3 (cannot be read), 5 (no filter module).");
    return {info, RunInfo};
}

}  // namespace frond

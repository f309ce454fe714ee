// frond info: prints a filter module's property list and terminology.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "frond/command.h"
#include "frond/module_description.h"
#include "frond/pe_resources.h"
#include "images/text.h"

namespace frond {

namespace {

std::string gModule;

ExitCode RunInfo() {
    const std::filesystem::path path = PathFromUtf8(gModule);
    const PeFile file = ReadPeFile(path);
    std::string list, terminology;
    try {
        for (const PeResource& resource : file.resources) {
            const std::string id = " " + std::to_string(resource.id) + "\n";
            if (resource.type == "PIPL") list += "Property list" + id + DescribePropertyList(resource.data);
            if (resource.type == "AETE")
                terminology += "Terminology" + id + DescribeTerminology(resource.data);
        }
    } catch (const UnexpectedEnd&) {
        throw Failure(kNoModule,
                      images::DisplayName(path) + ": its property list or terminology is truncated");
    }
    if (list.empty())
        throw Failure(kNoModule,
                      images::DisplayName(path) + ": has no property list, so it is not a filter module");
    std::printf("%s: for %s\n%s%s", images::DisplayName(path.filename()).c_str(), file.machine.c_str(),
                list.c_str(), terminology.c_str());
    return kDone;
}

}  // namespace

Command AddInfoCommand(CLI::App& app) {
    CLI::App* info = app.add_subcommand("info", "Print the property list and terminology of a .8bf file");
    info->add_option("MODULE", gModule, "A filter module for Windows, 32-bit or 64-bit")->required();
    info->footer("Exit codes: 0, 2 (command line), 3 (cannot be read), 5 (not a filter module).");
    return {info, RunInfo};
}

}  // namespace frond

// frond info: what a filter module tells a host about itself.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "frond/describe_module.h"
#include "frond/frond.h"
#include "frond/pe_resources.h"
#include "images/atomic_file.h"

namespace frond {

namespace {

std::string gModule;

ExitCode RunInfo() {
    const std::filesystem::path path = PathOf(gModule);
    const PeFile file = ReadPeFile(path);
    std::string list, terminology;
    try {
        for (const PeResource& resource : file.resources) {
            const std::string id = " " + std::to_string(resource.id) + "\n";
            if (resource.type == "PIPL") list += "Property list" + id + DescribePropertyList(resource.data);
            if (resource.type == "AETE")
                terminology += "Terminology" + id + DescribeTerminology(resource.data);
        }
    } catch (const OutOfBytes&) {
        throw Failure(kNoModule,
                      images::DisplayName(path) + ": its property list or terminology ends too early");
    }
    if (list.empty())
        throw Failure(kNoModule,
                      images::DisplayName(path) + ": has no property list, so it is no filter module");
    std::printf("%s: for %s\n%s%s", images::DisplayName(path.filename()).c_str(), file.machine.c_str(),
                list.c_str(), terminology.c_str());
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

// frond sample: renders the sample plate.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "frond/command.h"
#include "images/text.h"
#include "sample_plate/sample_plate.h"

namespace frond {

namespace {

struct Options {
    std::string folder, size = "2400x1600", format = "png", backdrop = "cloth", hair = "dark";
    int depth = 8;
    bool isBlue = false;
};

Options gOptions;

constexpr int kSmallest = 16, kLargest = 30000;  // pixels on a side

void ParseSize(const std::string& text, sample_plate::PlateOptions& plate) {
    int used = 0;
    const int read = std::sscanf(text.c_str(), "%5dx%5d%n", &plate.width, &plate.height, &used);
    const bool isWhole = read == 2 && used == static_cast<int>(text.size());
    const auto fits = [](int side) { return side >= kSmallest && side <= kLargest; };
    if (!isWhole || !fits(plate.width) || !fits(plate.height)) {
        throw Failure(kBadUsage,
                      "--size: \"" + text + "\" is not a size; use WIDTHxHEIGHT, each from 16 to 30000");
    }
}

ExitCode RunSample() {
    sample_plate::PlateOptions options;
    options.depth = gOptions.depth;
    options.isBlue = gOptions.isBlue;
    options.isPure = gOptions.backdrop == "pure";
    options.isBlown = gOptions.hair == "blown";
    ParseSize(gOptions.size, options);
    const std::filesystem::path folder = PathFromUtf8(gOptions.folder);
    std::error_code failure;
    std::filesystem::create_directories(folder, failure);
    if (!std::filesystem::is_directory(folder, failure)) {
        throw Failure(kBadOutput, images::DisplayName(folder) + ": is not a folder and cannot be created");
    }
    InstallInterruptHandlers();
    const sample_plate::SamplePlate plate = sample_plate::RenderSamplePlate(options);
    const std::pair<const char*, const images::Picture*> pictures[] = {{"photo", &plate.photo},
                                                                       {"background", &plate.background},
                                                                       {"alpha", &plate.alpha},
                                                                       {"composite", &plate.composite}};
    for (const auto& [name, picture] : pictures)
        WriteResult(folder / (name + ("." + gOptions.format)), *picture);
    return kDone;
}

}  // namespace

Command AddSampleCommand(CLI::App& app) {
    CLI::App* sample =
        app.add_subcommand("sample", "Render a sample plate: photo, background, alpha, composite");
    Options& o = gOptions;
    sample->add_option("DIR", o.folder, "Folder for the four pictures; created if needed")->required();
    sample->add_option("--size", o.size, "WIDTHxHEIGHT in pixels")->type_name("SIZE");
    sample->add_option("--depth", o.depth, "Bits per channel")->check(CLI::IsMember({8, 16}));
    sample->add_option("--format", o.format, "Format of the files: png or tif")
        ->check(CLI::IsMember({"png", "tif"}));
    sample->add_flag("--blue", o.isBlue, "Use a blue backdrop instead of a green one");
    sample
        ->add_option("--backdrop", o.backdrop,
                     "cloth, or pure: computer-made, with two channels at 0, without spill and noise")
        ->check(CLI::IsMember({"cloth", "pure"}));
    sample
        ->add_option("--hair", o.hair,
                     "dark, or blown: light hair in the wind, with highlights clipped by light behind it")
        ->check(CLI::IsMember({"dark", "blown"}));
    sample->footer(
        "composite is the perfect key, alpha its matte. The same options give the same pictures everywhere.\n"
        "Exit codes: 0, 2 (command line), 4 (cannot be written), 130 (interrupted).");
    return {sample, RunSample};
}

}  // namespace frond

#include "frond/keying_options.h"

#include <CLI/CLI.hpp>

#include "frond/pipeline.h"
#include "frond/starting_points.h"

namespace frond {

void AddFitOption(CLI::App& app, KeyingOptions& o) {
    app.add_option("--fit", o.fit, "How to fit the background to the result's size")
        ->check(CLI::IsMember({"cover", "stretch", "none"}));
}

void AddPictureOptions(CLI::App& app, KeyingOptions& o) {
    app.option_defaults()->group("Pictures");
    AddFitOption(app, o);
    app.add_option("--depth", o.depth, "Bits per channel; default: the photograph's")
        ->check(CLI::IsMember({8, 16}));
    app.add_option("--lift", o.lift,
                   "Raise the photograph's red, green and blue to at least this first; 3 helps where a "
                   "backdrop has channels at 0")
        ->check(CLI::Range(0, 255));
    app.add_option("--selection", o.selection,
                   "Grey picture of the photograph's size; black areas stay unchanged")
        ->type_name("MASK");
}

void AddSettingsOptions(CLI::App& app, KeyingOptions& o) {
    app.option_defaults()->group("Settings");
    AddStartOption(app, o.start);
    app.add_option("--action", o.action, "Read the parameters from this file; options override it")
        ->type_name("FILE");
}

void AddModuleOptions(CLI::App& app, KeyingOptions& o) {
    app.option_defaults()->group("Options");
    app.add_option("--module", o.module, "The filter module; default: the one beside the program")
        ->type_name("FILE");
    const auto allowUntrusted = [&o] {
        o.allowsUntrusted = true;
        images::AllowUntrustedFormats();
    };
    app.add_flag_callback("--allow-untrusted", allowUntrusted, kUntrustedText);
}

void AddKeyingOptions(CLI::App& app, KeyingOptions& o) {
    app.option_defaults()->group("Pictures");
    app.add_option("--over", o.over,
                   "The new background, or a folder of them; may be given several times. Settings in "
                   "NAME.json beside NAME.jpg are for that background")
        ->type_name("BACKGROUND")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.option_defaults()->group("Results");
    app.add_option("-o,--out", o.out,
                   "The result: .png, .tif, .jpg or .webp; or a folder (no extension, or several results); "
                   "- is standard output")
        ->type_name("OUT");
    app.add_option("--matte", o.matte, "Also write the matte as a grey picture; a folder as for --out")
        ->type_name("FILE");
    app.add_option("--format", o.format,
                   "Format of the files in a folder, default png; of standard output or a pipe")
        ->check(CLI::IsMember({"png", "tif", "tiff", "jpg", "jpeg", "webp"}));
    app.add_option("--name", o.name,
                   "Names of the files in a folder; default {photo}, with several backgrounds "
                   "{photo}-{background}")
        ->type_name("PATTERN");
    app.add_flag("--force", o.force, "Replace results of other photographs in a folder too");
    app.add_option("--compression", o.files.compression,
                   "Of PNG and TIFF files, from fast and large to slow and small")
        ->check(CLI::Range(0, 9));
    app.add_option("--quality", o.files.quality, "Of JPEG and WebP files")->check(CLI::Range(1, 100));
    app.add_option("--subsampling", o.subsampling,
                   "Of JPEG files; 420 has colour at half the resolution; default 444")
        ->check(CLI::IsMember({"444", "420"}))
        ->each([&o](const std::string& text) { o.files.subsamples = text == "420"; });
    AddPictureOptions(app, o);
    AddSettingsOptions(app, o);
    AddModuleOptions(app, o);
    app.add_option("--jobs", o.jobs, "How many photographs to read and write at once; default: the cores")
        ->check(CLI::Range(1, 256));
    app.add_flag("--check", o.check, "Check the filter's use of memory more closely, which takes time");
    app.add_option("--report", o.report, "Append a line in JSON to this file for each result")
        ->type_name("FILE");
    app.add_flag("--quiet", o.quiet, "Show no progress, no warnings and no summary");
    app.add_flag("--verbose", o.verbose, "Print a line for each result, and the counts and the time");
}

void AddBackgrounds(Backgrounds& backgrounds, const KeyingOptions& options) {
    OpenBackgrounds(backgrounds, FindBackgrounds(options.over), FitNamed(options.fit),
                    ReadBaseSettings(options.start, options.action), options.parameters);
}

void AddBackground(Backgrounds& backgrounds, const KeyingOptions& options) {
    AddBackgrounds(backgrounds, options);
    if (backgrounds.size() > 1) throw Failure(kBadUsage, "several backgrounds; give one with --over");
}

ResultRules MakeRules(const KeyingOptions& options, const Backgrounds& backgrounds, bool isForSeveral) {
    if (options.out.empty() && options.matte.empty())
        throw Failure(kBadUsage, "give the result's path with -o");
    ResultRules rules;
    rules.out = MakeTarget(options.out, isForSeveral, options.format);
    rules.matte = MakeTarget(options.matte, isForSeveral, options.format);
    rules.name = !options.name.empty() ? options.name : backgrounds.size() > 1 ? kNameOfSeveral : kNameOfOne;
    RequireNamePattern(rules.name);
    rules.format = options.format.empty() ? "png" : options.format;
    rules.force = options.force;
    for (const BackgroundSource& background : backgrounds) {
        if (background.path.empty()) continue;
        rules.inputs.push_back(background.path);
        rules.inputs.push_back(ActionFileOf(background.path));
    }
    for (const std::string& text : {options.selection, options.action}) {
        if (!text.empty()) rules.inputs.push_back(PathFromUtf8(text));
    }
    if (!options.report.empty() && options.report != "-")
        rules.outputs.push_back(PathFromUtf8(options.report));
    return rules;
}

KeySettings ReadSettings(const KeyingOptions& options) {
    KeySettings settings;
    settings.depth = options.depth;
    settings.lift = options.lift;
    settings.wantsResult = !options.out.empty();
    settings.wantsMatte = !options.matte.empty();
    if (!options.selection.empty()) {
        settings.selection =
            MakeSelection(ReadInputPicture(PathFromUtf8(options.selection)), options.selection);
    }
    return settings;
}

host::HostOptions MakeHostOptions(const KeyingOptions& options, ProgressBar& bar) {
    host::HostOptions made = options.check ? host::HostOptions{} : host::LeanOptions();
    made.abortRequested = [] { return gInterrupted.load(); };
    made.progress = [&bar](std::int32_t done, std::int32_t total) { ShowProgress(bar, done, total); };
    made.displayed = [](const host::DisplayCall&) {};
    return made;
}

void WarnOfHiddenMatte(RunReport& report, const Backgrounds& backgrounds) {
    for (const BackgroundSource& source : backgrounds) {
        if (ValueOrDefault(source.parameters, "FlagShowSelect") != 0 &&
            ValueOrDefault(source.parameters, "FlagRealityInteg") != 0) {
            Warn(report, {WarningKind::kHiddenMatte,
                          "--show-matte needs --no-blend; the photograph is written unchanged"});
        }
    }
}

int Jobs(const KeyingOptions& options) {
    return options.jobs > 0 ? options.jobs : AvailableCores();
}

}  // namespace frond

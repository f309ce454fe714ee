// frond sheet: a contact sheet of variations of the settings.
#include <CLI/CLI.hpp>
#include <algorithm>

#include "frond/keying_options.h"
#include "frond/sheet_cells.h"
#include "frond/sheet_picture.h"
#include "frond/survey.h"
#include "images/picture_file.h"
#include "images/text.h"

namespace frond {

namespace {

namespace fs = std::filesystem;

struct Options {
    std::string photo, crop;
    std::vector<std::string> vary;
    KeyingOptions keying;
};

Options gOptions;

// Settings replace those of a starting point. With all of them given, every starting point would look the
// same.
void RequireVariedStartToCount(const ParameterValues& current) {
    const auto variesStart = [](const std::string& text) { return text.rfind("start=", 0) == 0; };
    if (std::none_of(gOptions.vary.begin(), gOptions.vary.end(), variesStart)) return;
    if (current != gOptions.keying.parameters)
        throw Failure(
            kBadUsage,
            "--vary start=... needs a command without --start, --action and an action of the background");
}

void RequireOutNoInput(const fs::path& out) {
    const KeyingOptions& keying = gOptions.keying;
    std::vector<std::string> inputs = keying.over;
    inputs.insert(inputs.end(), {gOptions.photo, keying.selection, keying.action});
    std::error_code ignored;
    for (const std::string& input : inputs) {
        if (!input.empty() && fs::equivalent(out, PathFromUtf8(input), ignored))
            throw Failure(kBadUsage, images::DisplayName(out) + ": is an input and would be overwritten");
    }
}

// Whether a cell shows the background.
bool NeedsBackground(const SheetCells& sheet) {
    return std::any_of(sheet.cells.begin(), sheet.cells.end(), [](const SheetCell& cell) {
        return ValueOrDefault(cell.parameters, "FlagOutputAlpha") == 0;
    });
}

// The photograph of a survey.
images::Picture PlanesOf(const ReadPhotograph& photo) {
    images::Picture picture = photo.header;
    for (const host::Channel& channel : photo.layer.colour)
        picture.colour.push_back(PlaneOf(channel, picture.depth));
    return picture;
}

// What is not selected stays unchanged.
void KeepUnselected(Survey& survey, const Selection& selection) {
    for (std::size_t i = 0; selection.width > 0 && i < survey.alpha.size(); ++i) {
        const std::size_t x = i % survey.width * survey.step, y = i / survey.width * survey.step;
        if (selection.values[y * selection.width + x] == 0) survey.alpha[i] = 255;
    }
}

Area ChooseCrop(const ReadPhotograph& photo, const ParameterValues& current, const Selection& selection) {
    const int width = photo.header.width, height = photo.header.height;
    CropRequest crop = gOptions.crop.empty() ? CropRequest{} : ParseCrop(gOptions.crop);
    if (crop.hasPlace) {
        if (crop.left < 0 || crop.top < 0 || crop.left > width - crop.width ||
            crop.top > height - crop.height) {
            throw Failure(kBadUsage, "--crop: " + gOptions.crop +
                                         " is not inside the photograph, which has " + std::to_string(width) +
                                         "x" + std::to_string(height) + " pixels");
        }
        return {crop.left, crop.top, crop.width, crop.height};
    }
    crop.width = std::min(crop.width, width);
    crop.height = std::min(crop.height, height);
    Survey survey = SurveyPhotograph(PlanesOf(photo), current);
    KeepUnselected(survey, selection);
    const std::optional<Area> softest = FindSoftestArea(survey, width, height, crop);
    if (softest) return *softest;
    if (!gOptions.keying.quiet)
        PrintError(gOptions.photo + ": has no soft edges with these settings; the crop is its middle");
    return {(width - crop.width) / 2, (height - crop.height) / 2, crop.width, crop.height};
}

std::string CropText(const Area& area) {
    return std::to_string(area.width) + "x" + std::to_string(area.height) + "+" + std::to_string(area.left) +
           "+" + std::to_string(area.top);
}

SheetContent DescribeSheet(const SheetCells& cells, const Area& crop, const ParameterValues& current) {
    SheetContent content;
    content.header = images::DisplayName(PathFromUtf8(gOptions.photo).filename()) + ", crop " +
                     CropText(crop) + "\nCurrent settings: " + DescribeSettings(current);
    content.columns = static_cast<int>(cells.columns);
    content.cropWidth = crop.width;
    content.cropHeight = crop.height;
    for (const SheetCell& cell : cells.cells)
        content.cells.push_back({cell.label + (cell.isCurrent ? " (current)" : ""), cell.isCurrent});
    return content;
}

ExitCode RunSheet() {
    InstallInterruptHandlers();
    const KeyingOptions& keying = gOptions.keying;
    const fs::path out = PathFromUtf8(keying.out);
    Backgrounds backgrounds;
    AddBackground(backgrounds, keying);
    BackgroundSource& source = backgrounds[0];
    const ParameterValues current = source.parameters;
    RequireVariedStartToCount(current);
    const SheetCells cells = MakeCells(gOptions.vary, current);
    if (!gOptions.crop.empty()) ParseCrop(gOptions.crop);
    RequireWritablePath(out);
    RequireOutNoInput(out);
    const fs::path module = FindModule(PathFromUtf8(keying.module));
    ReadSingleBackground(backgrounds);

    const KeySettings settings = ReadSettings(keying);
    SetValue(source.parameters, "FlagOutputAlpha", NeedsBackground(cells) ? 0 : 1);
    ReadPhotograph photo = ReadForKeying(settings, source, PathFromUtf8(gOptions.photo));
    for (const Warning& warning : photo.warnings) {
        if (!keying.quiet) PrintError(warning.text);
    }
    const std::shared_ptr<FittedBackground> background =
        photo.lower != nullptr ? photo.lower : FitBackground(source, photo.header);
    ReleaseBackgrounds(backgrounds);
    const Area crop = ChooseCrop(photo, current, settings.selection);
    Sheet sheet = MakeSheet(DescribeSheet(cells, crop, current), photo.header.depth);
    sheet.picture.profile = photo.header.profile;

    ProgressBar bar(keying.quiet);
    Session session;
    StartSession(session, module, MakeHostOptions(keying, bar));
    for (std::size_t i = 0; i < cells.cells.size(); ++i) {
        StartProgress(bar, std::to_string(i + 1) + " of " + std::to_string(cells.cells.size()));
        KeyedPhotograph keyed =
            Key(session, settings, cells.cells[i].parameters, {photo, false, background, false});
        PasteCrop(sheet, i, TakeResult(photo.header, *background, keyed), crop);
    }
    WriteResult(out, sheet.picture);
    return kDone;
}

constexpr char kFooter[] =
    "A NAME is the short or the scripting name of one of the filter's parameters, without dashes. The values "
    "of a slider are whole numbers, those of a flag on and off. The name start has the values hair, veil, "
    "body, product and none.\n\n"
    "Each cell is a part of the photograph, which is keyed whole. The cell of the current settings, those of "
    "--start, --action and the parameters, has a frame.\n\n"
    "Exit status as of frond key.\n\n"
    "Example:\n"
    "  frond sheet photo.jpg --over beach.jpg --vary remove-green=10,20,40 \\\n"
    "      --vary scale-transparency=50,70,90 -o sheet.jpg";

}  // namespace

Command AddSheetCommand(CLI::App& app) {
    CLI::App* sheet =
        app.add_subcommand("sheet", "Make a contact sheet of a photograph keyed with varied settings");
    KeyingOptions& o = gOptions.keying;
    sheet->add_option("PHOTO", gOptions.photo, "The photograph")->required();
    sheet->option_defaults()->group("Pictures");
    sheet->add_option("--over", o.over, "The new background")->type_name("BACKGROUND")->expected(1);
    AddPictureOptions(*sheet, o);
    sheet->option_defaults()->group("Sheet");
    sheet
        ->add_option("--vary", gOptions.vary,
                     "The values of a parameter: in columns; if given again, in rows")
        ->type_name("NAME=VALUE,...")
        ->required()
        ->allow_extra_args(false);
    sheet->add_option("-o,--out", o.out, "The sheet: .jpg, .png, .tif or .webp")
        ->required()
        ->type_name("OUT");
    sheet
        ->add_option("--crop", gOptions.crop,
                     "What a cell shows: WIDTHxHEIGHT+LEFT+TOP, or WIDTHxHEIGHT where the matte is softest; "
                     "default: 480x480")
        ->type_name("AREA");
    AddSettingsOptions(*sheet, o);
    AddModuleOptions(*sheet, o);
    sheet->add_flag("--quiet", o.quiet, "Show no progress bar and no warnings");
    AddParameterOptions(*sheet, o.parameters);
    sheet->footer(kFooter);
    return {sheet, RunSheet};
}

}  // namespace frond

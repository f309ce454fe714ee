// frond: the filter as a command-line program.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <new>

#include "frond/command.h"
#include "frond/command_table.h"
#include "images/text.h"

#ifdef _WIN32
#include <windows.h>

#include <shellapi.h>
#endif

namespace {

using namespace frond;

// The arguments in UTF-8, last one first, as the parser expects them.
std::vector<std::string> Arguments(int count, char** texts) {
    std::vector<std::string> arguments;
#ifdef _WIN32
    (void)count;
    (void)texts;
    SetConsoleOutputCP(CP_UTF8);
    int wideCount = 0;
    wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &wideCount);
    for (int i = wideCount - 1; i > 0; --i) arguments.push_back(std::filesystem::path(wide[i]).u8string());
    LocalFree(wide);
#else
    for (int i = count - 1; i > 0; --i) arguments.emplace_back(texts[i]);
#endif
    return arguments;
}

// Texts of --help and of the manual page. The first paragraph is the summary.
constexpr char kDescription[] =
    "Keys photographs taken before a green or blue backdrop\n\n"
    "frond key removes the backdrop from each photograph and sets the subject on a background, scaled and "
    "cropped "
    "to the photograph's size. It measures the backdrop's colour in the photograph. The filter module \"Twin "
    "Plate "
    "Rig\" does the work, as in a photo editor.\n\n"
    "Reads PNG, TIFF, JPEG, WebP, HEIC, GIF and PSD, and more formats with --allow-untrusted. Writes PNG, "
    "TIFF, "
    "JPEG and WebP, by the extension. Results keep the photograph's bits per channel, colour profile, "
    "resolution, "
    "EXIF and XMP. A result gets its name only when it is complete. Inputs are never changed.";
constexpr char kFooter[] =
    "Exit status:\n"
    "    0  done\n"
    "    2  the command line or an action file is wrong\n"
    "    3  a file to read is missing, damaged or unsuitable\n"
    "    4  a result could not be written\n"
    "    5  no module was found\n"
    "    6  the filter failed\n"
    "  130  interrupted\n\n"
    "Environment:\n"
    "  FROND_MODULE  the filter module, unless --module names another\n\n"
    "Examples:\n"
    "  frond key portrait.jpg --over beach.jpg -o finished.png\n"
    "  frond key photos/*.jpg --over beach.jpg --alter-green 85 -o finished\n"
    "  frond key portrait.tif --blue --transparent -o cut-out.png\n\n"
    "See also:\n"
    "frond COMMAND --help lists a command's options. The guide with pictures is in the folder "
    "share/doc/marble-frond-keeper of an installation.";

// "give a command: a, b or c"
std::string AskForCommand(const CLI::App& app) {
    const std::vector<CommandTable> commands = DescribeSubcommands(app);
    std::string line = "give a command: ";
    for (std::size_t i = 0; i < commands.size(); ++i)
        line += (i == 0 ? "" : i + 1 < commands.size() ? ", " : " or ") + commands[i].name;
    return line + "; see frond --help";
}

int Run(int count, char** texts) {
    CLI::App app(kDescription, kProgramName);
    // The commands take these over.
    app.formatter_fn(
        [](const CLI::App* shown, const std::string&, CLI::AppFormatMode) { return FormatHelp(*shown); });
    app.option_defaults()->always_capture_default();
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.set_version_flag("--version", std::string("frond ") + FROND_VERSION, "Print the version and exit");
    app.require_subcommand(0, 1);
    const Command commands[] = {AddKeyCommand(app),    AddWatchCommand(app),  AddSheetCommand(app),
                                AddStreamCommand(app), AddSampleCommand(app), AddCompareCommand(app),
                                AddInfoCommand(app),   AddAboutCommand(app),  AddManualCommand(app)};
    app.footer(kFooter);  // only now: the commands have footers of their own
    try {
        app.parse(Arguments(count, texts));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);  // --help, --version
        PrintError(images::ToSingleLine(error.what()) + "; see frond --help");
        return kBadUsage;
    }
    for (const Command& command : commands) {
        if (command.app->parsed()) return command.run();
    }
    PrintError(AskForCommand(app));
    return kBadUsage;
}

}  // namespace

int main(int count, char** texts) {
    try {
        return Run(count, texts);
    } catch (const Failure& failure) {
        PrintError(failure.what());
        return failure.code;
    } catch (const std::bad_alloc&) {
        PrintError("not enough memory");
    } catch (const std::exception& error) {
        PrintError(std::string("internal error: ") + images::ToSingleLine(error.what()));
    }
    return kRunFailed;
}

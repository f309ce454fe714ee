// frond: the filter as a command-line program.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <new>

#include "frond/command.h"
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

int Run(int count, char** texts) {
    CLI::App app("Removes the green or blue backdrop of photographs with the filter \"Twin Plate Rig...\".",
                 kProgramName);
    app.set_version_flag("--version", std::string("frond ") + FROND_VERSION);
    app.require_subcommand(0, 1);
    app.footer("See frond COMMAND --help for a command's options.");
    const Command commands[] = {AddKeyCommand(app), AddSampleCommand(app), AddCompareCommand(app),
                                AddInfoCommand(app), AddAboutCommand(app)};
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
    PrintError("give a command: key, sample, compare, info or about; see frond --help");
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

// What frond's commands share. Each command has a file, NAME_command.cpp. It returns an exit code, or throws
// a Failure, which main.cpp prints as one line on standard error.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "images/picture_file.h"

namespace CLI {  // NOLINT(readability-identifier-naming)
class App;
}

namespace frond {

// Documented in --help and docs/frond.md.
enum ExitCode {
    kDone = 0,
    kBadUsage = 2,   // the command line or an action file is wrong; nothing was done
    kBadInput = 3,   // a picture or a file to read is missing, damaged or unsuitable
    kBadOutput = 4,  // a result could not be written
    kNoModule = 5,   // no filter module was found, or the file is not one
    kRunFailed = 6,  // the module reported an error or broke a rule of the host
    kInterrupted = 130,
};

struct Failure : std::runtime_error {
    ExitCode code;
    bool endsBatch;  // interrupted, or the disk is full: skip the remaining photographs

    Failure(ExitCode exitCode, const std::string& line, bool diskFull = false)
        : std::runtime_error(line), code(exitCode), endsBatch(diskFull || exitCode == kInterrupted) {}
};

constexpr char kProgramName[] = "frond";

// Prints one line on standard error: the program's name and the escaped text.
void PrintError(const std::string& line);

// True after the first Ctrl-C or termination signal; the second one ends the program at once.
extern std::atomic<bool> gInterrupted;
void InstallInterruptHandlers();

// For commands that complete what they have begun: true after the first signal, which leaves gInterrupted
// false; the second one ends the program at once.
extern std::atomic<bool> gFinishing;
void InstallFinishHandlers();

// The text of --allow-untrusted.
constexpr char kUntrustedText[] =
    "Also read OpenEXR, JPEG 2000, BMP and others, whose decoders are less safe";

// Read, encode and write picture files; throw Failure with kBadInput, kBadOutput or kInterrupted.
images::Picture ReadInputPicture(const std::filesystem::path& path);
std::vector<std::uint8_t> EncodeResult(const std::filesystem::path& path, const images::Picture& picture,
                                       const images::WriteOptions& options = {});
void WriteResultFile(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes,
                     bool ignoreInterrupt = false);
void WriteResult(const std::filesystem::path& path, const images::Picture& picture);

// Throws kBadUsage for an unknown extension or a folder, kBadOutput when the path's folder does not exist.
void RequireWritablePath(const std::filesystem::path& path);

// The path for an argument of the command line, which is UTF-8 on every platform.
std::filesystem::path PathFromUtf8(const std::string& text);

// A subcommand and its function, which main.cpp calls when the subcommand was chosen.
struct Command {
    CLI::App* app = nullptr;
    ExitCode (*run)() = nullptr;
};

Command AddKeyCommand(CLI::App& app);
Command AddSheetCommand(CLI::App& app);
Command AddStreamCommand(CLI::App& app);
Command AddSampleCommand(CLI::App& app);
Command AddCompareCommand(CLI::App& app);
Command AddInfoCommand(CLI::App& app);
Command AddAboutCommand(CLI::App& app);
Command AddManualCommand(CLI::App& app);
Command AddWatchCommand(CLI::App& app);

}  // namespace frond

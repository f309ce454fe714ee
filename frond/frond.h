// What the commands of frond share. One command per file; each takes its parsed options and gives an exit
// code, or throws a Failure, which main.cpp turns into one line on standard error.
#pragma once

#include <atomic>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "images/picture.h"

namespace CLI {  // NOLINT(readability-identifier-naming)
class App;
}

namespace frond {

// Documented in --help and docs/frond.md.
enum ExitCode {
    kDone = 0,
    kBadUsage = 2,   // the command line or an action file is wrong; nothing was begun
    kBadInput = 3,   // a picture or a file to read is missing, damaged or unsuitable
    kBadOutput = 4,  // a result could not be written
    kNoModule = 5,   // the filter module was not found or is none
    kRunFailed = 6,  // the module reported an error, or broke the host's rules
    kInterrupted = 130,
};

struct Failure : std::runtime_error {
    ExitCode code;
    bool
        endsBatch;  // the photographs that remain are not tried: the run was interrupted, or the disk is full

    Failure(ExitCode exitCode, const std::string& line, bool diskFull = false)
        : std::runtime_error(line), code(exitCode), endsBatch(diskFull || exitCode == kInterrupted) {}
};

constexpr char kProgramName[] = "frond";

// One line on standard error, headed by the program's name and made printable.
void PrintError(const std::string& line);

// Becomes true at the first Ctrl-C (or a request to end); the second one ends the program at once.
extern std::atomic<bool> gStopAsked;
void WatchForInterrupts();

// Picture files with their failures as exit codes. Writing heeds an interrupt unless `toTheEnd`.
images::Picture Read(const std::filesystem::path& path);
void Write(const std::filesystem::path& path, const images::Picture& picture, bool toTheEnd = false);

// Throws kBadUsage when pictures of this name cannot be written: unknown ending, or no folder for it.
void RequireWritableName(const std::filesystem::path& path);

// The word for a path given on the command line, which is UTF-8 on every platform.
std::filesystem::path PathOf(const std::string& text);

// Adds a command to the command line. What it returns is kept by main.cpp; the command runs when it was
// chosen.
struct Command {
    CLI::App* app = nullptr;
    ExitCode (*run)() = nullptr;
};

Command AddKeyCommand(CLI::App& app);
Command AddSampleCommand(CLI::App& app);
Command AddCompareCommand(CLI::App& app);
Command AddInfoCommand(CLI::App& app);
Command AddAboutCommand(CLI::App& app);

}  // namespace frond

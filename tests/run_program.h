// Runs the program as a user would, and keeps what it says.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

struct ProgramRun {
    int code = -1;  // exit code; -1 when it did not end by itself
    std::string out, err;
};

// Starts the program at the path with these arguments (UTF-8, without quotation marks) in the present
// folder.
ProgramRun RunProgram(const std::filesystem::path& program, const std::vector<std::string>& arguments);

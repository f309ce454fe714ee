#include "tests/run_program.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

#ifndef _WIN32
#include <sys/wait.h>
#endif

namespace {

// As both systems' shells take it; no argument of the tests holds such a mark.
std::string Quoted(const std::filesystem::path& text) {
#ifdef _WIN32
    return '"' + text.u8string() + '"';
#else
    return '\'' + text.u8string() + '\'';
#endif
}

int Run(const std::string& line) {
#ifdef _WIN32
    return _wsystem(std::filesystem::u8path('"' + line + '"').c_str());
#else
    const int status = std::system(line.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
}

std::string Contents(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(file), {});
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

}  // namespace

ProgramRun RunProgram(const std::filesystem::path& program, const std::vector<std::string>& arguments) {
    const std::filesystem::path folder = std::filesystem::current_path();
    const std::filesystem::path out = folder / "program-out.txt", err = folder / "program-err.txt";
    std::string line = Quoted(program);
    for (const std::string& argument : arguments) line += ' ' + Quoted(std::filesystem::u8path(argument));
    ProgramRun run;
    run.code = Run(line + " >" + Quoted(out) + " 2>" + Quoted(err));
    run.out = Contents(out);
    run.err = Contents(err);
    return run;
}

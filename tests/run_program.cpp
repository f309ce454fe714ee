#include "tests/run_program.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

std::string Contents(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::string result(std::istreambuf_iterator<char>(file), {});
    result.erase(std::remove(result.begin(), result.end(), '\r'), result.end());
    return result;
}

#ifdef _WIN32

HANDLE OpenForOutput(const std::filesystem::path& path) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    return CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS, 0, nullptr);
}

int Run(const std::filesystem::path& program, const std::vector<std::string>& arguments,
        const std::filesystem::path& out, const std::filesystem::path& err) {
    std::wstring line = L"\"" + program.wstring() + L"\"";
    for (const std::string& argument : arguments) {
        line += L" \"" + std::filesystem::u8path(argument).wstring() + L"\"";
    }
    STARTUPINFOW start{};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdOutput = OpenForOutput(out);
    start.hStdError = OpenForOutput(err);
    PROCESS_INFORMATION process{};
    const BOOL started =
        CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &process);
    DWORD code = static_cast<DWORD>(-1);
    if (started) {
        WaitForSingleObject(process.hProcess, INFINITE);
        GetExitCodeProcess(process.hProcess, &code);
        CloseHandle(process.hProcess);
        CloseHandle(process.hThread);
    }
    CloseHandle(start.hStdOutput);
    CloseHandle(start.hStdError);
    return static_cast<int>(code);
}

#else

int Run(const std::filesystem::path& program, const std::vector<std::string>& arguments,
        const std::filesystem::path& out, const std::filesystem::path& err) {
    std::vector<char*> texts{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) texts.push_back(const_cast<char*>(argument.c_str()));
    texts.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (freopen(out.c_str(), "w", stdout) != nullptr && freopen(err.c_str(), "w", stderr) != nullptr)
            execv(program.c_str(), texts.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

#endif

}  // namespace

ProgramRun RunProgram(const std::filesystem::path& program, const std::vector<std::string>& arguments) {
    const std::filesystem::path out = std::filesystem::current_path() / "program-out.txt";
    const std::filesystem::path err = std::filesystem::current_path() / "program-err.txt";
    ProgramRun run;
    run.code = Run(program, arguments, out, err);
    run.out = Contents(out);
    run.err = Contents(err);
    std::filesystem::remove(out);
    std::filesystem::remove(err);
    return run;
}

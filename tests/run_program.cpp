#include "tests/run_program.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

std::string Contents(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    std::string result = text.str();
    result.erase(std::remove(result.begin(), result.end(), '\r'), result.end());
    return result;
}

#ifdef _WIN32

HANDLE OpenForOutput(const std::filesystem::path& path) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    return CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS, 0, nullptr);
}

int Run(const std::filesystem::path& program, const std::vector<std::string>& arguments, const ProgramLimits&,
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

[[noreturn]] void BecomeProgram(const std::filesystem::path& program,
                                const std::vector<std::string>& arguments, const ProgramLimits& limits,
                                const std::filesystem::path& out, const std::filesystem::path& err) {
    const auto redirect = [](const std::filesystem::path& path, int to) {
        dup2(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), to);
    };
    redirect(out, 1);
    redirect(err, 2);
    if (limits.fileBytes > 0) {
        const rlimit limit{static_cast<rlim_t>(limits.fileBytes), static_cast<rlim_t>(limits.fileBytes)};
        setrlimit(RLIMIT_FSIZE, &limit);
        signal(SIGXFSZ, SIG_IGN);  // a write beyond it fails, as on a full disk
    }
    std::vector<char*> texts{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) texts.push_back(const_cast<char*>(argument.c_str()));
    texts.push_back(nullptr);
    execv(program.c_str(), texts.data());
    _exit(127);
}

int Run(const std::filesystem::path& program, const std::vector<std::string>& arguments,
        const ProgramLimits& limits, const std::filesystem::path& out, const std::filesystem::path& err) {
    const pid_t child = fork();
    if (child == 0) BecomeProgram(program, arguments, limits, out, err);
    int status = 0;
    if (limits.interruptWhenItSpeaks) {
        std::error_code ignored;
        while (waitpid(child, &status, WNOHANG) == 0) {
            const std::uintmax_t size = std::filesystem::file_size(err, ignored);
            if (!ignored && size > 0) break;
            usleep(1000);
        }
        kill(child, SIGINT);
    }
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

#endif

}  // namespace

ProgramRun RunProgram(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                      const ProgramLimits& limits) {
    const std::filesystem::path out = std::filesystem::current_path() / "program-out.txt";
    const std::filesystem::path err = std::filesystem::current_path() / "program-err.txt";
    ProgramRun run;
    run.code = Run(program, arguments, limits, out, err);
    run.out = Contents(out);
    run.err = Contents(err);
    std::filesystem::remove(out);
    std::filesystem::remove(err);
    return run;
}

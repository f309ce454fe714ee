#include <cstdlib>

#include "frond/command.h"
#include "frond/session.h"
#include "images/text.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/auxv.h>
#endif

namespace frond {

namespace {

namespace fs = std::filesystem;

#ifdef _WIN32
constexpr char kModuleFile[] = "MarbleFrondKeeper.8bf";

fs::path ProgramPath() {
    wchar_t path[32768] = L"";
    GetModuleFileNameW(nullptr, path, 32768);
    return path;
}

fs::path FromEnvironment() {
    const wchar_t* value = _wgetenv(L"FROND_MODULE");
    return value != nullptr ? fs::path(value) : fs::path();
}
#else
constexpr char kModuleFile[] = "MarbleFrondKeeper.so";

fs::path ProgramPath() {
    std::error_code failure;
    fs::path path = fs::read_symlink("/proc/self/exe", failure);
    if (!failure) return path;
    // Without /proc, as in a chroot: the name by which the program was started.
    return fs::canonical(reinterpret_cast<const char*>(getauxval(AT_EXECFN)), failure);
}

fs::path FromEnvironment() {
    const char* value = std::getenv("FROND_MODULE");
    return value != nullptr ? fs::path(value) : fs::path();
}
#endif

fs::path RequireModule(const fs::path& path, const char* origin) {
    std::error_code ignored;
    if (fs::is_regular_file(path, ignored)) return path;
    throw Failure(kNoModule, images::DisplayName(path) + ": no such module (" + origin + ")");
}

}  // namespace

fs::path ProgramFolder() {
    return ProgramPath().parent_path();
}

fs::path FindModule(const fs::path& given) {
    if (!given.empty()) return RequireModule(given, "--module");
    const fs::path fromEnvironment = FromEnvironment();
    if (!fromEnvironment.empty()) return RequireModule(fromEnvironment, "FROND_MODULE");
    const fs::path folder = ProgramFolder();
    for (const fs::path& place : {folder, folder / FROND_MODULE_FROM_PROGRAM}) {
        std::error_code ignored;
        if (fs::is_regular_file(place / kModuleFile, ignored)) return place / kModuleFile;
    }
    throw Failure(kNoModule,
                  std::string(kModuleFile) +
                      ": not found beside the program; give its path with --module or FROND_MODULE");
}

}  // namespace frond

#include "host/module.h"

#include <cstring>

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>

#include <filesystem>
#endif

namespace host {

namespace {

constexpr char kEntryPoint[] = "PluginMain";

template <typename Symbol>
PluginMainProc AsPluginMain(Symbol symbol) {
    PluginMainProc proc = nullptr;
    static_assert(sizeof proc == sizeof symbol);
    std::memcpy(&proc, &symbol, sizeof proc);
    return proc;
}

#ifdef _WIN32

std::wstring Wide(const std::string& text) {
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
    if (length <= 0) return {};
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, wide.data(), length);
    wide.pop_back();
    return wide;
}

std::wstring FullPath(const std::wstring& path) {
    const DWORD length = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    std::wstring full(length, L'\0');
    full.resize(GetFullPathNameW(path.c_str(), length, full.data(), nullptr));
    return full;
}

std::string LastErrorText() {
    const DWORD code = GetLastError();
    if (code == ERROR_BAD_EXE_FORMAT) return "not a module for a process of this architecture";
    if (code == ERROR_MOD_NOT_FOUND) return "a required library is missing";
    return "error " + std::to_string(code);
}

bool FileExists(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

// Opens the library, or stores the reason. A full path avoids a search by the system.
void* OpenLibrary(const std::string& path, std::string* reason) {
    const std::wstring full = FullPath(Wide(path));
    if (!FileExists(full)) {
        *reason = "no such file";
        return nullptr;
    }
    HMODULE library = LoadLibraryExW(full.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (library == nullptr) *reason = LastErrorText();
    return library;
}

PluginMainProc FindEntry(void* library) {
    return AsPluginMain(GetProcAddress(static_cast<HMODULE>(library), kEntryPoint));
}

void CloseLibrary(void* library) {
    FreeLibrary(static_cast<HMODULE>(library));
}

#else

void* OpenLibrary(const std::string& path, std::string* reason) {
    std::error_code ignored;
    const std::filesystem::path full = std::filesystem::absolute(path, ignored);
    if (!std::filesystem::is_regular_file(full, ignored)) {
        *reason = "no such file";
        return nullptr;
    }
    void* library = dlopen(full.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        *reason = dlerror();
        const std::string prefix = full.string() + ": ";  // the caller adds the path
        if (reason->compare(0, prefix.size(), prefix) == 0) reason->erase(0, prefix.size());
    }
    return library;
}

PluginMainProc FindEntry(void* library) {
    return AsPluginMain(dlsym(library, kEntryPoint));
}

void CloseLibrary(void* library) {
    dlclose(library);
}

#endif

}  // namespace

void ModuleCloser::operator()(Module* module) const {
    CloseLibrary(module->library);
    delete module;
}

ModulePtr OpenModule(const std::string& path, std::string* error) {
    std::string reason;
    void* library = OpenLibrary(path, &reason);
    if (library == nullptr) {
        *error = "cannot load the module " + path + ": " + reason;
        return nullptr;
    }
    ModulePtr module(new Module{library, FindEntry(library)});
    if (module->pluginMain == nullptr) {
        *error = "cannot use the module " + path + ": no entry point " + kEntryPoint;
        return nullptr;
    }
    return module;
}

}  // namespace host

// The built module in a process: found by its names, and gone when it is unloaded.
#include <gtest/gtest.h>

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace {

#ifdef _WIN32

void* Load() {
    return LoadLibraryA(".\\MarbleFrondKeeper.8bf");
}
bool Exports(void* module, const char* name) {
    return GetProcAddress(static_cast<HMODULE>(module), name) != nullptr;
}
void Unload(void* module) {
    FreeLibrary(static_cast<HMODULE>(module));
}
bool IsLoaded() {
    return GetModuleHandleA("MarbleFrondKeeper.8bf") != nullptr;
}

#else

constexpr char kModule[] = "./MarbleFrondKeeper.so";

void* Load() {
    return dlopen(kModule, RTLD_NOW | RTLD_LOCAL);
}
bool Exports(void* module, const char* name) {
    return dlsym(module, name) != nullptr;
}
void Unload(void* module) {
    dlclose(module);
}
bool IsLoaded() {
    void* const module = dlopen(kModule, RTLD_NOW | RTLD_NOLOAD);
    if (module) dlclose(module);
    return module != nullptr;
}

#endif

// A host loads its modules to look at them and unloads them again; one that stays would keep its file open
// and its unload step from running.
TEST(ModuleLoad, LeavesTheProcessWhenUnloaded) {
    for (int round = 0; round < 3; ++round) {
        void* const module = Load();
        ASSERT_NE(module, nullptr);
        EXPECT_TRUE(Exports(module, "PluginMain"));
        EXPECT_TRUE(IsLoaded());
        Unload(module);
        EXPECT_FALSE(IsLoaded());
    }
}

}  // namespace

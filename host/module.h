// Loading and unloading of the module.
#pragma once

#include <memory>
#include <string>

#include "hostapi/hostapi.h"

namespace host {

struct Module {
    void* library = nullptr;
    PluginMainProc pluginMain = nullptr;
};

struct ModuleCloser {
    void operator()(Module* module) const;
};

// Unloads when it goes. The host must outlive it: the module hands its suites back as it is unloaded.
using ModulePtr = std::unique_ptr<Module, ModuleCloser>;

// Loads the library at the path (UTF-8; relative to the working directory, never searched for) and finds its
// entry point. Gives null and says in error, in one line, what went wrong: no such file, no library for this
// kind of process, or no entry point in it.
ModulePtr OpenModule(const std::string& path, std::string* error);

}  // namespace host

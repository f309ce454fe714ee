// Loads and unloads the module.
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

// Unloads the module in its destructor. The host must outlive it: the module releases its suites then.
using ModulePtr = std::unique_ptr<Module, ModuleCloser>;

// Loads the library at the path (UTF-8, relative to the working directory, without a search) and finds its
// entry point. On failure returns null and stores one line in *error.
ModulePtr OpenModule(const std::string& path, std::string* error);

}  // namespace host

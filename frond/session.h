// Loads the module into the stand-in host and runs it on documents.
#pragma once

#include <filesystem>

#include "frond/parameters.h"
#include "host/host.h"
#include "host/module.h"

namespace frond {

struct Session {
    host::HostPtr host;
    host::ModulePtr module;

    Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();  // unloads the module before its host, which its last calls need
};

// Returns the first of: `given` (--module), the environment variable FROND_MODULE, the module in the
// program's folder, the module in an installation's module folder. Throws Failure kNoModule when the chosen
// file is missing.
std::filesystem::path FindModule(const std::filesystem::path& given);

// The folder of the running program.
std::filesystem::path ProgramFolder();

// Creates the host and loads the module. Throws Failure kNoModule.
void StartSession(Session& session, const std::filesystem::path& module, host::HostOptions options);

// Runs the module on a document of two layers: the background, and above it the photograph, which has
// transparency and is the target. Returns all parameters as recorded by the module. With the dialog, the user
// chooses the parameters; only on Windows. Throws Failure kRunFailed when the module reports an error or
// breaks a rule of the host, kInterrupted when the run was aborted or cancelled in the dialog; the
// photograph's layer is then undefined.
ParameterValues RunModule(Session& session, host::Document& document, const ParameterValues& parameters,
                          bool withDialog);

}  // namespace frond

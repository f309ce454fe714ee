// Loads the module into the stand-in host and runs it on documents.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "frond/parameters.h"
#include "host/host.h"
#include "host/module.h"
#include "images/picture.h"

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

// Creates the host and loads the module. Throws Failure kNoModule.
void StartSession(Session& session, const std::filesystem::path& module, host::HostOptions options);

// The document of a run: the photograph on the upper layer, the background below. Both are RGB pictures of
// the same size and depth. The photograph may have alpha, the background must not. `selection` is empty or
// has a value (0..255) per pixel: where it is 0, the photograph stays unchanged.
struct RunInput {
    const images::Picture* photo;
    const images::Picture* background;
    const images::Plane* selection;
    ParameterValues parameters;
    bool withDialog;  // the user chooses the parameters; only on Windows
};

struct RunOutput {
    images::Picture layer;       // the photograph's layer after the run, with alpha
    ParameterValues parameters;  // all, as recorded by the module
};

// Throws Failure kRunFailed when the module reports an error or breaks a rule of the host, kInterrupted when
// the run was aborted or cancelled in the dialog.
RunOutput RunModule(Session& session, const RunInput& job);

}  // namespace frond

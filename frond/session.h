// The module at work: loaded into the stand-in host, run on one document after the other.
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
    ~Session();  // the module goes before its host, which listens to its farewell
};

// Where the module is looked for, in this order: `given` (--module), the environment variable FROND_MODULE,
// the program's own folder, the module's folder of an installation. The first two are taken at their word.
// Throws Failure kNoModule.
std::filesystem::path FindModule(const std::filesystem::path& given);

// Loads the module into the host that was made. Throws Failure kNoModule.
void StartSession(Session& session, const std::filesystem::path& module, host::HostOptions options);

// One run's document: the photograph on the upper layer, the background under it. Both are colour pictures of
// one size and depth; the photograph may have alpha, the background must not. `selection` is empty or holds a
// byte's value (0..255) per pixel: where it is 0, the photograph stays as it is.
struct KeyJob {
    const images::Picture* photo;
    const images::Picture* background;
    const images::Plane* selection;
    ParameterValues parameters;
    bool withDialog;  // the user decides on the parameters; Windows alone
};

struct KeyResult {
    images::Picture layer;       // the target layer after the run: colour and alpha
    ParameterValues parameters;  // as the module recorded them, all of them
};

// Throws Failure kRunFailed when the module reports an error or broke the host's rules, kInterrupted when the
// run was aborted, or cancelled in the dialog.
KeyResult RunModule(Session& session, const KeyJob& job);

}  // namespace frond

// The starting points of --start: settings for kinds of photographs, kept as action files in the package.
#pragma once

#include <string>
#include <vector>

#include "frond/parameters.h"

namespace CLI {  // NOLINT(readability-identifier-naming)
class App;
}

namespace frond {

// The names, as {"hair", "veil", ...}.
const std::vector<std::string>& StartNames();

// The settings of a starting point: all sliders and blended edges, no other flag. They are read from
// NAME.json in the folder start of the program's folder or of an installation. Throws Failure: kBadUsage for
// an unknown name, kBadInput when the file is missing.
ParameterValues ReadStart(const std::string& name);

// Adds --start, which takes one of the names.
void AddStartOption(CLI::App& app, std::string& start);

// The settings of a starting point, replaced by those of an action file. Either may be empty: not given.
// Throws Failure.
ParameterValues ReadBaseSettings(const std::string& start, const std::string& action);

}  // namespace frond

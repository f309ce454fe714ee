#include "frond/starting_points.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "frond/command.h"
#include "frond/session.h"

namespace frond {

const std::vector<std::string>& StartNames() {
    static const std::vector<std::string> kNames{"hair", "veil", "body", "product"};
    return kNames;
}

ParameterValues ReadStart(const std::string& name) {
    const std::vector<std::string>& names = StartNames();
    if (std::find(names.begin(), names.end(), name) == names.end()) {
        std::string known;
        for (const std::string& entry : names) known += (known.empty() ? "" : ", ") + entry;
        throw Failure(kBadUsage, "no starting point \"" + name + "\"; there are " + known);
    }
    const std::filesystem::path folder = ProgramFolder(), file = name + ".json";
    std::error_code ignored;
    const std::filesystem::path beside = folder / "start" / file;
    return ReadAction(std::filesystem::is_regular_file(beside, ignored)
                          ? beside
                          : (folder / FROND_START_FROM_PROGRAM / file).lexically_normal());
}

void AddStartOption(CLI::App& app, std::string& start) {
    app.add_option("--start", start,
                   "Begin with the settings for this kind of photograph; an action overrides them")
        ->check(CLI::IsMember(StartNames()));
}

ParameterValues ReadBaseSettings(const std::string& start, const std::string& action) {
    ParameterValues values;
    if (!start.empty()) values = ReadStart(start);
    if (!action.empty()) MergeParameters(values, ReadAction(PathFromUtf8(action)));
    return values;
}

}  // namespace frond

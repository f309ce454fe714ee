// The filter's parameters: options of the command line, action files, and the host's descriptors.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/descriptor.h"
#include "shell/parameter_table.h"

namespace CLI {  // NOLINT(readability-identifier-naming)
class App;
}

namespace frond {

using filter::kParameterCount;
using filter::kParameters;
using filter::ParameterInfo;

// In the order of kParameters. Empty: not given; the filter uses its default.
using ParameterValues = std::array<std::optional<std::int32_t>, kParameterCount>;

// Adds an option for each parameter, with its scripting name and a short name. Parsing the command line
// stores the values in `values`, which must outlive it.
void AddParameterOptions(CLI::App& app, ParameterValues& values);

// The parameter's short name without dashes, as "remove-green" and "blend". `parameter` is its place in
// kParameters.
std::string ShortName(std::size_t parameter);

// The place of the parameter with this short or scripting name, given without dashes. Empty: there is none.
std::optional<std::size_t> FindParameter(const std::string& name);

// Replaces values by those given in `over`.
void MergeParameters(ParameterValues& values, const ParameterValues& over);

host::Descriptor ToDescriptor(const ParameterValues& values);
ParameterValues FromDescriptor(const host::Descriptor& descriptor);

// The value that a run uses, by the parameter's scripting name.
std::int32_t ValueOrDefault(const ParameterValues& values, const char* name);
void SetValue(ParameterValues& values, const char* name, std::int32_t value);

// All values as a run uses them.
ParameterValues Completed(ParameterValues values);

// "remove-green 40, ..., blend on": all sliders and blended edges, and the other flags that are on.
std::string DescribeSettings(const ParameterValues& values);

// An action file is a JSON object { "action": "Twin Plate Rig", "parameters": { NAME: VALUE ... } } with
// scripting names. Sliders are 32-bit integers, flags true or false. A missing parameter has its default; any
// other key, name or type of value throws Failure kBadUsage. Writing stores all parameters.
ParameterValues ReadAction(const std::filesystem::path& path);
ParameterValues ParseAction(const std::vector<std::uint8_t>& bytes, const std::string& file);
void WriteAction(const std::filesystem::path& path, const ParameterValues& values);
std::string FormatAction(const ParameterValues& values);

}  // namespace frond

// The filter's parameters on the command line and in action files, on their way to the descriptor that
// the host hands to the module.
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

// In the order of kParameters; what was not given stays empty, and the filter takes its default.
using ParameterValues = std::array<std::optional<std::int32_t>, kParameterCount>;

// Adds an option for each parameter, under its scripting name and a short one. The values appear in `values`
// when the command line is parsed; it must outlive the parsing.
void AddParameterOptions(CLI::App& app, ParameterValues& values);

// What stands in `over` replaces what stands in `values`.
void Overlay(ParameterValues& values, const ParameterValues& over);

host::Descriptor DescriptorOf(const ParameterValues& values);
ParameterValues ValuesOf(const host::Descriptor& descriptor);

// The value that a run will use.
std::int32_t ValueOrDefault(const ParameterValues& values, const char* name);
void Set(ParameterValues& values, const char* name, std::int32_t value);

// An action file: a JSON object { "action": "Twin Plate Rig", "parameters": { NAME: VALUE ... } }. Names are
// the scripting names; sliders are whole numbers of 32 bits, flags true or false. A parameter that is left
// out keeps its default; any other key, name or kind of value is a Failure. Writing puts all there.
ParameterValues ReadAction(const std::filesystem::path& path);
ParameterValues ParseAction(const std::vector<std::uint8_t>& bytes, const std::string& file);
void WriteAction(const std::filesystem::path& path, const ParameterValues& values);
std::string ActionText(const ParameterValues& values);

}  // namespace frond

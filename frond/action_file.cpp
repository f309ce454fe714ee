#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>

#include "frond/command.h"
#include "frond/parameters.h"
#include "images/atomic_file.h"
#include "images/text.h"

namespace frond {

namespace {

using Json = nlohmann::ordered_json;

constexpr char kActionName[] = "Twin Plate Rig";

std::int32_t ParseValue(const ParameterInfo& info, const Json& value, const std::string& file) {
    if (info.isFlag) {
        if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
        throw Failure(kBadUsage, file + ": \"" + info.name + "\" must be true or false");
    }
    constexpr auto kLeast = std::numeric_limits<std::int32_t>::min(),
                   kMost = std::numeric_limits<std::int32_t>::max();
    const bool fits = value.is_number_unsigned()
                          ? value.get<std::uint64_t>() <= std::uint64_t{kMost}
                          : value.is_number_integer() && value.get<std::int64_t>() >= kLeast;
    if (!fits) throw Failure(kBadUsage, file + ": \"" + info.name + "\" must be a 32-bit integer");
    return static_cast<std::int32_t>(value.get<std::int64_t>());
}

Json ParseJson(const std::vector<std::uint8_t>& bytes, const std::string& file) {
    try {
        return Json::parse(bytes.begin(), bytes.end());
    } catch (const Json::exception& error) {  // a syntax error, or a number out of the range of double
        // The library's message starts with an error number in brackets.
        const std::string text = images::ToSingleLine(error.what());
        const std::size_t end = text.find("] ");
        throw Failure(kBadUsage,
                      file + ": is not an action: " + text.substr(end == std::string::npos ? 0 : end + 2));
    }
}

}  // namespace

ParameterValues ParseAction(const std::vector<std::uint8_t>& bytes, const std::string& file) {
    const Json action = ParseJson(bytes, file);
    if (!action.is_object() || !action.contains("parameters") || !action["parameters"].is_object()) {
        throw Failure(kBadUsage, file + ": is not an action: it has no object \"parameters\"");
    }
    for (const auto& [key, value] : action.items()) {
        if (key == "parameters") continue;
        if (key != "action")
            throw Failure(kBadUsage, file + ": unknown key \"" + images::ToSingleLine(key) + "\"");
        if (value != kActionName) {
            throw Failure(kBadUsage, file + ": is an action of another filter than \"" + kActionName + "\"");
        }
    }
    ParameterValues values;
    for (const auto& [key, value] : action["parameters"].items()) {
        const auto* info =
            std::find_if(std::begin(kParameters), std::end(kParameters),
                         [&name = key](const ParameterInfo& entry) { return entry.name == name; });
        if (info == std::end(kParameters)) {
            throw Failure(kBadUsage, file + ": unknown parameter \"" + images::ToSingleLine(key) + "\"");
        }
        values[static_cast<std::size_t>(info - kParameters)] = ParseValue(*info, value, file);
    }
    return values;
}

ParameterValues ReadAction(const std::filesystem::path& path) {
    try {
        return ParseAction(images::ReadFileBytes(path), images::InputName(path));
    } catch (const images::PictureError& error) {
        throw Failure(kBadInput, error.what());
    }
}

std::string FormatAction(const ParameterValues& values) {
    Json parameters = Json::object();
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::int32_t value = values[i].value_or(kParameters[i].defaultValue);
        if (kParameters[i].isFlag) {
            parameters[kParameters[i].name] = value != 0;
        } else {
            parameters[kParameters[i].name] = value;
        }
    }
    return Json({{"action", kActionName}, {"parameters", parameters}}).dump(2) + "\n";
}

void WriteAction(const std::filesystem::path& path, const ParameterValues& values) {
    const std::string text = FormatAction(values);
    try {
        images::WriteFileAtomically(path, text.data(), text.size(), &gInterrupted);
    } catch (const images::PictureError& error) {
        throw Failure(gInterrupted ? kInterrupted : kBadOutput, error.what());
    }
}

}  // namespace frond

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>

#include "frond/frond.h"
#include "frond/parameters.h"
#include "images/atomic_file.h"
#include "images/picture_check.h"

namespace frond {

namespace {

using Json = nlohmann::ordered_json;

constexpr char kActionName[] = "Twin Plate Rig";

std::int32_t ValueOf(const ParameterInfo& info, const Json& value, const std::string& file) {
    if (info.isFlag) {
        if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
        throw Failure(kBadUsage, file + ": \"" + info.name + "\" must be true or false");
    }
    constexpr auto kLeast = std::numeric_limits<std::int32_t>::min(),
                   kMost = std::numeric_limits<std::int32_t>::max();
    const bool fits = value.is_number_unsigned()
                          ? value.get<std::uint64_t>() <= std::uint64_t{kMost}
                          : value.is_number_integer() && value.get<std::int64_t>() >= kLeast;
    if (!fits) throw Failure(kBadUsage, file + ": \"" + info.name + "\" must be a whole number of 32 bits");
    return static_cast<std::int32_t>(value.get<std::int64_t>());
}

Json Parsed(const std::vector<std::uint8_t>& bytes, const std::string& file) {
    try {
        return Json::parse(bytes.begin(), bytes.end());
    } catch (const Json::exception& error) {  // of its syntax, or a number beyond all doubles
        // The library's text begins with an error number of its own, in brackets.
        const std::string text = images::OneLine(error.what());
        const std::size_t end = text.find("] ");
        throw Failure(kBadUsage,
                      file + ": is no action: " + text.substr(end == std::string::npos ? 0 : end + 2));
    }
}

}  // namespace

ParameterValues ParseAction(const std::vector<std::uint8_t>& bytes, const std::string& file) {
    const Json action = Parsed(bytes, file);
    if (!action.is_object() || !action.contains("parameters") || !action["parameters"].is_object()) {
        throw Failure(kBadUsage, file + ": is no action: it has no object \"parameters\"");
    }
    for (const auto& [key, value] : action.items()) {
        if (key == "parameters") continue;
        if (key != "action")
            throw Failure(kBadUsage, file + ": unknown key \"" + images::OneLine(key) + "\"");
        if (value != kActionName) {
            throw Failure(kBadUsage,
                          file + ": is an action of another filter, not of \"" + kActionName + "\"");
        }
    }
    ParameterValues values;
    for (const auto& [key, value] : action["parameters"].items()) {
        const auto* info =
            std::find_if(std::begin(kParameters), std::end(kParameters),
                         [&name = key](const ParameterInfo& entry) { return entry.name == name; });
        if (info == std::end(kParameters)) {
            throw Failure(kBadUsage, file + ": unknown parameter \"" + images::OneLine(key) + "\"");
        }
        values[static_cast<std::size_t>(info - kParameters)] = ValueOf(*info, value, file);
    }
    return values;
}

ParameterValues ReadAction(const std::filesystem::path& path) {
    try {
        return ParseAction(images::ReadWholeFile(path), images::DisplayName(path));
    } catch (const images::PictureError& error) {
        throw Failure(kBadInput, error.what());
    }
}

std::string ActionText(const ParameterValues& values) {
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
    const std::string text = ActionText(values);
    try {
        images::WriteWholeFile(path, text.data(), text.size(), &gStopAsked);
    } catch (const images::PictureError& error) {
        throw Failure(gStopAsked ? kInterrupted : kBadOutput, error.what());
    }
}

}  // namespace frond

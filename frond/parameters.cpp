#include "frond/parameters.h"

#include <CLI/CLI.hpp>
#include <cstring>

#include "shell/parameter_texts.h"

namespace frond {

namespace {

constexpr char kGroup[] = "The filter's parameters (sliders go from 0 to 200 in its dialog)";

void AddFlag(CLI::App& app, const ParameterInfo& info, const filter::ParameterText& text,
             std::optional<std::int32_t>& value) {
    const std::string option = text.option, name = info.name;
    const std::string off = info.defaultValue != 0 ? ",!--no-" + option : "";
    app.add_flag_function(
           "--" + option + off + ",--" + name + ",!--no-" + name,
           [&value](std::int64_t count) { value = count > 0; }, text.text)
        ->group(kGroup);
}

}  // namespace

void AddParameterOptions(CLI::App& app, ParameterValues& values) {
    for (int i = 0; i < kParameterCount; ++i) {
        const ParameterInfo& info = kParameters[i];
        std::optional<std::int32_t>& value = values[static_cast<std::size_t>(i)];
        if (info.isFlag) {
            AddFlag(app, info, filter::kParameterTexts[i], value);
            continue;
        }
        const filter::ParameterText& text = filter::kParameterTexts[i];
        app.add_option_function<std::int32_t>(
               std::string("--") + text.option + ",--" + info.name,
               [&value](const std::int32_t& given) { value = given; },
               std::string(text.text) + "; default " + std::to_string(info.defaultValue))
            ->type_name("N")
            ->group(kGroup);
    }
}

std::string ShortName(std::size_t parameter) {
    return filter::kParameterTexts[parameter].option;
}

std::optional<std::size_t> FindParameter(const std::string& name) {
    for (std::size_t i = 0; i < kParameterCount; ++i) {
        if (name == kParameters[i].name || name == ShortName(i)) return i;
    }
    return std::nullopt;
}

void MergeParameters(ParameterValues& values, const ParameterValues& over) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (over[i]) values[i] = over[i];
    }
}

host::Descriptor ToDescriptor(const ParameterValues& values) {
    host::Descriptor descriptor;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!values[i]) continue;
        descriptor.push_back({kParameters[i].key,
                              kParameters[i].isFlag ? host::kTypeBoolean : host::kTypeInteger, *values[i]});
    }
    return descriptor;
}

ParameterValues FromDescriptor(const host::Descriptor& descriptor) {
    ParameterValues values;
    for (const host::DescriptorItem& item : descriptor) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (kParameters[i].key == item.key) values[i] = item.value;
        }
    }
    return values;
}

namespace {

std::size_t IndexOf(const char* name) {
    std::size_t i = 0;
    while (std::strcmp(kParameters[i].name, name) != 0) ++i;
    return i;
}

}  // namespace

std::int32_t ValueOrDefault(const ParameterValues& values, const char* name) {
    const std::size_t i = IndexOf(name);
    return values[i].value_or(kParameters[i].defaultValue);
}

void SetValue(ParameterValues& values, const char* name, std::int32_t value) {
    values[IndexOf(name)] = value;
}

ParameterValues Completed(ParameterValues values) {
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = values[i].value_or(kParameters[i].defaultValue);
    return values;
}

std::string DescribeSettings(const ParameterValues& values) {
    const ParameterValues completed = Completed(values);
    std::string text;
    for (std::size_t i = 0; i < completed.size(); ++i) {
        const std::int32_t value = *completed[i];
        if (kParameters[i].isFlag && value == 0 && kParameters[i].defaultValue == 0) continue;
        text += (text.empty() ? "" : ", ") + ShortName(i) + ' ';
        text += !kParameters[i].isFlag ? std::to_string(value) : value != 0 ? "on" : "off";
    }
    return text;
}

}  // namespace frond

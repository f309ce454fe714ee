#include "frond/parameters.h"

#include <CLI/CLI.hpp>
#include <cstring>

namespace frond {

namespace {

// An option's short names, negative ones with '!', and its text in --help.
struct OptionText {
    const char* names;
    const char* help;
};

// In the order of kParameters.
constexpr OptionText kOptionTexts[] = {
    {"--remove-green", "How far a colour may be from the backdrop's and still be removed"},
    {"--restore-black", "How strongly dark areas are kept"},
    {"--alter-green", "How much of the backdrop's colour may remain in half-transparent areas"},
    {"--select-transparency", "How solid half-transparent areas become; higher is more solid"},
    {"--scale-transparency", "Contrast of half-transparent areas; 50 leaves them as measured"},
    {"--background-level", "Level of the backdrop, in percent of the measured one"},
    {"--blend,!--no-blend", "Blend edges; on unless switched off"},
    {"--show-matte", "Show the selected areas in false colours; needs --no-blend"},
    {"--transparent", "Write the subject alone, with transparency; needs no background"},
    {"--blue", "The backdrop is blue"},
    {"--original", "Leave the photograph unkeyed"},
};
constexpr char kGroup[] = "The filter's parameters (sliders go from 0 to 200 in its dialog)";
static_assert(sizeof(kOptionTexts) / sizeof(kOptionTexts[0]) == kParameterCount,
              "every parameter has a text");

void AddFlag(CLI::App& app, const std::string& name, const OptionText& text,
             std::optional<std::int32_t>& value) {
    const std::string names = std::string(text.names) + ",--" + name + ",!--no-" + name;
    app.add_flag_function(
           names, [&value](std::int64_t count) { value = count > 0; }, text.help)
        ->group(kGroup);
}

}  // namespace

void AddParameterOptions(CLI::App& app, ParameterValues& values) {
    for (int i = 0; i < kParameterCount; ++i) {
        const ParameterInfo& info = kParameters[i];
        std::optional<std::int32_t>& value = values[static_cast<std::size_t>(i)];
        if (info.isFlag) {
            AddFlag(app, info.name, kOptionTexts[i], value);
            continue;
        }
        app.add_option_function<std::int32_t>(
               std::string(kOptionTexts[i].names) + ",--" + info.name,
               [&value](const std::int32_t& given) { value = given; },
               std::string(kOptionTexts[i].help) + "; default " + std::to_string(info.defaultValue))
            ->type_name("N")
            ->group(kGroup);
    }
}

std::string ShortName(std::size_t parameter) {
    const std::string names = kOptionTexts[parameter].names + 2;  // behind the dashes
    return names.substr(0, names.find(','));
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

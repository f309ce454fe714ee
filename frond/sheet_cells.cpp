#include "frond/sheet_cells.h"

#include <algorithm>
#include <charconv>

#include "frond/command.h"
#include "frond/starting_points.h"

namespace frond {

namespace {

constexpr char kStart[] = "start", kNoStart[] = "none";

[[noreturn]] void Refuse(const std::string& text, const std::string& reason) {
    throw Failure(kBadUsage, "--vary " + text + ": " + reason);
}

std::vector<std::string> SplitAtCommas(const std::string& text) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == ',') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

std::int32_t ParseValue(const ParameterInfo& info, const std::string& text, const std::string& whole) {
    if (info.isFlag) {
        if (text == "on" || text == "off") return text == "on" ? 1 : 0;
        Refuse(whole, "\"" + text + "\" is neither on nor off");
    }
    std::int32_t value = 0;
    const char* end = text.data() + text.size();
    const auto [used, failure] = std::from_chars(text.data(), end, value);
    if (failure != std::errc() || used != end) Refuse(whole, "\"" + text + "\" is not a whole number");
    return value;
}

std::string ParameterNames() {
    std::string names;
    for (std::size_t i = 0; i < kParameterCount; ++i) names += ShortName(i) + ", ";
    return names + kStart;
}

VariedValue MakeValue(const std::string& name, const std::string& text, const std::string& whole) {
    VariedValue value;
    if (name == kStart) {
        value.label = name + " " + text;
        if (text != kNoStart) value.start = ReadStart(text);
        return value;
    }
    const std::optional<std::size_t> parameter = FindParameter(name);
    if (!parameter)
        Refuse(whole, "no parameter has the name \"" + name + "\"; use one of " + ParameterNames());
    value.label = ShortName(*parameter) + " " + text;
    value.changed[*parameter] = ParseValue(kParameters[*parameter], text, whole);
    return value;
}

bool HaveSameEffect(const VariedValue& a, const VariedValue& b) {
    return a.start == b.start && a.changed == b.changed;
}

// What a variation changes: a parameter's place in kParameters, or that of the starting point behind them.
std::size_t SubjectOf(const Variation& variation) {
    const ParameterValues& changed = variation[0].changed;
    const auto is = [](const auto& value) { return value.has_value(); };
    return static_cast<std::size_t>(std::find_if(changed.begin(), changed.end(), is) - changed.begin());
}

}  // namespace

Variation ParseVariation(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals + 1 == text.size())
        Refuse(text, "give values, as in --vary remove-green=10,20,40");
    Variation variation;
    for (const std::string& part : SplitAtCommas(text.substr(equals + 1))) {
        VariedValue value = MakeValue(text.substr(0, equals), part, text);
        for (const VariedValue& other : variation) {
            if (HaveSameEffect(other, value)) Refuse(text, "\"" + part + "\" is there twice");
        }
        variation.push_back(std::move(value));
    }
    return variation;
}

SheetCells MakeCells(const std::vector<std::string>& texts, const ParameterValues& current) {
    if (texts.empty() || texts.size() > 2)
        throw Failure(kBadUsage, "give --vary once, for a strip, or twice, for columns and rows");
    const Variation columns = ParseVariation(texts[0]);
    const Variation rows = texts.size() == 2 ? ParseVariation(texts[1]) : Variation(1);
    if (texts.size() == 2 && SubjectOf(columns) == SubjectOf(rows))
        Refuse(texts[1], "both --vary change the same; use one");
    SheetCells sheet;
    sheet.columns = columns.size();
    for (const VariedValue& row : rows) {
        for (const VariedValue& column : columns) {
            SheetCell cell;
            cell.label = column.label + (row.label.empty() ? "" : ", " + row.label);
            cell.parameters = column.start;
            MergeParameters(cell.parameters, row.start);
            MergeParameters(cell.parameters, current);
            MergeParameters(cell.parameters, column.changed);
            MergeParameters(cell.parameters, row.changed);
            cell.isCurrent = Completed(cell.parameters) == Completed(current);
            sheet.cells.push_back(std::move(cell));
        }
    }
    return sheet;
}

}  // namespace frond

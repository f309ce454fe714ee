#include "frond/command_table.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>

namespace frond {

namespace {

// Names of values that are no paths, and those that are folders. Any other name is a file's.
constexpr const char* kPlainValues[] = {"N",    "INT",     "UINT", "FLOAT",          "TEXT", "WHICH",
                                        "AREA", "PATTERN", "NAME", "NAME=VALUE,...", "SIZE"};
constexpr const char* kFolderValues[] = {"DIR", "FOLDER", "IN"};

template <typename List>
bool Contains(const List& list, const std::string& name) {
    return std::find(std::begin(list), std::end(list), name) != std::end(list);
}

std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
    return parts;
}

// Reads what the parser says about a value: a type, and after a colon its check. "INT:{8,16}" has choices,
// "INT:INT in [0 - 9]" has limits, which go into the text.
void ReadValue(const CLI::Option& option, OptionRow& row) {
    const std::string type = option.get_type_name();
    const std::size_t colon = type.find(':');
    const std::string check = colon == std::string::npos ? "" : type.substr(colon + 1);
    row.value = type.substr(0, colon);
    row.kind = Contains(kPlainValues, row.value)    ? ValueKind::kOther
               : Contains(kFolderValues, row.value) ? ValueKind::kFolder
                                                    : ValueKind::kFile;
    const std::size_t limits = check.find(" in [");
    if (check.size() > 2 && check.front() == '{' && check.back() == '}') {
        row.choices = Split(check.substr(1, check.size() - 2), ',');
        row.value = Join(row.choices, "|");
        row.kind = ValueKind::kChoice;
    } else if (limits != std::string::npos && check.back() == ']') {
        std::string range = check.substr(limits + 5, check.size() - limits - 6);
        range.replace(range.find(" - "), 3, " to ");
        if (row.text.find(range) == std::string::npos) row.text += "; " + range;
    }
    if (row.value == "INT" || row.value == "UINT" || row.value == "FLOAT") row.value = "N";
    if (option.get_items_expected_min() == 0) row.value = "[" + row.value + "]";
    if (option.get_items_expected_max() > 1 && option.get_allow_extra_args()) row.value += "...";
}

// A text that explains its default has no other; "[]" is a list without values.
void AddDefault(const CLI::Option& option, OptionRow& row) {
    const std::string value = option.get_default_str();
    if (value.empty() || value == "[]" || row.text.find("efault") != std::string::npos) return;
    row.text += "; default " + value;
}

OptionRow DescribeOption(const CLI::Option& option) {
    OptionRow row;
    row.text = option.get_description();
    for (const std::string& name : option.get_snames()) row.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) row.names.push_back("--" + name);
    if (option.get_items_expected_max() == 0) return row;
    ReadValue(option, row);
    AddDefault(option, row);
    return row;
}

// The name of an argument says what it is.
OptionRow DescribeArgument(const CLI::Option& option) {
    OptionRow row;
    row.text = option.get_description();
    ReadValue(option, row);
    const std::string name = option.get_name(true);
    if (row.kind != ValueKind::kChoice)
        row.kind = Contains(kFolderValues, name) ? ValueKind::kFolder : ValueKind::kFile;
    row.value.clear();
    row.names = {name + (option.get_items_expected_max() > 1 ? "..." : "")};
    return row;
}

}  // namespace

std::string Join(const std::vector<std::string>& texts, const char* separator) {
    std::string joined;
    for (const std::string& text : texts) joined += (joined.empty() ? "" : separator) + text;
    return joined;
}

CommandTable DescribeCommand(const CLI::App& app) {
    CommandTable table;
    table.name = app.get_name();
    table.usage = app.get_parent() != nullptr ? app.get_parent()->get_name() + " " + table.name : table.name;
    table.footer = app.get_footer();
    table.summary = app.get_description();
    const std::size_t end = table.summary.find("\n\n");
    if (end != std::string::npos) {
        table.details = table.summary.substr(end + 2);
        table.summary.resize(end);
    }
    if (!DescribeSubcommands(app).empty()) table.usage += " COMMAND";
    table.usage += " [OPTION]...";
    std::vector<const CLI::Option*> options = app.get_options();
    std::stable_partition(options.begin(), options.end(),
                          [&app](const CLI::Option* option) { return option != app.get_help_ptr(); });
    for (const CLI::Option* option : options) {
        if (option->get_group().empty()) continue;
        if (option->get_positional()) {
            table.arguments.push_back(DescribeArgument(*option));
            const std::string& name = table.arguments.back().names[0];
            table.usage += option->get_required() ? " " + name : " [" + name + "]";
            continue;
        }
        const OptionRow row = DescribeOption(*option);
        if (option->get_required()) table.usage += " " + row.names[0] + " " + row.value;
        const auto group = std::find_if(
            table.groups.begin(), table.groups.end(),
            [option](const OptionGroup& candidate) { return candidate.title == option->get_group(); });
        if (group == table.groups.end()) {
            table.groups.push_back({option->get_group(), {row}});
        } else {
            group->rows.push_back(row);
        }
    }
    return table;
}

std::vector<CommandTable> DescribeSubcommands(const CLI::App& app) {
    std::vector<CommandTable> tables;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (!command->get_group().empty()) tables.push_back(DescribeCommand(*command));
    }
    return tables;
}

std::string FillLines(const std::string& text, std::size_t width, std::size_t column, std::size_t used) {
    std::string filled;
    std::istringstream words(text);
    for (std::string word; words >> word; used += word.size()) {
        if (!filled.empty()) {
            const bool fits = used + 1 + word.size() <= width;
            filled += fits ? " " : "\n" + std::string(column, ' ');
            used = fits ? used + 1 : column;
        }
        filled += word;
    }
    return filled + "\n";
}

std::vector<Paragraph> SplitParagraphs(const std::string& text) {
    std::vector<Paragraph> paragraphs;
    bool continues = false;  // the paragraph of the line before
    for (const std::string& line : Split(text, '\n')) {
        const bool isExample = line.compare(0, 2, "  ") == 0;
        const auto kind = isExample ? Paragraph::kExample : Paragraph::kText;
        if (line.empty()) {
            continues = false;
        } else if (continues && paragraphs.back().kind == kind) {
            paragraphs.back().text += (isExample ? "\n" : " ") + line;
        } else {
            paragraphs.push_back({kind, line});
            continues = true;
        }
        if (continues && !isExample && paragraphs.back().text == line && line.back() == ':') {
            paragraphs.back() = {Paragraph::kHeading, line.substr(0, line.size() - 1)};
        }
    }
    return paragraphs;
}

}  // namespace frond

// --help of the program and of its commands.
#include "frond/command_table.h"

namespace frond {

namespace {

constexpr std::size_t kWidth = 80, kTextColumn = 26, kCommandColumn = 12;

// A name and its text, which begins on a line of its own below a long name.
std::string FormatEntry(const std::string& name, const std::string& text, std::size_t column) {
    std::string entry = "  " + FillLines(name, kWidth, 4, 2);
    entry.pop_back();
    if (entry.size() + 2 > column) {
        entry += "\n" + std::string(column, ' ');
    } else {
        entry.resize(column, ' ');
    }
    return entry + FillLines(text, kWidth, column, column);
}

std::string FormatRow(const OptionRow& row) {
    const std::string value = row.value.empty() ? "" : " " + row.value;
    return FormatEntry(Join(row.names, ", ") + value, row.text, kTextColumn);
}

std::string FormatParagraphs(const std::string& text) {
    std::string formatted;
    bool isBelowHeading = false;
    for (const Paragraph& paragraph : SplitParagraphs(text)) {
        if (!isBelowHeading) formatted += '\n';
        isBelowHeading = paragraph.kind == Paragraph::kHeading;
        if (paragraph.kind == Paragraph::kText) {
            formatted += FillLines(paragraph.text, kWidth);
        } else {
            formatted += paragraph.text + (isBelowHeading ? ":\n" : "\n");
        }
    }
    return formatted;
}

}  // namespace

std::string FormatHelp(const CLI::App& app) {
    const CommandTable table = DescribeCommand(app);
    std::string help = "Usage: " + table.usage + "\n\n" + FillLines(table.summary + ".", kWidth);
    help += FormatParagraphs(table.details);
    const std::vector<CommandTable> commands = DescribeSubcommands(app);
    if (!commands.empty()) help += "\nCommands:\n";
    for (const CommandTable& command : commands)
        help += FormatEntry(command.name, command.summary, kCommandColumn);
    if (!table.arguments.empty()) help += '\n';
    for (const OptionRow& row : table.arguments) help += FormatRow(row);
    for (const OptionGroup& group : table.groups) {
        help += "\n" + group.title + ":\n";
        for (const OptionRow& row : group.rows) help += FormatRow(row);
    }
    return help + FormatParagraphs(table.footer);
}

}  // namespace frond

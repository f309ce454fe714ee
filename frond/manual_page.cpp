// The manual page, in the man macros of roff.
#include <algorithm>
#include <cctype>

#include "frond/command_table.h"

namespace frond {

namespace {

// The text with the characters that roff would read as its own or print as typographic ones. '-' becomes the
// hyphen of the keyboard. A '.' or "'" at the start of a line would be a request.
std::string Escape(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        const bool isLineStart = escaped.empty() || escaped.back() == '\n';
        switch (c) {
            case '\\':
                escaped += "\\(rs";
                break;
            case '-':
                escaped += "\\-";
                break;
            case '"':
                escaped += "\\(dq";
                break;
            case '\'':
                escaped += "\\(aq";
                break;
            case '`':
                escaped += "\\(ga";
                break;
            case '^':
                escaped += "\\(ha";
                break;
            case '~':
                escaped += "\\(ti";
                break;
            case '.':
                escaped += isLineStart ? "\\&." : ".";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

// A line break of the source is no break on the page. Roff's own hints ask for lines of at most 80
// characters.
std::string EscapeFilled(const std::string& text) {
    constexpr std::size_t kWidth = 72;  // escapes make a line longer
    return Escape(FillLines(text, kWidth));
}

// A line of a macro with one argument.
std::string Macro(const char* name, const std::string& argument) {
    return std::string(".") + name + " \"" + Escape(argument) + "\"\n";
}

std::string Bold(const std::string& text) {
    return "\\fB" + Escape(text) + "\\fR";
}

std::string FormatRow(const OptionRow& row) {
    std::string names;
    for (const std::string& name : row.names) names += (names.empty() ? "" : ", ") + Bold(name);
    if (row.kind == ValueKind::kChoice) {
        names += " " + Bold(row.value);
    } else if (!row.value.empty()) {
        names += " \\fI" + Escape(row.value) + "\\fR";
    }
    return ".TP\n" + names + "\n" + (row.text.empty() ? "\\&\n" : EscapeFilled(row.text + "."));
}

// Headings are sections in the program's own text, and paragraphs in that of a command. A paragraph right
// below a section's title needs no macro.
std::string FormatParagraphs(const std::string& text, bool hasSections, bool isBelowHeading = false) {
    std::string formatted;
    for (const Paragraph& paragraph : SplitParagraphs(text)) {
        if (paragraph.kind == Paragraph::kHeading) {
            std::string title = paragraph.text;
            if (hasSections) std::transform(title.begin(), title.end(), title.begin(), ::toupper);
            formatted += hasSections ? Macro("SH", title) : ".PP\n" + Escape(title) + ":\n";
            isBelowHeading = hasSections;
            continue;
        }
        if (!isBelowHeading) formatted += ".PP\n";
        isBelowHeading = false;
        formatted += paragraph.kind == Paragraph::kExample ? ".EX\n" + Escape(paragraph.text) + "\n.EE\n"
                                                           : EscapeFilled(paragraph.text);
    }
    return formatted;
}

// The options that every command has are described once, as the program's.
bool IsCommon(const OptionRow& row, const CommandTable& program) {
    for (const OptionGroup& group : program.groups) {
        for (const OptionRow& common : group.rows) {
            if (common.names == row.names) return true;
        }
    }
    return false;
}

std::string FormatCommand(const CommandTable& command, const CommandTable& program) {
    std::string formatted = Macro("SS", command.usage) + EscapeFilled(command.summary + ".");
    formatted += FormatParagraphs(command.details, false);
    for (const OptionRow& row : command.arguments) formatted += FormatRow(row);
    for (const OptionGroup& group : command.groups) {
        if (command.groups.size() > 1) formatted += ".PP\n" + Escape(group.title) + ":\n";
        for (const OptionRow& row : group.rows) {
            if (!IsCommon(row, program)) formatted += FormatRow(row);
        }
    }
    return formatted + FormatParagraphs(command.footer, false);
}

}  // namespace

std::string FormatManualPage(const CLI::App& app) {
    const CommandTable program = DescribeCommand(app);
    const std::vector<CommandTable> commands = DescribeSubcommands(app);
    std::string summary = program.summary;
    summary[0] = static_cast<char>(::tolower(summary[0]));
    std::string page =
        ".\\\" Made by \"frond manual page\" from the program's options.\n"
        ".TH FROND 1 " FROND_DATE " \"Marble Frond Keeper " FROND_VERSION
        "\" \"User Commands\"\n"
        ".SH NAME\n" +
        program.name + " \\- " + Escape(summary) + "\n.SH SYNOPSIS\n.nf\n";
    for (const CommandTable& command : commands)
        page += Bold(program.name) + Escape(command.usage.substr(program.name.size())) + "\n";
    page += ".fi\n.SH DESCRIPTION\n" + FormatParagraphs(program.details, false, true);
    page += ".SH COMMANDS\n";
    for (const CommandTable& command : commands) page += FormatCommand(command, program);
    page += ".SH OPTIONS\n";
    for (const OptionGroup& group : program.groups) {
        for (const OptionRow& row : group.rows) page += FormatRow(row);
    }
    page += FormatParagraphs(program.footer, true);
    return page;
}

}  // namespace frond

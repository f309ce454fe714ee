// The commands and their options as records, read from their declarations. --help, the manual page and the
// completion are printed from these records, so they have the same options and texts.
#pragma once

#include <string>
#include <vector>

namespace CLI {  // NOLINT(readability-identifier-naming)
class App;
}

namespace frond {

enum class ValueKind { kNone, kChoice, kFile, kFolder, kOther };

struct OptionRow {
    std::vector<std::string> names;    // "-o", "--out"; the name alone for an argument that is not an option
    std::string value;                 // the value's name, or its choices as "8|16"; empty for a flag
    std::vector<std::string> choices;  // the only possible values, for kChoice
    ValueKind kind = ValueKind::kNone;
    std::string text;  // with the limits and the default
};

struct OptionGroup {
    std::string title;
    std::vector<OptionRow> rows;
};

struct CommandTable {
    std::string name;                  // "key"; "frond" for the program
    std::string usage;                 // "frond key [OPTION]... PHOTO..."
    std::string summary;               // the first paragraph of the description, without a period
    std::string details;               // the other paragraphs, see SplitParagraphs
    std::vector<OptionRow> arguments;  // those that are not options
    std::vector<OptionGroup> groups;   // in the order of their declarations; --help is the last of its group
    std::string footer;                // see SplitParagraphs
};

// The record of the program or of one of its commands.
CommandTable DescribeCommand(const CLI::App& app);

// The program's commands in the order of their declarations, without hidden ones.
std::vector<CommandTable> DescribeSubcommands(const CLI::App& app);

// A description or a footer is plain text. A blank line ends a paragraph. Lines that begin with two spaces
// are an example, which keeps its lines. One line that ends in a colon and has an example or a paragraph
// right below it is a heading.
struct Paragraph {
    enum { kText, kExample, kHeading } kind;
    std::string text;  // filled to one line, except an example
};
std::vector<Paragraph> SplitParagraphs(const std::string& text);

std::string Join(const std::vector<std::string>& texts, const char* separator);

// The words of the text in lines of at most `width` columns. The first line begins at column `used`, the
// others at `column`. Ends with a line feed.
std::string FillLines(const std::string& text, std::size_t width, std::size_t column = 0,
                      std::size_t used = 0);

// The text of --help, at most 80 columns wide.
std::string FormatHelp(const CLI::App& app);

// A manual page in the man macros, and a completion for bash, both with all commands. The text depends on
// nothing but the declarations.
std::string FormatManualPage(const CLI::App& app);
std::string FormatCompletion(const CLI::App& app);

}  // namespace frond

// The completion for bash.
#include "frond/command_table.h"

namespace frond {

namespace {

// A file is completed by bash itself, as long as no words are offered. No name or choice has a character that
// the shell reads as its own.
constexpr char kStart[] =
    R"(# Completion of frond for bash. Made by "frond manual completion" from the program's options.
_frond() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} options= wants= words=
    # "--option=value" is three words.
    if [ "$word" = = ]; then
        word=
    elif [ "$previous" = = ]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    COMPREPLY=()
    case $COMP_CWORD:${COMP_WORDS[1]} in
)";
constexpr char kEnd[] = R"(    esac
    if [ -z "$wants" ] && [[ $word == -* ]]; then
        wants=words words=$options
    fi
    case $wants in
    words) mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word") ;;
    folder) compopt +o default -o dirnames 2>/dev/null ;;
    other) compopt +o default 2>/dev/null ;;
    esac
}
complete -o default -F _frond frond
)";

std::string Words(const std::vector<OptionGroup>& groups) {
    std::string words;
    for (const OptionGroup& group : groups) {
        for (const OptionRow& row : group.rows) {
            for (const std::string& name : row.names) words += (words.empty() ? "" : " ") + name;
        }
    }
    return words;
}

// What a value may be, as the shell's variables.
std::string Wants(const OptionRow& row) {
    switch (row.kind) {
        case ValueKind::kChoice:
            return "wants=words words='" + Join(row.choices, " ") + "'";
        case ValueKind::kFile:
            return "wants=file";
        case ValueKind::kFolder:
            return "wants=folder";
        default:
            return "wants=other";
    }
}

std::string FormatCommand(const CommandTable& command) {
    std::string formatted = "    *:" + command.name + ")\n        options='" + Words(command.groups) +
                            "'\n        case $previous in\n";
    for (const OptionGroup& group : command.groups) {
        for (const OptionRow& row : group.rows) {
            if (row.kind == ValueKind::kNone) continue;
            formatted += "        " + Join(row.names, " | ") + ") " + Wants(row) + " ;;\n";
        }
    }
    // A word of the command's own, unless it is an option.
    const std::string wants = command.arguments.empty() ? "wants=other" : Wants(command.arguments[0]);
    return formatted + "        *) [[ $word == -* ]] || " + wants + " ;;\n        esac\n        ;;\n";
}

}  // namespace

std::string FormatCompletion(const CLI::App& app) {
    const CommandTable program = DescribeCommand(app);
    std::string commands = Words(program.groups), cases;
    for (const CommandTable& command : DescribeSubcommands(app)) {
        commands += " " + command.name;
        cases += FormatCommand(command);
    }
    return kStart + ("    1:*) wants=words words='" + commands + "' ;;\n") + cases + kEnd;
}

}  // namespace frond

#include "scanner/app/completion.h"

#include <cstddef>
#include <ostream>
#include <sstream>

namespace app {

namespace {

/// Words between apostrophes. None holds one itself: they are names that the program takes.
std::string Quoted(const std::vector<std::string>& words)
{
    return "'" + JoinWords(words) + "'";
}

std::vector<std::string> OptionNames(const CommandNode& command)
{
    std::vector<std::string> names;
    for (const CommandArgument& option : command.options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return names;
}

std::vector<std::string> CommandNames(const CommandNode& command)
{
    std::vector<std::string> names;
    for (const CommandNode& child : command.commands) {
        names.push_back(child.path.back());
    }
    return names;
}

void WriteCommands(const CommandNode& program, std::ostream& out)
{
    out << "# Sets the commands below a command, and its options.\n"
        << "_" << program.path.front() << "_command()\n{\n    commands='' options=''\n    case \"$1\" in\n";
    for (const CommandNode* command : AllCommands(program)) {
        out << "        '" << PathInProgram(*command) << "') commands=" << Quoted(CommandNames(*command))
            << " options=" << Quoted(OptionNames(*command)) << " ;;\n";
    }
    out << "    esac\n}\n";
}

const char* KindOf(EValue value)
{
    switch (value) {
    case EValue::eChoice:
        return "choice";
    case EValue::eFile:
        return "file";
    case EValue::eFolder:
        return "folder";
    case EValue::eOther:
    case EValue::eNone:
        break;
    }
    return "other";
}

/// One branch of a `case`.
void WriteArgument(const std::string& pattern, const CommandArgument& argument, std::ostream& out)
{
    out << "        " << pattern << ") kind=" << KindOf(argument.value);
    if (argument.value == EValue::eChoice) {
        out << " choices=" << Quoted(argument.choices);
    }
    out << " ;;\n";
}

void WriteArguments(const CommandNode& command, std::ostream& out)
{
    const std::string path = PathInProgram(command);
    for (const CommandArgument& option : command.options) {
        std::string pattern;
        for (const std::string& name : option.names) {
            pattern += (pattern.empty() ? "'" : "|'") + path + " " + name + "'";
        }
        if (option.value != EValue::eNone) {
            WriteArgument(pattern, option, out);
        }
    }
    std::size_t position = 1;
    for (const CommandArgument& argument : command.positionals) {
        // The places of one that repeats come last, so that the digits match those that are left.
        const std::string place = argument.repeats ? " '[1-9]*" : " " + std::to_string(position) + "'";
        WriteArgument("'" + path + place, argument, out);
        ++position;
    }
}

void WriteKinds(const CommandNode& program, std::ostream& out)
{
    out << "\n# Sets the kind of an option's value, or of the argument at a place from 1: choice, with the "
           "choices,\n"
           "# file, folder or other; empty where there is no value.\n"
        << "_" << program.path.front() << "_argument()\n{\n    kind='' choices=''\n    case \"$1 $2\" in\n";
    for (const CommandNode* command : AllCommands(program)) {
        WriteArguments(*command, out);
    }
    out << "    esac\n}\n";
}

constexpr const char* kBashFunction = R"bash(
_NAME()
{
    local current=${COMP_WORDS[COMP_CWORD]} command='' awaited='' position=1
    local commands options kind choices word i
    COMPREPLY=()
    _NAME_command ''
    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        # bash takes --option=value apart.
        if [[ $word == '=' ]]; then
            continue
        elif [[ $awaited ]]; then
            awaited=''
        elif [[ $word == -* ]]; then
            _NAME_argument "$command" "$word"
            awaited=$kind
        elif [[ " $commands " == *" $word "* ]]; then
            command="${command:+$command }$word"
            _NAME_command "$command"
        else
            position=$((position + 1))
        fi
    done
    if [[ $current == '=' ]]; then
        current=''
    fi
    if [[ $awaited ]]; then
        kind=$awaited
    elif [[ $current == -* ]]; then
        kind=choice choices=$options
    elif [[ $commands ]]; then
        kind=choice choices=$commands
    else
        _NAME_argument "$command" "$position"
        if [[ ! $kind ]]; then
            kind=choice choices=$options
        fi
    fi
    case $kind in
        choice) mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$current") ;;
        file) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
        folder) mapfile -t COMPREPLY < <(compgen -d -- "$current") ;;
    esac
    if [[ $kind == file || $kind == folder ]]; then
        compopt -o filenames 2>/dev/null
    fi
    return 0
}

complete -F _NAME NAME
)bash";

/// The text with the program's name in place of each NAME.
std::string WithName(std::string text, const std::string& name)
{
    const std::string mark = "NAME";
    for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + name.size())) {
        text.replace(at, mark.size(), name);
    }
    return text;
}

} // namespace

std::string BashCompletion(const CommandNode& program)
{
    const std::string& name = program.path.front();
    std::ostringstream out;
    out << "# Completes the command line of " << name << " in bash. Made by `" << name
        << " completion bash`.\n\n";
    WriteCommands(program, out);
    WriteKinds(program, out);
    out << WithName(kBashFunction, name);
    return out.str();
}

} // namespace app

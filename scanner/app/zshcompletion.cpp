#include "scanner/app/completion.h"

#include <cstddef>
#include <ostream>
#include <sstream>
#include <string_view>

namespace app {

namespace {

/// The text with a backslash before each of the special characters, for the inside of apostrophes.
std::string Escaped(std::string_view text, std::string_view special)
{
    std::string escaped;
    for (const char character : text) {
        if (character == '\'') {
            escaped += "'\\''";
            continue;
        }
        if (special.find(character) != std::string_view::npos) {
            escaped += '\\';
        }
        escaped += character;
    }
    return escaped;
}

/// What is offered for a value, as `_arguments` takes it.
std::string ActionOf(const CommandArgument& argument)
{
    switch (argument.value) {
    case EValue::eChoice:
        return "(" + Escaped(JoinWords(argument.choices), "\\:") + ")";
    case EValue::eFile:
        return "_files";
    case EValue::eFolder:
        return "_files -/";
    case EValue::eOther:
    case EValue::eNone:
        break;
    }
    return "";
}

/// The option under one of its names, which excludes the other ones unless it may be given again.
void WriteOption(const CommandArgument& option, const std::string& name, std::ostream& out)
{
    out << " \\\n        '";
    if (option.repeats) {
        out << "*";
    } else if (option.names.size() > 1) {
        out << "(" << JoinWords(option.names) << ")";
    }
    // A value stands behind the name, or after a sign of equality.
    const bool isLong = name.starts_with("--");
    out << name << (option.value != EValue::eNone && isLong ? "=" : "") << "["
        << Escaped(option.description, "\\[]") << "]";
    if (option.value != EValue::eNone) {
        out << ":" << Escaped(option.label, "\\:") << ":" << ActionOf(option);
    }
    out << "'";
}

void WriteOptions(const CommandNode& command, std::ostream& out)
{
    for (const CommandArgument& option : command.options) {
        for (const std::string& name : option.names) {
            WriteOption(option, name, out);
        }
    }
}

void WritePositionals(const CommandNode& command, std::ostream& out)
{
    std::size_t position = 1;
    for (const CommandArgument& argument : command.positionals) {
        const std::string place = argument.repeats ? "*" : std::to_string(position);
        const char* const colon = argument.isRequired || argument.repeats ? ":" : "::";
        out << " \\\n        '" << place << colon << Escaped(argument.label, "\\:") << ":"
            << ActionOf(argument) << "'";
        ++position;
    }
}

std::string FunctionOf(const CommandNode& command)
{
    std::string name;
    for (const std::string& word : command.path) {
        name += "_" + word;
    }
    return name;
}

/// A command that stands before others.
void WriteGroup(const CommandNode& command, std::ostream& out)
{
    out << "    local curcontext=$curcontext state line\n    local -A opt_args\n    _arguments -C";
    WriteOptions(command, out);
    out << " \\\n        '1:command:->command' \\\n        '*::argument:->argument'\n"
        << "    case $state in\n        command)\n            local -a commands=(\n";
    for (const CommandNode& child : command.commands) {
        out << "                '" << Escaped(child.path.back(), "\\:") << ":"
            << Escaped(child.description, "\\") << "'\n";
    }
    out << "            )\n            _describe -t commands command commands\n            ;;\n"
        << "        argument)\n            case $line[1] in\n";
    for (const CommandNode& child : command.commands) {
        out << "                " << child.path.back() << ") " << FunctionOf(child) << " ;;\n";
    }
    out << "            esac\n            ;;\n    esac\n";
}

void WriteFunction(const CommandNode& command, std::ostream& out)
{
    out << FunctionOf(command) << "() {\n";
    if (!command.commands.empty()) {
        WriteGroup(command, out);
    } else {
        out << "    _arguments";
        WriteOptions(command, out);
        WritePositionals(command, out);
        out << "\n";
    }
    out << "}\n\n";
}

} // namespace

std::string ZshCompletion(const CommandNode& program)
{
    const std::string& name = program.path.front();
    std::ostringstream out;
    out << "#compdef " << name << "\n"
        << "# Completes the command line of " << name << " in zsh. Made by `" << name
        << " completion zsh`.\n\n";
    for (const CommandNode* command : AllCommands(program)) {
        WriteFunction(*command, out);
    }
    // Loaded from a folder of fpath, the file is the function's body; sourced, it registers it.
    out << "if [[ $funcstack[1] == _" << name << " ]]; then\n    _" << name << " \"$@\"\nelse\n    compdef _"
        << name << " " << name << "\nfi\n";
    return out.str();
}

} // namespace app

#include "scanner/app/completion.h"

#include <algorithm>
#include <ostream>
#include <sstream>

namespace app {

namespace {

std::string Quoted(const std::string& text)
{
    std::string quoted = "'";
    for (const char character : text) {
        if (character == '\'' || character == '\\') {
            quoted += '\\';
        }
        quoted += character;
    }
    return quoted + "'";
}

/// Begins a rule that holds where the words before are those of the command.
std::ostream& WriteRule(const CommandNode& command, std::ostream& out)
{
    const std::string& name = command.path.front();
    // Below a command without further ones its arguments may stand between.
    const char* const test = command.commands.empty() ? "_within" : "_at";
    std::string condition = "__" + name + test;
    if (command.path.size() > 1) {
        condition += " " + PathInProgram(command);
    }
    return out << "complete -c " << name << " -n " << Quoted(condition);
}

/// What is offered for a value.
void WriteValue(const CommandArgument& argument, std::ostream& out)
{
    switch (argument.value) {
    case EValue::eChoice:
        out << " -x -a " << Quoted(JoinWords(argument.choices));
        break;
    case EValue::eFile:
        out << " -r -F";
        break;
    case EValue::eFolder:
        out << " -x -a '(__fish_complete_directories)'";
        break;
    case EValue::eOther:
        out << " -x";
        break;
    case EValue::eNone:
        break;
    }
}

void WriteOption(const CommandNode& command, const CommandArgument& option, std::ostream& out)
{
    WriteRule(command, out);
    for (const std::string& name : option.names) {
        const bool isLong = name.starts_with("--");
        out << (isLong ? " -l " : " -s ") << name.substr(isLong ? 2 : 1);
    }
    WriteValue(option, out);
    out << " -d " << Quoted(option.description) << "\n";
}

/// fish tells no positions: what any of them takes is offered at each.
void WritePositionals(const CommandNode& command, std::ostream& out)
{
    const auto takes = [&command](EValue value) {
        return std::any_of(command.positionals.begin(), command.positionals.end(),
                           [value](const CommandArgument& argument) { return argument.value == value; });
    };
    for (const CommandArgument& argument : command.positionals) {
        if (argument.value == EValue::eChoice) {
            WriteRule(command, out) << " -a " << Quoted(JoinWords(argument.choices)) << " -d "
                                    << Quoted(argument.description) << "\n";
        }
    }
    if (takes(EValue::eFile)) {
        WriteRule(command, out) << " -F\n";
    }
    if (takes(EValue::eFolder)) {
        WriteRule(command, out) << " -a '(__fish_complete_directories)'\n";
    }
}

void WriteRules(const CommandNode& command, std::ostream& out)
{
    for (const CommandNode& child : command.commands) {
        WriteRule(command, out) << " -a " << Quoted(child.path.back()) << " -d " << Quoted(child.description)
                                << "\n";
    }
    for (const CommandArgument& option : command.options) {
        WriteOption(command, option, out);
    }
    WritePositionals(command, out);
}

void WriteTests(const std::string& name, std::ostream& out)
{
    out << "# Whether the words before the cursor begin with those of a command.\n"
        << "function __" << name << "_within\n"
        << "    set -l words (commandline -opc)\n"
        << "    test (count $words) -gt (count $argv); or return 1\n"
        << "    set -l position 2\n"
        << "    for word in $argv\n"
        << "        test \"$words[$position]\" = $word; or return 1\n"
        << "        set position (math $position + 1)\n"
        << "    end\n"
        << "end\n\n"
        << "# Whether they are those words and no more.\n"
        << "function __" << name << "_at\n"
        << "    test (count (commandline -opc)) -eq (math (count $argv) + 1); and __" << name
        << "_within $argv\n"
        << "end\n\n";
}

} // namespace

std::string FishCompletion(const CommandNode& program)
{
    const std::string& name = program.path.front();
    std::ostringstream out;
    out << "# Completes the command line of " << name << " in fish. Made by `" << name
        << " completion fish`.\n\n";
    WriteTests(name, out);
    out << "complete -c " << name << " -f\n";
    for (const CommandNode* command : AllCommands(program)) {
        WriteRules(*command, out);
    }
    return out.str();
}

} // namespace app

#include "scanner/app/manualpage.h"

#include <algorithm>
#include <cctype>
#include <ostream>
#include <sstream>
#include <string_view>

namespace app {

namespace {

/// What roff would take for its own, or typeset as another character, in roff's names.
std::string_view RoffOf(char character)
{
    switch (character) {
    case '\\':
        return "\\e";
    case '-':
        return "\\-";
    case '\'':
        return "\\(aq";
    case '"':
        return "\\(dq";
    case '`':
        return "\\(ga";
    case '^':
        return "\\(ha";
    case '~':
        return "\\(ti";
    default:
        return {};
    }
}

/// A text as one line that roff prints as it stands.
std::string Escaped(std::string_view text)
{
    // A dot at the beginning would be a request.
    std::string escaped = text.starts_with('.') ? "\\&" : "";
    for (const char& character : text) {
        const std::string_view roff = RoffOf(character);
        escaped += roff.empty() ? std::string_view(&character, 1) : roff;
    }
    return escaped;
}

std::string Bold(std::string_view text)
{
    return "\\fB" + Escaped(text) + "\\fR";
}

std::string Italic(std::string_view text)
{
    return "\\fI" + Escaped(text) + "\\fR";
}

/// Words of a description begin large in help texts, and end without a full stop.
std::string Sentence(const std::string& text)
{
    return Escaped(text) + (text.ends_with('.') ? "" : ".");
}

std::string BoldList(const std::vector<std::string>& words, std::string_view separator)
{
    std::string list;
    for (const std::string& word : words) {
        list += (list.empty() ? "" : std::string(separator)) + Bold(word);
    }
    return list;
}

/// The command with the names of what it takes.
void WriteUsage(const CommandNode& command, std::ostream& out)
{
    out << Bold(PathText(command));
    for (const CommandArgument& option : command.options) {
        if (option.isRequired) {
            out << " " << Bold(option.names.back()) << " " << Italic(option.label);
        }
    }
    out << " [" << Italic("options") << "]";
    for (const CommandArgument& argument : command.positionals) {
        const std::string text = Italic(argument.label) + (argument.repeats ? " ..." : "");
        out << " " << (argument.isRequired ? text : "[" + text + "]");
    }
    out << "\n";
}

/// What a value may be, and what goes with it.
void WriteConditions(const CommandArgument& argument, std::ostream& out)
{
    if (!argument.choices.empty()) {
        out << "One of " << BoldList(argument.choices, ", ") << ".\n";
    }
    if (!argument.range.empty()) {
        out << "A value " << Escaped(argument.range) << ".\n";
    }
    if (!argument.usual.empty()) {
        out << "Without it " << Bold(argument.usual) << ".\n";
    }
    if (!argument.needs.empty()) {
        out << "Needs " << BoldList(argument.needs, " and ") << ".\n";
    }
    if (!argument.excludes.empty()) {
        out << "Does not go with " << BoldList(argument.excludes, " or ") << ".\n";
    }
}

void WriteArgument(const CommandArgument& argument, std::ostream& out)
{
    const std::string label = argument.label.empty() ? "" : Italic(argument.label);
    out << ".TP\n"
        << BoldList(argument.names, ", ") << (argument.names.empty() || label.empty() ? "" : " ") << label
        << "\n";
    if (!argument.description.empty()) {
        out << Sentence(argument.description) << "\n";
    }
    WriteConditions(argument, out);
}

bool IsHelp(const CommandArgument& option)
{
    return std::find(option.names.begin(), option.names.end(), "--help") != option.names.end();
}

void WriteArguments(const CommandNode& command, std::ostream& out)
{
    for (const CommandArgument& argument : command.positionals) {
        WriteArgument(argument, out);
    }
    for (const CommandArgument& option : command.options) {
        if (!IsHelp(option)) { // which is told once, for all
            WriteArgument(option, out);
        }
    }
}

void WriteCommand(const CommandNode& command, std::ostream& out)
{
    out << ".SS " << Escaped(PathText(command)) << "\n";
    WriteUsage(command, out);
    out << ".PP\n" << Sentence(command.description) << "\n";
    WriteArguments(command, out);
}

void WriteName(const CommandNode& program, std::ostream& out)
{
    const std::string& name = program.path.front();
    std::string title = name;
    std::transform(title.begin(), title.end(), title.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    out << ".\\\" Made by `" << name << " manual`: change the program, not this page.\n"
        << ".TH " << title << " 1 \"\" LxCVLib \"User Commands\"\n"
        << ".SH NAME\n"
        << Escaped(name) << " \\- " << Escaped(program.description) << "\n"
        << ".SH SYNOPSIS\n"
        << Bold(name) << " " << Italic("command") << " [" << Italic("options") << "] [" << Italic("arguments")
        << "]\n";
}

} // namespace

std::string ManualPage(const CommandNode& program)
{
    std::ostringstream out;
    WriteName(program, out);
    out << ".SH DESCRIPTION\n" << kManualDescription << ".SH OPTIONS\n";
    for (const CommandArgument& option : program.options) {
        WriteArgument(option, out);
    }
    out << ".SH COMMANDS\n";
    for (const CommandNode* command : AllCommands(program)) {
        if (command->commands.empty()) {
            WriteCommand(*command, out);
        }
    }
    out << kManualEnd;
    return out.str();
}

} // namespace app

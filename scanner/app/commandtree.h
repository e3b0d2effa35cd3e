// What the commands of a program take, read from its parser.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace app {

/// Type names of options and positionals whose values are paths.
inline constexpr const char* kFileType = "FILE";
inline constexpr const char* kFolderType = "FOLDER";

/// What a shell can offer for a value.
enum class EValue
{
    eNone,   ///< there is no value: the option is a flag
    eChoice, ///< one of a set
    eFile,
    eFolder,
    eOther ///< numbers and texts, which nobody can guess
};

/// An option or a positional.
struct CommandArgument
{
    std::vector<std::string> names; ///< with their dashes, short ones first; empty for a positional
    std::string label;              ///< a positional's name, or what an option's value is; empty for a flag
    std::string description;
    std::string usual; ///< value where none is given; empty for none
    std::string range; ///< of numbers, in words; often empty, where the description tells it
    EValue value = EValue::eNone;
    std::vector<std::string> choices; ///< of `EValue::eChoice`
    bool isRequired = false;
    bool repeats = false;              ///< may be given any number of times
    std::vector<std::string> needs;    ///< names of options that must be given, too; sorted
    std::vector<std::string> excludes; ///< names of options that must not; sorted
};

/// A command with what it takes. Hidden commands and options are left out.
struct CommandNode
{
    std::vector<std::string> path; ///< the program's name first
    std::string description;
    std::vector<CommandArgument> options;
    std::vector<CommandArgument> positionals;
    std::vector<CommandNode> commands;
};

/// @param program the parser with all its commands; not changed
CommandNode ReadCommands(const CLI::App& program);

/// The names from the program's own to the command's, with spaces between.
std::string PathText(const CommandNode& command);

/// The same without the program's name.
std::string PathInProgram(const CommandNode& command);

/// The command and all below it, each before its own commands.
std::vector<const CommandNode*> AllCommands(const CommandNode& command);

/// The names with spaces between.
std::string JoinWords(const std::vector<std::string>& words);

} // namespace app

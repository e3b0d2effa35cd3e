#include "scanner/app/commandtree.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>

namespace app {

namespace {

/// The parser's own word for a type, with what its checks tell, such as "TEXT:{a,b}" or "FLOAT:in [0 - 100]".
struct TypeText
{
    std::string type;
    std::string checks;
};

TypeText Split(const std::string& text)
{
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) {
        return {text, ""};
    }
    return {text.substr(0, colon), text.substr(colon + 1)};
}

/// The members of a set, as `CLI::IsMember` tells them: "{a,b}". Empty for other checks.
std::vector<std::string> ReadChoices(const std::string& checks)
{
    std::vector<std::string> choices;
    if (checks.size() < 2 || checks.front() != '{' || checks.back() != '}') {
        return choices;
    }
    std::istringstream members(checks.substr(1, checks.size() - 2));
    for (std::string member; std::getline(members, member, ',');) {
        choices.push_back(member);
    }
    return choices;
}

EValue ValueOf(const std::string& type)
{
    if (type == kFileType) {
        return EValue::eFile;
    }
    return type == kFolderType ? EValue::eFolder : EValue::eOther;
}

/// How an option's value is called where it is told; "TEXT" says no more than that there is one.
std::string LabelOf(const std::string& type)
{
    if (type == "INT" || type == "UINT" || type == "FLOAT") {
        return "NUMBER";
    }
    return type == "TEXT" || type.empty() ? "VALUE" : type;
}

std::vector<std::string> NamesOf(const std::set<CLI::Option*>& options)
{
    std::vector<std::string> names; // sorted, since the set goes by address
    names.reserve(options.size());
    for (const CLI::Option* option : options) {
        names.push_back(option->get_name());
    }
    std::sort(names.begin(), names.end());
    return names;
}

CommandArgument ReadArgument(const CLI::Option& option)
{
    CommandArgument argument;
    for (const std::string& name : option.get_snames()) {
        argument.names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        argument.names.push_back("--" + name);
    }
    argument.description = option.get_description();
    argument.isRequired = option.get_required();
    argument.needs = NamesOf(option.get_needs());
    argument.excludes = NamesOf(option.get_excludes());
    if (option.get_items_expected_max() == 0) {
        return argument;
    }
    const TypeText type = Split(option.get_type_name());
    argument.choices = ReadChoices(type.checks);
    const bool isChoice = !argument.choices.empty();
    argument.value = isChoice ? EValue::eChoice : ValueOf(type.type);
    argument.range = isChoice ? "" : type.checks;
    argument.label = option.nonpositional() ? LabelOf(type.type) : option.get_name(true);
    argument.usual = option.get_default_str();
    argument.repeats = option.nonpositional()
                           ? option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll
                           : option.get_items_expected_max() > 1;
    return argument;
}

CommandNode ReadCommand(const CLI::App& parser, std::vector<std::string> path)
{
    CommandNode command;
    path.push_back(parser.get_name());
    command.path = path;
    command.description = parser.get_description();
    for (const CLI::Option* option : parser.get_options()) {
        if (!option->get_group().empty()) {
            auto& arguments = option->nonpositional() ? command.options : command.positionals;
            arguments.push_back(ReadArgument(*option));
        }
    }
    for (const CLI::App* child : parser.get_subcommands([](const CLI::App*) { return true; })) {
        if (!child->get_group().empty()) {
            command.commands.push_back(ReadCommand(*child, path));
        }
    }
    return command;
}

} // namespace

CommandNode ReadCommands(const CLI::App& program)
{
    return ReadCommand(program, {});
}

std::string JoinWords(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

std::string PathText(const CommandNode& command)
{
    return JoinWords(command.path);
}

std::string PathInProgram(const CommandNode& command)
{
    return JoinWords({std::next(command.path.begin()), command.path.end()});
}

std::vector<const CommandNode*> AllCommands(const CommandNode& command)
{
    std::vector<const CommandNode*> all{&command};
    for (const CommandNode& child : command.commands) {
        const std::vector<const CommandNode*> below = AllCommands(child);
        all.insert(all.end(), below.begin(), below.end());
    }
    return all;
}

} // namespace app

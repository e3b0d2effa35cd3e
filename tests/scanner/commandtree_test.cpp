#include "scanner/app/commandtree.h"

#include <CLI/CLI.hpp>
#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace app {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class CommandTree : public ::testing::Test
{
protected:
    CommandArgument Option() const { return ReadCommands(m_program).options.back(); }

    CLI::App m_program{"What it does", "program"};
    std::string m_text;
};

TEST_F(CommandTree, HasCommandsWithTheirPathsInTheOrderOfTheirMaking)
{
    CLI::App* const group = m_program.add_subcommand("zoo", "A group");
    group->add_subcommand("lion", "A command");
    m_program.add_subcommand("ant", "Another one");
    const CommandNode program = ReadCommands(m_program);
    std::vector<std::string> paths;
    for (const CommandNode* command : AllCommands(program)) {
        paths.push_back(PathText(*command) + "/" + PathInProgram(*command) + "/" + command->description);
    }
    EXPECT_THAT(paths, ElementsAre("program//What it does", "program zoo/zoo/A group",
                                   "program zoo lion/zoo lion/A command", "program ant/ant/Another one"));
}

TEST_F(CommandTree, LeavesOutWhatIsHidden)
{
    m_program.add_subcommand("seen", "");
    m_program.add_subcommand("hidden", "")->group("");
    m_program.add_option("--hidden", m_text)->group("");
    const CommandNode program = ReadCommands(m_program);
    ASSERT_EQ(program.commands.size(), 1U);
    EXPECT_EQ(program.commands.front().path.back(), "seen");
    ASSERT_EQ(program.options.size(), 1U);
    EXPECT_THAT(program.options.front().names, ElementsAre("-h", "--help"));
}

TEST_F(CommandTree, KnowsFlagsByTheirLackOfAValue)
{
    bool flag = false;
    m_program.add_flag("-f,--flag", flag, "A flag");
    const CommandArgument option = Option();
    EXPECT_EQ(option.value, EValue::eNone);
    EXPECT_EQ(option.label, "");
    EXPECT_EQ(option.description, "A flag");
    EXPECT_THAT(option.names, ElementsAre("-f", "--flag"));
}

TEST_F(CommandTree, ReadsChoicesFromListsAndFromKeysOfMaps)
{
    m_program.add_option("--list", m_text)->check(CLI::IsMember({"one", "two"}))->default_str("two");
    EXPECT_EQ(Option().value, EValue::eChoice);
    EXPECT_THAT(Option().choices, ElementsAre("one", "two"));
    EXPECT_EQ(Option().usual, "two");
    EXPECT_EQ(Option().range, "");
    const std::map<std::string, int> map{{"a", 1}, {"b", 2}};
    m_program.add_option("--map", m_text)->check(CLI::IsMember(map));
    EXPECT_THAT(Option().choices, ElementsAre("a", "b"));
}

TEST_F(CommandTree, TellsTheRangeOfANumber)
{
    std::optional<double> number;
    m_program.add_option("--number", number)->check(CLI::Validator("in [0 - 1]"));
    EXPECT_EQ(Option().value, EValue::eOther);
    EXPECT_EQ(Option().label, "NUMBER");
    EXPECT_EQ(Option().range, "in [0 - 1]");
    EXPECT_THAT(Option().choices, IsEmpty());
}

TEST_F(CommandTree, KnowsPathsByTheirTypeNames)
{
    std::filesystem::path path;
    m_program.add_option("--text", path);
    EXPECT_EQ(Option().value, EValue::eOther);
    EXPECT_EQ(Option().label, "VALUE");
    m_program.add_option("--file", path)->type_name(kFileType);
    EXPECT_EQ(Option().value, EValue::eFile);
    EXPECT_EQ(Option().label, "FILE");
    m_program.add_option("--folder", path)->type_name(kFolderType);
    EXPECT_EQ(Option().value, EValue::eFolder);
}

TEST_F(CommandTree, KeepsPositionalsApartFromOptions)
{
    std::vector<std::string> more;
    m_program.add_option("IMAGE", m_text)->required();
    m_program.add_option("MORE", more);
    const CommandNode program = ReadCommands(m_program);
    ASSERT_EQ(program.positionals.size(), 2U);
    EXPECT_EQ(program.positionals[0].label, "IMAGE");
    EXPECT_TRUE(program.positionals[0].isRequired);
    EXPECT_FALSE(program.positionals[0].repeats);
    EXPECT_THAT(program.positionals[0].names, IsEmpty());
    EXPECT_FALSE(program.positionals[1].isRequired);
    EXPECT_TRUE(program.positionals[1].repeats);
    EXPECT_EQ(program.options.size(), 1U);
}

TEST_F(CommandTree, TellsWhatAnOptionNeedsAndExcludesByName)
{
    CLI::Option* const b = m_program.add_option("--b", m_text);
    CLI::Option* const a = m_program.add_option("--a", m_text);
    m_program.add_option("--c", m_text)->needs(b)->needs(a);
    EXPECT_THAT(Option().needs, ElementsAre("--a", "--b"));
    m_program.add_option("--d", m_text)->excludes(b)->excludes(a);
    EXPECT_THAT(Option().excludes, ElementsAre("--a", "--b"));
}

} // namespace
} // namespace app

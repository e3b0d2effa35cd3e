#include "scanner/app/completion.h"

#include "tests/scanner/commandrun.h"
#include "tests/support/shell.h"
#include "tests/support/temporaryfolder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace app {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using TestSupport::HasProgram;
using TestSupport::Lines;
using TestSupport::Quoted;
using TestSupport::RunShell;
using TestSupport::WriteFile;

using Words = std::vector<std::string>;

/// A script in a file, in a folder that is home, too, for shells that write there.
class Completion : public ::testing::Test
{
protected:
    std::string WriteScript(const std::string& script) const
    {
        WriteFile(m_folder / "script", script);
        return m_folder / "script";
    }

    /// What bash offers for the last of the words behind the program's name, sorted.
    Words Bash(const Words& words, const std::string& script = RunCommand({"completion", "bash"})) const
    {
        std::string line = "source " + Quoted(WriteScript(script)) + "\nCOMP_WORDS=(lumorad";
        for (const std::string& word : words) {
            line += " " + Quoted(word);
        }
        line += ")\nCOMP_CWORD=" + std::to_string(words.size()) + "\n_lumorad\n" +
                "((${#COMPREPLY[@]} == 0)) || printf '%s\\n' \"${COMPREPLY[@]}\"\n";
        WriteFile(m_folder / "line", line);
        Words offered = Lines(RunShell("bash --norc " + Quoted(m_folder / "line")));
        std::sort(offered.begin(), offered.end());
        return offered;
    }

    /// What fish offers for the end of a command line, with descriptions behind tabs, sorted.
    Words Fish(const std::string& line, const std::string& script = RunCommand({"completion", "fish"})) const
    {
        const std::string command = "source " + WriteScript(script) + "; complete -C " + Quoted(line);
        Words offered =
            Lines(RunShell("HOME=" + m_folder.GetPath().string() +
                           " XDG_CONFIG_HOME= XDG_DATA_HOME= fish --no-config -c " + Quoted(command)));
        std::sort(offered.begin(), offered.end());
        return offered;
    }

    TestSupport::CTemporaryFolder m_folder;
};

/// The words before the descriptions.
Words FirstFields(const Words& lines)
{
    Words fields;
    for (const std::string& line : lines) {
        fields.push_back(line.substr(0, line.find('\t')));
    }
    return fields;
}

/// The first words of the lines of a help text behind a heading, up to an empty line.
Words Listed(const std::string& help, const std::string& heading)
{
    Words listed;
    bool isBehind = false;
    for (const std::string& line : Lines(help)) {
        std::istringstream words(line);
        std::string word;
        words >> word;
        if (isBehind && line.starts_with("  ") && !line.starts_with("   ")) {
            listed.push_back(word);
        }
        isBehind = isBehind ? !line.empty() : line == heading;
    }
    std::sort(listed.begin(), listed.end());
    return listed;
}

/// The names of options in a list such as "-o,--out".
void Split(const std::string& names, std::set<std::string>& to)
{
    std::istringstream list(names);
    for (std::string name; std::getline(list, name, ',');) {
        to.insert(name);
    }
}

/// The commands with the words that lead to them, as the help texts tell them.
void CollectCommands(const Words& path, std::vector<Words>& all)
{
    all.push_back(path);
    Words help = path;
    help.emplace_back("--help");
    for (const std::string& name : Listed(RunCommand(help), "Subcommands:")) {
        Words child = path;
        child.push_back(name);
        CollectCommands(child, all);
    }
}

std::vector<Words> Commands()
{
    std::vector<Words> all;
    CollectCommands({}, all);
    return all;
}

Words With(Words words, const std::string& last)
{
    words.push_back(last);
    return words;
}

TEST_F(Completion, BashOffersTheCommandsThatTheHelpTells)
{
    const Words offered = Bash({""});
    EXPECT_EQ(offered, Listed(RunCommand({"--help"}), "Subcommands:"));
    EXPECT_THAT(offered, Contains("demo"));
    EXPECT_THAT(offered, Contains("completion"));
    EXPECT_THAT(offered, Not(Contains("manual"))) << "it is hidden";
}

TEST_F(Completion, BashOffersEachCommandsOptionsThatTheHelpTells)
{
    const std::vector<Words> commands = Commands();
    EXPECT_GE(commands.size(), 20U);
    for (const Words& command : commands) {
        std::set<std::string> told;
        for (const std::string& names : Listed(RunCommand(With(command, "--help")), "Options:")) {
            Split(names, told);
        }
        const Words offered = Bash(With(command, "-"));
        EXPECT_EQ(std::set<std::string>(offered.begin(), offered.end()), told)
            << ::testing::PrintToString(command);
    }
}

TEST_F(Completion, BashCompletesWhatIsBegun)
{
    EXPECT_THAT(Bash({"target", "slide-"}), ElementsAre("slide-accuracy", "slide-locate"));
    EXPECT_THAT(Bash({"calib"}), ElementsAre("calibrate-check"));
    EXPECT_THAT(Bash({"demo", "--s"}), ElementsAre("--scale", "--scene", "--seed", "--source"));
    EXPECT_THAT(Bash({"nonsense"}), IsEmpty());
}

TEST_F(Completion, BashOffersTheValuesThatAnOptionIsCheckedAgainst)
{
    EXPECT_THAT(Bash({"demo", "--scene", ""}), ElementsAre("molar", "plane", "sphere", "step", "tilted"));
    EXPECT_THAT(Bash({"demo", "--scene", "s"}), ElementsAre("sphere", "step"));
    EXPECT_THAT(Bash({"target", "slide-locate", "--slide", ""}), ElementsAre("a2", "c"));
    EXPECT_THAT(Bash({"completion", ""}), ElementsAre("bash", "fish", "zsh"));
    EXPECT_THAT(Bash({"model", "convert", "in", "--json", "--to", "t"}), ElementsAre("text"));
}

TEST_F(Completion, BashOffersValuesBehindASignOfEquality)
{
    EXPECT_THAT(Bash({"demo", "--scene", "=", "st"}), ElementsAre("step"));
    EXPECT_THAT(Bash({"demo", "--scene", "="}), ElementsAre("molar", "plane", "sphere", "step", "tilted"));
    EXPECT_THAT(Bash({"demo", "--scene", "=", "step", "--exa"}), ElementsAre("--exact"));
}

TEST_F(Completion, BashOffersNothingForNumbers)
{
    EXPECT_THAT(Bash({"demo", "--seed", ""}), IsEmpty());
    EXPECT_THAT(Bash({"demo", "--noise", "1"}), IsEmpty());
}

TEST_F(Completion, BashTakesNoValueForACommand)
{
    EXPECT_THAT(Bash({"demo", "--out", "target", "--exa"}), ElementsAre("--exact"));
    EXPECT_THAT(Bash({"target", "locate", "accuracy", "--ed"}), ElementsAre("--edges"));
    EXPECT_THAT(Bash({"demo", "--seed", "-1", "--exa"}), ElementsAre("--exact"));
}

TEST_F(Completion, BashOffersFilesAndFoldersWhereTheyBelong)
{
    WriteFile(m_folder / "begun file.stl", "");
    std::filesystem::create_directory(m_folder / "begun folder");
    const std::string begun = m_folder / "begun";
    EXPECT_THAT(Bash({"demo", "--mesh", begun}), ElementsAre(begun + " file.stl", begun + " folder"));
    EXPECT_THAT(Bash({"demo", "--out", begun}), ElementsAre(begun + " folder"));
    EXPECT_THAT(Bash({"target", "locate", begun}), ElementsAre(begun + " file.stl", begun + " folder"));
    EXPECT_THAT(Bash({"target", "install", begun}), IsEmpty()) << "a number";
}

TEST_F(Completion, BashOffersOptionsWhereNoMoreArgumentsStand)
{
    EXPECT_THAT(Bash({"target", "pack", "text", "archive", ""}), Contains("--help"));
    EXPECT_THAT(Bash({"demo", ""}), Contains("--scene"));
}

TEST_F(Completion, BashOffersFilesForEveryPlaceOfArgumentsThatRepeat)
{
    CommandArgument file;
    file.label = "FILE";
    file.value = EValue::eFile;
    file.repeats = true;
    const CommandNode program{{"lumorad"}, "", {}, {file}, {}};
    const std::string begun = m_folder / "li";
    for (std::size_t count = 0; count < 12; ++count) {
        EXPECT_THAT(Bash(With(Words(count, "x"), begun), BashCompletion(program)),
                    ElementsAre(m_folder / "line"))
            << count;
    }
}

/// Every option that leads to a file or folder by its name says so, or shells would offer nothing.
TEST_F(Completion, PathsAreKnownAsSuch)
{
    const std::set<std::string> paths{"--out",    "--model", "--mesh",  "--archive",
                                      "--folder", "--edges", "--report"};
    for (const Words& command : Commands()) {
        const Words options = Bash(With(command, "--"));
        for (const std::string& option : options) {
            if (paths.contains(option)) {
                EXPECT_THAT(Bash(With(With(command, option), "/us")), ElementsAre("/usr"))
                    << ::testing::PrintToString(command) << " " << option;
            }
        }
    }
}

/// A command whose texts hold what shells take for their own.
CommandNode HardProgram()
{
    CommandArgument option;
    option.names = {"-x", "--hard"};
    option.label = "it:s";
    option.description = "It's [a] \"hard\": $one \\ `two` (three)";
    option.value = EValue::eChoice;
    option.choices = {"one", "two"};
    CommandNode child{{"lumorad", "child"}, "The child's: [it] \\ $is", {option}, {}, {}};
    return {{"lumorad"}, "All", {}, {}, {child}};
}

TEST_F(Completion, FishOffersCommandsOptionsAndValues)
{
    if (!HasProgram("fish")) {
        GTEST_SKIP() << "needs fish";
    }
    EXPECT_EQ(FirstFields(Fish("lumorad ")), Bash({""}));
    EXPECT_THAT(Fish("lumorad target lo"),
                ElementsAre("locate\tFind the corners of a checkerboard target in an image"));
    EXPECT_THAT(FirstFields(Fish("lumorad demo --s")),
                ElementsAre("--scale", "--scene", "--seed", "--source"));
    EXPECT_THAT(FirstFields(Fish("lumorad demo --scene=s")), ElementsAre("--scene=sphere", "--scene=step"));
    EXPECT_THAT(FirstFields(Fish("lumorad demo --scene s")), ElementsAre("sphere", "step"));
    EXPECT_THAT(FirstFields(Fish("lumorad completion ")), ElementsAre("bash", "fish", "zsh"));
    EXPECT_THAT(FirstFields(Fish("lumorad target locate accuracy --e")), ElementsAre("--edges"));
    WriteFile(m_folder / "begun.txt", "");
    const std::string begun = m_folder / "begun";
    EXPECT_THAT(FirstFields(Fish("lumorad model show " + begun)), ElementsAre(begun + ".txt"));
    EXPECT_THAT(FirstFields(Fish("lumorad demo " + begun)), IsEmpty());
}

TEST_F(Completion, FishTellsHardDescriptionsAsTheyAre)
{
    if (!HasProgram("fish")) {
        GTEST_SKIP() << "needs fish";
    }
    const CommandNode program = HardProgram();
    EXPECT_THAT(Fish("lumorad ch", FishCompletion(program)),
                ElementsAre("child\t" + program.commands.front().description));
    EXPECT_THAT(Fish("lumorad child --h", FishCompletion(program)),
                ElementsAre("--hard\t" + program.commands.front().options.front().description));
    EXPECT_THAT(FirstFields(Fish("lumorad child -x ", FishCompletion(program))), ElementsAre("one", "two"));
}

TEST_F(Completion, FishScriptHasARuleForEachCommandOptionAndValue)
{
    const std::string script = FishCompletion(HardProgram());
    EXPECT_THAT(
        script,
        HasSubstr("complete -c lumorad -n '__lumorad_at' -a 'child' -d 'The child\\'s: [it] \\\\ $is'\n"));
    EXPECT_THAT(script,
                HasSubstr("complete -c lumorad -n '__lumorad_within child' -s x -l hard -x -a 'one two' "
                          "-d 'It\\'s [a] \"hard\": $one \\\\ `two` (three)'\n"));
}

TEST_F(Completion, ZshScriptIsWithoutErrors)
{
    if (!HasProgram("zsh")) {
        GTEST_SKIP() << "needs zsh";
    }
    for (const std::string& script : {RunCommand({"completion", "zsh"}), ZshCompletion(HardProgram())}) {
        EXPECT_EQ(RunShell("zsh -f -n " + Quoted(WriteScript(script))), "");
    }
}

/// `_arguments` and `_describe` as zsh runs them print what they are given.
TEST_F(Completion, ZshTellsItsOwnFunctionsEachCommandOptionAndValue)
{
    if (!HasProgram("zsh")) {
        GTEST_SKIP() << "needs zsh";
    }
    const std::string stubs = "compdef() { print -rl -- registered $@ }\n_arguments() { print -rl -- $@ }\n";
    const std::string script = "source " + Quoted(WriteScript(ZshCompletion(HardProgram())));
    const Words printed =
        Lines(RunShell("zsh -f -c " + Quoted(stubs + script + "\n_lumorad_child\n_lumorad\n")));
    EXPECT_THAT(printed,
                ElementsAre("registered", "_lumorad", "lumorad",
                            "(-x --hard)-x[It's \\[a\\] \"hard\": $one \\\\ `two` (three)]:it\\:s:(one two)",
                            "(-x --hard)--hard=[It's \\[a\\] \"hard\": $one \\\\ `two` (three)]:it\\:s:(one "
                            "two)",
                            "-C", "1:command:->command", "*::argument:->argument"));
}

/// An option that is given twice is offered again where `_arguments` finds an asterisk and no names that it excludes.
TEST_F(Completion, ZshOffersAgainWhatMayBeGivenAgain)
{
    const std::string script = RunCommand({"completion", "zsh"});
    const std::size_t begin = script.find("\n_lumorad_scan() {\n");
    ASSERT_NE(begin, std::string::npos);
    const std::string scan = script.substr(begin, script.find("\n}\n", begin) - begin);
    EXPECT_THAT(scan, HasSubstr("\n        '*-o[File to write, "));
    EXPECT_THAT(scan, HasSubstr("\n        '*--out=[File to write, "));
    EXPECT_THAT(scan, HasSubstr("\n        '--report=["));
    EXPECT_THAT(scan, HasSubstr("\n        '(-h --help)-h["));
}

TEST_F(Completion, ZshScriptHasAFunctionForEachCommand)
{
    const std::string script = RunCommand({"completion", "zsh"});
    EXPECT_TRUE(script.starts_with("#compdef lumorad\n"));
    for (const Words& command : Commands()) {
        std::string name = "_lumorad";
        for (const std::string& word : command) {
            name += "_" + word;
        }
        EXPECT_THAT(script, HasSubstr("\n" + name + "() {\n"));
    }
}

TEST_F(Completion, RefusesOtherShells)
{
    EXPECT_THAT(RunCommand({"completion", "csh"}), HasSubstr("csh not in {bash,fish,zsh}"));
    EXPECT_THAT(RunCommand({"completion"}), HasSubstr("SHELL is required"));
}

} // namespace
} // namespace app

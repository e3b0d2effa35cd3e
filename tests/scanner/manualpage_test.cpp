#include "scanner/app/manualpage.h"

#include "tests/scanner/commandrun.h"
#include "tests/support/shell.h"
#include "tests/support/temporaryfolder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

namespace app {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using TestSupport::HasProgram;
using TestSupport::Quoted;
using TestSupport::ReadFile;
using TestSupport::RunShell;
using TestSupport::WriteFile;

/// The page as a terminal without fonts shows it, in lines of any length.
std::string Rendered(const std::string& page)
{
    const TestSupport::CTemporaryFolder folder;
    WriteFile(folder / "page.1", page);
    return RunShell("groff -man -ww -Tascii -rLL=1000n -P-cbou " + Quoted(folder / "page.1"));
}

TEST(ManualPage, IsThatOfTheTree)
{
    // Compared without printing both, which are long.
    const bool isTheSame = ReadFile(LXCV_SOURCE_DIR "/docs/lumorad.1") == RunCommand({"manual"});
    EXPECT_TRUE(isTheSame) << "docs/lumorad.1 is not the page of these commands; make it anew by\n"
                              "    build/dev/bin/lumorad manual > docs/lumorad.1";
}

TEST(ManualPage, IsPlainAsciiInLinesWithoutSpacesAtTheirEnds)
{
    const std::string page = RunCommand({"manual"});
    EXPECT_TRUE(std::all_of(page.begin(), page.end(), [](char character) {
        return character == '\n' || (character >= ' ' && character <= '~');
    }));
    EXPECT_THAT(page, Not(HasSubstr(" \n")));
    EXPECT_THAT(page, Not(HasSubstr("\n\n")));
}

TEST(ManualPage, IsFormattedWithoutWarnings)
{
    if (!HasProgram("groff")) {
        GTEST_SKIP() << "needs groff";
    }
    EXPECT_EQ(RunShell("groff -man -ww -Tutf8 " LXCV_SOURCE_DIR "/docs/lumorad.1 >/dev/null"), "");
    EXPECT_EQ(RunShell("groff -man -ww -Tascii " LXCV_SOURCE_DIR "/docs/lumorad.1 >/dev/null"), "");
}

TEST(ManualPage, HasEachPartOfAManual)
{
    const std::string page = RunCommand({"manual"});
    std::size_t last = 0;
    for (const char* heading : {"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "COMMANDS", "EXIT STATUS",
                                "ENVIRONMENT", "FILES", "EXAMPLES"}) {
        const std::size_t at = page.find("\n.SH " + std::string(heading) + "\n");
        EXPECT_NE(at, std::string::npos) << heading;
        EXPECT_GT(at, last) << heading;
        last = at;
    }
}

/// A command that uses everything a command can have.
CommandNode FullProgram()
{
    CommandArgument help;
    help.names = {"-h", "--help"};
    help.description = "Print this help message and exit";
    CommandArgument choice;
    choice.names = {"-c", "--choice"};
    choice.label = "VALUE";
    choice.description = ".dots and \\back\\slashes, it's a \"`quote`\" ^ ~ - of -- all";
    choice.value = EValue::eChoice;
    choice.choices = {"one", "two-three"};
    choice.usual = "one";
    choice.excludes = {"--number", "--other"};
    CommandArgument number;
    number.names = {"--number"};
    number.label = "NUMBER";
    number.description = "A number";
    number.range = "in [0 - 1]";
    number.isRequired = true;
    number.needs = {"--a", "--b"};
    CommandArgument image;
    image.label = "IMAGE";
    image.description = "The image";
    image.isRequired = true;
    CommandArgument more;
    more.label = "MORE";
    more.repeats = true;
    const CommandNode child{{"tool", "do-it"}, "Does it", {help, choice, number}, {image, more}, {}};
    return {{"tool"}, "a tool", {help}, {}, {child}};
}

TEST(ManualPage, TellsAllOfACommandAsItStands)
{
    if (!HasProgram("groff")) {
        GTEST_SKIP() << "needs groff";
    }
    const std::string page = Rendered(ManualPage(FullProgram()));
    EXPECT_THAT(page, HasSubstr("TOOL(1)"));
    EXPECT_THAT(page, HasSubstr("tool - a tool\n"));
    EXPECT_THAT(page, HasSubstr("tool do-it --number NUMBER [options] IMAGE [MORE ...]\n"));
    EXPECT_THAT(page, HasSubstr("Does it.\n"));
    EXPECT_THAT(page, HasSubstr(".dots and \\back\\slashes, it's a \"`quote`\" ^ ~ - of -- all."));
    EXPECT_THAT(page, HasSubstr("-c, --choice VALUE\n"));
    EXPECT_THAT(page,
                HasSubstr("One of one, two-three.  Without it one.  Does not go with --number or --other."));
    EXPECT_THAT(page, HasSubstr("A number.  A value in [0 - 1].  Needs --a and --b."));
    EXPECT_THAT(page, HasSubstr("-h, --help\n"));
    EXPECT_EQ(page.find("--help"), page.rfind("--help")) << "told once for all commands";
}

} // namespace
} // namespace app

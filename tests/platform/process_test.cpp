#include "orx/platform/process.h"

#include "tests/support/temporaryfolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace platform {
namespace {

using testing::ElementsAre;
using TestSupport::CTemporaryFolder;
using TestSupport::ReadFile;

constexpr int kLongMs = 20000; // far beyond what any of the programs takes

/// Runs a shell command to its end.
void RunShell(const std::string& command, const std::string& folder = {})
{
    DetachedProcess process;
    ASSERT_EQ(process.Start("/bin/sh", {"sh", "-c", command}, folder), 0);
    ASSERT_FALSE(process.IsRunning(kLongMs));
}

TEST(SplitCommandLine, SeparatesAtSpacesAndTabs)
{
    EXPECT_THAT(SplitCommandLine(""), ElementsAre());
    EXPECT_THAT(SplitCommandLine(" \t "), ElementsAre());
    EXPECT_THAT(SplitCommandLine("  program\t a  b "), ElementsAre("program", "a", "b"));
}

TEST(SplitCommandLine, KeepsQuotedPiecesTogether)
{
    EXPECT_THAT(SplitCommandLine("\"C:\\my programs\\p\" \"a b\" c\"d e\"f"),
                ElementsAre("C:\\my programs\\p", "a b", "cd ef"));
    EXPECT_THAT(SplitCommandLine("p \"\" x"), ElementsAre("p", "", "x"));
    EXPECT_THAT(SplitCommandLine("p \"open end"), ElementsAre("p", "open end"));
}

// The table that documents the rules for Win32 programs.
TEST(SplitCommandLine, CountsBackslashesBeforeQuotes)
{
    EXPECT_THAT(SplitCommandLine(R"(p "abc" d e)"), ElementsAre("p", "abc", "d", "e"));
    EXPECT_THAT(SplitCommandLine(R"(p a\\b d"e f"g h)"), ElementsAre("p", R"(a\\b)", "de fg", "h"));
    EXPECT_THAT(SplitCommandLine(R"(p a\\\"b c d)"), ElementsAre("p", R"(a\"b)", "c", "d"));
    EXPECT_THAT(SplitCommandLine(R"(p a\\\\"b c" d e)"), ElementsAre("p", R"(a\\b c)", "d", "e"));
    EXPECT_THAT(SplitCommandLine(R"(p a"b"" c d)"), ElementsAre("p", R"(ab" c d)"));
    EXPECT_THAT(SplitCommandLine(R"(p a\ \)"), ElementsAre("p", "a\\", "\\"));
}

TEST(SplitCommandLine, TakesBackslashesOfTheProgramLiterally)
{
    EXPECT_THAT(SplitCommandLine(R"("a\" b)"), ElementsAre("a\\", "b"));
}

TEST(DetachedProcess, EndsAndIsNoChildOfThisProcess)
{
    DetachedProcess process;
    ASSERT_EQ(process.Start("/bin/sh", {"sh", "-c", "exit 3"}, ""), 0);
    EXPECT_FALSE(process.IsRunning(kLongMs));
    errno = 0;
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(DetachedProcess, TellsWhyItDidNotStart)
{
    const CTemporaryFolder folder;
    TestSupport::WriteFile(folder / "text", "no program");
    DetachedProcess process;
    EXPECT_EQ(process.Start(folder / "absent", {}, ""), ENOENT);
    EXPECT_EQ(process.Start(folder / "text", {}, ""), EACCES);
    EXPECT_EQ(process.Start("/bin/true", {}, folder / "absent"), ENOENT);
    EXPECT_EQ(process.Start("", {}, ""), ENOENT);
    EXPECT_EQ(process.Start("", {"surely-no-such-program"}, ""), ENOENT);
    EXPECT_FALSE(process.IsRunning(0));
}

TEST(DetachedProcess, SearchesPathForTheFirstArgument)
{
    DetachedProcess process;
    EXPECT_EQ(process.Start("", {"true"}, ""), 0);
    EXPECT_FALSE(process.IsRunning(kLongMs));
}

TEST(DetachedProcess, RunsInTheWorkingFolderWithEitherSeparator)
{
    const CTemporaryFolder folder;
    std::filesystem::create_directory(folder / "sub");
    RunShell("pwd -P > out", (folder.GetPath().string() + "\\sub"));
    EXPECT_EQ(ReadFile(folder / "sub/out"), std::filesystem::canonical(folder / "sub").string() + "\n");
}

TEST(DetachedProcess, TakesARelativeProgramFromTheFolderOfThisProcess)
{
    const CTemporaryFolder folder;
    DetachedProcess process;
    const std::string relative = std::filesystem::relative("/bin/true").string();
    ASSERT_EQ(process.Start(relative, {}, folder.GetPath().string()), 0) << relative;
    EXPECT_FALSE(process.IsRunning(kLongMs));
}

TEST(DetachedProcess, InheritsNoFileAndNoStandardStream)
{
    const CTemporaryFolder folder;
    constexpr int number = 77;
    const int file =
        open((folder / "mine").c_str(), O_CREAT | O_RDWR, 0600); // NOLINT: inheritable on purpose
    ASSERT_GE(dup2(file, number), 0);
    RunShell("ls -l /proc/$$/fd > out; cat", folder.GetPath().string());
    close(number);
    close(file);
    const std::string files = ReadFile(folder / "out");
    EXPECT_THAT(files, testing::HasSubstr(" 0 -> /dev/null"));
    EXPECT_THAT(files, testing::HasSubstr(" 2 -> /dev/null"));
    EXPECT_THAT(files, testing::Not(testing::HasSubstr("mine"))) << files;
    EXPECT_THAT(files, testing::Not(testing::HasSubstr("pipe"))) << files;
}

TEST(DetachedProcess, PassesArgumentsUnchanged)
{
    const CTemporaryFolder folder;
    DetachedProcess process;
    ASSERT_EQ(
        process.Start("/bin/sh",
                      {"sh", "-c", "printf '%s|' \"$@\" > out", "zero", "a b", "", "\"\\", "\xC3\xA4$HOME"},
                      folder.GetPath().string()),
        0);
    ASSERT_FALSE(process.IsRunning(kLongMs));
    EXPECT_EQ(ReadFile(folder / "out"), "a b||\"\\|\xC3\xA4$HOME|");
}

TEST(DetachedProcess, HandsOverTheWatchWhenMoved)
{
    DetachedProcess first;
    ASSERT_EQ(first.Start("/bin/sleep", {"sleep", "0.3"}, ""), 0);
    DetachedProcess second(std::move(first));
    EXPECT_FALSE(first.IsRunning(0)); // NOLINT: a moved-from watch is empty
    EXPECT_TRUE(second.IsRunning(0));
    first = std::move(second);
    EXPECT_FALSE(first.IsRunning(kLongMs));
}

} // namespace
} // namespace platform

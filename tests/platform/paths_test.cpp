#include "orx/platform/paths.h"

#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace platform {
namespace {

using TestSupport::CEnvironmentVariable;
using TestSupport::CTemporaryFolder;

TEST(NativePath, TakesBothSeparators)
{
    EXPECT_EQ(NativePath("/a\\b/c\\d.txt").string(), "/a/b/c/d.txt");
    EXPECT_EQ(NativePath(L"a\\b/c").string(), "a/b/c");
    EXPECT_EQ(NativePath("").string(), "");
}

TEST(NativePath, KeepsNarrowBytesAndEncodesWideTextAsUtf8)
{
    EXPECT_EQ(NativePath("\xE4\xFF.txt").string(), "\xE4\xFF.txt"); // no UTF-8
    EXPECT_EQ(NativePath(L"\u00E4\u20AC").string(), "\xC3\xA4\xE2\x82\xAC");
}

TEST(NativePath, EndsAtTheFirstNul)
{
    EXPECT_EQ(NativePath(std::string_view("a.txt\0.exe", 10)).string(), "a.txt");
    EXPECT_EQ(NativePath(std::wstring_view(L"a.txt\0.exe", 10)).string(), "a.txt");
}

TEST(PathTexts, AreTakenApartAtTheLastSeparatorOfEitherKind)
{
    struct
    {
        std::string path, folder, name;
    } const cases[] = {
        {"/a/b.txt", "/a", "b.txt"},
        {"a\\b/c", "a\\b", "c"},
        {"a/b\\c", "a/b", "c"},
        {"name", "", "name"},
        {"/name", "/", "name"},
        {"\\name", "\\", "name"},
        {"a//b", "a", "b"},
        {"a/", "a", ""},
        {"", "", ""},
        {"/", "/", ""},
        {"//", "/", ""},
    };
    for (const auto& [path, folder, name] : cases) {
        const std::wstring wide(path.begin(), path.end());
        EXPECT_EQ(FolderOf(std::string_view(path)), folder) << path;
        EXPECT_EQ(FileNameOf(std::string_view(path)), name) << path;
        EXPECT_EQ(FolderOf(std::wstring_view(wide)), std::wstring(folder.begin(), folder.end())) << path;
        EXPECT_EQ(FileNameOf(std::wstring_view(wide)), std::wstring(name.begin(), name.end())) << path;
    }
}

TEST(GetExecutablePath, NamesTheRunningFile)
{
    EXPECT_TRUE(std::filesystem::equivalent(GetExecutablePath(), "/proc/self/exe"));
}

TEST(GetProgramDataDir, IsTheEnvironmentVariableWhereSet)
{
    const CEnvironmentVariable variable("PROGRAMDATA", "/some\\folder");
    EXPECT_EQ(GetProgramDataDir("/nonexistent/machine"), "/some\\folder");
}

TEST(GetProgramDataDir, IsTheMachineWideFolderWithoutTheVariable)
{
    const CTemporaryFolder folder;
    CEnvironmentVariable variable("PROGRAMDATA", std::nullopt);
    EXPECT_EQ(GetProgramDataDir(folder / "machine"), folder / "machine");
    EXPECT_TRUE(std::filesystem::is_directory(folder / "machine"));
    variable.Set("");
    EXPECT_EQ(GetProgramDataDir(folder / "machine"), folder / "machine");
}

TEST(GetProgramDataDir, IsTheUsersWhereTheMachineWideFolderIsNotUsable)
{
    const CTemporaryFolder folder;
    TestSupport::WriteFile(folder / "file", "");
    const CEnvironmentVariable variable("PROGRAMDATA", std::nullopt);
    const CEnvironmentVariable home("HOME", "/home/somebody");
    CEnvironmentVariable data("XDG_DATA_HOME", "/data");
    EXPECT_EQ(GetProgramDataDir(folder / "file"), "/data/lxcvlib");
    EXPECT_EQ(GetProgramDataDir(folder / "file/machine"), "/data/lxcvlib");
    data.Set(std::nullopt);
    EXPECT_EQ(GetProgramDataDir(folder / "file/machine"), "/home/somebody/.local/share/lxcvlib");
}

TEST(GetProgramDataDir, AsksTheUserDatabaseWithoutHome)
{
    const CEnvironmentVariable variable("PROGRAMDATA", std::nullopt);
    const CEnvironmentVariable home("HOME", std::nullopt);
    const CEnvironmentVariable data("XDG_DATA_HOME", std::nullopt);
    const std::string dir = GetProgramDataDir("/nonexistent/machine");
    EXPECT_TRUE(dir == "/nonexistent/machine" || dir.ends_with("/.local/share/lxcvlib")) << dir;
}

} // namespace
} // namespace platform

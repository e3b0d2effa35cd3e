#include "orx/platform/replacefile.h"

#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <vector>

namespace platform {
namespace {

using TestSupport::ReadFile;
using TestSupport::WriteFile;

std::span<const std::byte> BytesOf(const std::string& text)
{
    return std::as_bytes(std::span(text));
}

class ReplaceFileTest : public testing::Test
{
protected:
    std::ptrdiff_t CountFiles() const
    {
        const std::filesystem::directory_iterator files(m_Folder.GetPath());
        return std::distance(begin(files), end(files));
    }

    TestSupport::CTemporaryFolder m_Folder;
    const std::string m_file = m_Folder / "file";
};

TEST_F(ReplaceFileTest, MakesAFile)
{
    EXPECT_EQ(ReplaceFile(m_file, BytesOf(std::string("a\0b", 3))), std::error_code());
    EXPECT_EQ(ReadFile(m_file), std::string("a\0b", 3));
    EXPECT_EQ(CountFiles(), 1);
}

TEST_F(ReplaceFileTest, LeavesNothingOfALongerContent)
{
    WriteFile(m_file, "a long content");
    EXPECT_EQ(ReplaceFile(m_file, BytesOf("short")), std::error_code());
    EXPECT_EQ(ReadFile(m_file), "short");
    EXPECT_EQ(ReplaceFile(m_file, {}), std::error_code());
    EXPECT_EQ(ReadFile(m_file), "");
    EXPECT_EQ(CountFiles(), 1);
}

TEST_F(ReplaceFileTest, GivesTheFileTheRightsThatTheMaskLeaves)
{
    const mode_t mask = umask(027);
    EXPECT_EQ(ReplaceFile(m_file, {}), std::error_code());
    EXPECT_EQ(ReplaceFile(m_Folder / "own", {}, 0600), std::error_code());
    umask(mask);
    EXPECT_EQ(std::filesystem::status(m_file).permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(std::filesystem::status(m_Folder / "own").permissions(), std::filesystem::perms(0600));
}

TEST_F(ReplaceFileTest, ReplacesTheFileThatALinkLeadsTo)
{
    std::filesystem::create_directory(m_Folder / "folder");
    WriteFile(m_Folder / "folder/real", "old");
    std::filesystem::create_symlink("folder/real", m_file);
    EXPECT_EQ(ReplaceFile(m_file, BytesOf("new")), std::error_code());
    EXPECT_TRUE(std::filesystem::is_symlink(m_file));
    EXPECT_EQ(ReadFile(m_Folder / "folder/real"), "new");
}

TEST_F(ReplaceFileTest, RefusesWhatIsNoRegularFile)
{
    std::filesystem::create_directory(m_file);
    EXPECT_EQ(ReplaceFile(m_file, {}), std::errc::invalid_argument);
    ASSERT_EQ(mkfifo((m_Folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(ReplaceFile(m_Folder / "pipe", {}), std::errc::invalid_argument);
    EXPECT_EQ(ReplaceFile("/dev/null", {}), std::errc::invalid_argument);
    EXPECT_EQ(CountFiles(), 2);
}

TEST_F(ReplaceFileTest, TellsAFolderThatIsNotThere)
{
    EXPECT_EQ(ReplaceFile(m_Folder / "none/file", {}), std::errc::no_such_file_or_directory);
    EXPECT_EQ(ReplaceFile("", {}), std::errc::no_such_file_or_directory);
    WriteFile(m_file, "");
    EXPECT_EQ(ReplaceFile(m_Folder / "file/file", {}), std::errc::not_a_directory);
}

TEST_F(ReplaceFileTest, LeavesTheContentOfOneOfSeveralWriters)
{
    std::vector<std::thread> writers;
    for (const char letter : {'a', 'b', 'c'}) {
        writers.emplace_back([this, letter] {
            for (int i = 0; i < 10; ++i) {
                EXPECT_EQ(ReplaceFile(m_file, BytesOf(std::string(1000, letter))), std::error_code());
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    const std::string content = ReadFile(m_file);
    EXPECT_EQ(content, std::string(1000, content.empty() ? ' ' : content[0]));
    EXPECT_EQ(CountFiles(), 1);
}

} // namespace
} // namespace platform

#include "scanner/app/filecontent.h"

#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace app {
namespace {

std::string Why(const std::filesystem::path& file)
{
    return WriteFailure(file).what();
}

TEST(WriteFailure, TellsWhatIsInTheWay)
{
    const TestSupport::CTemporaryFolder folder;
    TestSupport::WriteFile(folder / "file", "content");
    EXPECT_EQ(Why(folder / "none/a.png"),
              "cannot write '" + (folder / "none/a.png") + "': No such file or directory");
    EXPECT_EQ(Why(folder / "file/a.png"), "cannot write '" + (folder / "file/a.png") + "': Not a directory");
    EXPECT_EQ(Why(folder.GetPath()), "cannot write '" + folder.GetPath().string() + "': Is a directory");
    EXPECT_EQ(Why(""), "cannot write '': No such file or directory");
}

TEST(WriteFailure, LeavesEverythingAsItIs)
{
    const TestSupport::CTemporaryFolder folder;
    TestSupport::WriteFile(folder / "file", "content");
    EXPECT_EQ(Why(folder / "file"), "cannot write '" + (folder / "file") + "'");
    EXPECT_EQ(Why(folder / "new"), "cannot write '" + (folder / "new") + "'");
    EXPECT_EQ(TestSupport::ReadFile(folder / "file"), "content");
    EXPECT_FALSE(std::filesystem::exists(folder / "new"));
}

TEST(LowerSuffix, IsTheLastOneInLowerCase)
{
    EXPECT_EQ(LowerSuffix("A/Scan.PLY"), ".ply");
    EXPECT_EQ(LowerSuffix("a.tar.Gz"), ".gz");
    EXPECT_EQ(LowerSuffix("a.3D"), ".3d");
    EXPECT_EQ(LowerSuffix("a.\xC4"), ".\xC4");
    EXPECT_EQ(LowerSuffix("a.B/c"), "");
    EXPECT_EQ(LowerSuffix(".PLY"), "");
    EXPECT_EQ(LowerSuffix(""), "");
}

} // namespace
} // namespace app

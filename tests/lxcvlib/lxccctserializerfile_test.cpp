#include "lxccctserializerfile.h"

#include "orx/logging/logger.h"
#include "stringutils.h"
#include "tests/lxcvlib/onekey.h"
#include "tests/support/temporaryfolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <utility>

namespace LxCV {
namespace {

using Logging::ELevel;
using testing::ElementsAre;
using TestSupport::c_sSectionText;
using ::TestSupport::CTemporaryFolder;
using TestSupport::ExpectOneKey;
using ::TestSupport::ReadFile;
using ::TestSupport::WriteFile;
using TestSupport::WriteOneKey;

TEST(LxCCCTSerializerFile, StoresWithCommentsAndLoads)
{
    const CTemporaryFolder folder;
    LxCCCTSerializerFile storing;
    ASSERT_TRUE(storing.Init(folder / "a.ini", true));
    WriteOneKey(storing);
    EXPECT_EQ(ReadFile(folder / "a.ini"), ""); // nothing but at the end
    EXPECT_TRUE(storing.Exit());
    EXPECT_EQ(ReadFile(folder / "a.ini"), c_sSectionText);
    LxCCCTSerializerFile loading;
    ASSERT_TRUE(loading.Init(folder / "a.ini", false));
    ExpectOneKey(loading);
    EXPECT_TRUE(loading.HasSameData(storing));
    EXPECT_TRUE(loading.Exit());
    EXPECT_EQ(ReadFile(folder / "a.ini"), c_sSectionText);
}

TEST(LxCCCTSerializerFile, ReplacesALongerFile)
{
    const CTemporaryFolder folder;
    WriteFile(folder / "a.ini", std::string(10000, 'x'));
    LxCCCTSerializerFile storing;
    ASSERT_TRUE(storing.Init(folder / "a.ini", true));
    WriteOneKey(storing);
    storing.Exit();
    EXPECT_EQ(ReadFile(folder / "a.ini"), c_sSectionText);
}

TEST(LxCCCTSerializerFile, TakesWidePathsAndBothSeparators)
{
    const CTemporaryFolder folder;
    std::filesystem::create_directory(folder / "\xC3\xA4");
    LxCCCTSerializerFile storing;
    ASSERT_TRUE(storing.Init(s2ws(folder.GetPath().string()) + L"\\\u00E4\\a.ini", true));
    WriteOneKey(storing);
    storing.Exit();
    EXPECT_EQ(ReadFile(folder / "\xC3\xA4/a.ini"), c_sSectionText);
    LxCCCTSerializerFile loading;
    ASSERT_TRUE(loading.Init((folder.GetPath().string() + "\\\xC3\xA4/a.ini").c_str(), false));
    ExpectOneKey(loading);
}

TEST(LxCCCTSerializerFile, LoadsWindowsLineEnds)
{
    const CTemporaryFolder folder;
    WriteFile(folder / "a.ini", "::A\r\n\t k=0.5 \t\r\n");
    LxCCCTSerializerFile loading;
    ASSERT_TRUE(loading.Init(folder / "a.ini", false));
    ExpectOneKey(loading);
}

TEST(LxCCCTSerializerFile, RefusesAPathWithoutAPointSilently)
{
    const CTemporaryFolder folder;
    const Logging::CCapture capture;
    LxCCCTSerializerFile serializer;
    EXPECT_FALSE(serializer.Init("no_extension", true));
    EXPECT_FALSE(serializer.Init(L"no_extension", false));
    EXPECT_FALSE(serializer.Init("", true));
    EXPECT_FALSE(serializer.IsStoring());
    EXPECT_TRUE(capture.GetRecords().empty());
    EXPECT_FALSE(std::filesystem::exists("no_extension"));
    EXPECT_TRUE(serializer.Init(folder / "file", true)); // the folder's name has one
}

TEST(LxCCCTSerializerFile, LogsAFileThatCannotBeOpened)
{
    const CTemporaryFolder folder;
    const std::wstring path = s2ws(folder / "absent/a.ini");
    const std::wstring channel = L"ORX.Lumorad.LxCCCTSerializer";
    const Logging::CCapture capture;
    LxCCCTSerializerFile serializer;
    EXPECT_FALSE(serializer.Init(path, true));
    EXPECT_TRUE(serializer.IsStoring());
    EXPECT_EQ(capture.Count(ELevel::eInfo, channel,
                            L"CCCTSerializer::Init: could not open '" + path + L"' for writing!\n"),
              1);
    EXPECT_FALSE(serializer.Init(path, false));
    EXPECT_EQ(capture.Count(ELevel::eInfo, channel,
                            L"CCCTSerializer::Init: could not open '" + path + L"' for reading!\n"),
              1);
    const std::wstring folderPath = s2ws(folder.GetPath().string());
    EXPECT_FALSE(serializer.Init(folderPath, false)); // a folder opens, but does not read
    EXPECT_EQ(capture.Count(ELevel::eInfo, channel,
                            L"CCCTSerializer::Init: could not open '" + folderPath + L"' for reading!\n"),
              1);
    EXPECT_EQ(capture.GetRecords().size(), 3U);
}

TEST(LxCCCTSerializerFile, LoadsNoPipeAndNoDevice)
{
    const CTemporaryFolder folder;
    const std::string pipe = folder / "a.ini";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path : {pipe, std::string("/dev/./null")}) {
        const Logging::CCapture capture;
        LxCCCTSerializerFile serializer;
        EXPECT_FALSE(serializer.Init(path, false));
        EXPECT_EQ(capture.Count(ELevel::eInfo, L"ORX.Lumorad.LxCCCTSerializer",
                                L"CCCTSerializer::Init: could not open '" + s2ws(path) + L"' for reading!\n"),
                  1);
    }
}

TEST(LxCCCTSerializerFile, FailsToLoadAFileWithoutLines)
{
    const CTemporaryFolder folder;
    for (const std::string text : {"", "# only\r\n#comments\r\n\r\n"}) {
        WriteFile(folder / "a.ini", text);
        LxCCCTSerializerFile serializer;
        EXPECT_FALSE(serializer.Init(folder / "a.ini", false));
    }
}

TEST(LxCCCTSerializerFile, SharesTheFile)
{
    const CTemporaryFolder folder;
    WriteFile(folder / "a.ini", c_sSectionText);
    LxCCCTSerializerFile one;
    LxCCCTSerializerFile two;
    EXPECT_TRUE(one.Init(folder / "a.ini", false));
    EXPECT_TRUE(two.Init(folder / "a.ini", false));
    ExpectOneKey(two);
}

TEST(LxCCCTSerializerFile, LoadsAnotherFileAfterTheFirst)
{
    const CTemporaryFolder folder;
    WriteFile(folder / "a.ini", "::A\nk=1\n");
    WriteFile(folder / "b.ini", "::B\nk=2\n");
    LxCCCTSerializerFile serializer;
    EXPECT_TRUE(serializer.Init(folder / "a.ini", false));
    EXPECT_TRUE(serializer.Exit());
    EXPECT_TRUE(serializer.Init(folder / "b.ini", false));
    EXPECT_TRUE(serializer.FindExtractSection("::B"));
    EXPECT_THAT(serializer.GetSectionData(), ElementsAre("::B", "k", "2"));
}

TEST(LxCCCTSerializerFile, MovesWithItsOpenFile)
{
    const CTemporaryFolder folder;
    LxCCCTSerializerFile first;
    ASSERT_TRUE(first.Init(folder / "a.ini", true));
    LxCCCTSerializerFile second(std::move(first));
    WriteOneKey(second);
    first = std::move(second);
    EXPECT_TRUE(first.Exit());
    EXPECT_EQ(ReadFile(folder / "a.ini"), c_sSectionText);
}

TEST(LxCCCTSerializerFile, WarnsOfAFullDiskButSucceeds)
{
    const Logging::CCapture capture;
    LxCCCTSerializerFile serializer;
    ASSERT_TRUE(serializer.Init("/dev/./full", true));
    WriteOneKey(serializer);
    EXPECT_TRUE(serializer.Exit());
    EXPECT_EQ(capture.Count(ELevel::eWarning, L"ORX.Lumorad.LxCCCTSerializer",
                            L"The text of a serializer was not written whole.\n"),
              1);
}

} // namespace
} // namespace LxCV

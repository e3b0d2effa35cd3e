#include "lxccctserializerstring.h"

#include "orx/logging/logger.h"
#include "tests/lxcvlib/onekey.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace LxCV {
namespace {

using Logging::ELevel;
using testing::ElementsAre;
using TestSupport::c_sSectionText;
using TestSupport::ExpectOneKey;
using TestSupport::WriteOneKey;

/// Each test has a key of its own and captures the log.
class LxCCCTSerializerStringTest : public testing::Test
{
protected:
    std::vector<char> Stored(std::vector<char> bytes = {})
    {
        LxCCCTSerializerString serializer;
        EXPECT_TRUE(serializer.Init(bytes, true));
        WriteOneKey(serializer);
        EXPECT_EQ(serializer.GetBuffer(), bytes);
        EXPECT_TRUE(serializer.Exit());
        return serializer.GetBuffer();
    }

    ::TestSupport::CTemporaryFolder m_Folder;
    ::TestSupport::CEnvironmentVariable m_KeyFile{"LXCV_KEY_FILE", m_Folder / "key"};
    Logging::CCapture m_Capture;
};

TEST_F(LxCCCTSerializerStringTest, StoresAContainerAndLoadsIt)
{
    std::vector<char> bytes = Stored({'o', 'l', 'd'});
    ASSERT_FALSE(bytes.empty());
    EXPECT_EQ(bytes[0], 2); // the version of the container
    LxCCCTSerializerString loading;
    ASSERT_TRUE(loading.Init(bytes, false));
    ExpectOneKey(loading);
    EXPECT_EQ(loading.GetTextSize(), std::string(c_sSectionText).size() + 1); // with the closing NUL
    EXPECT_TRUE(loading.Exit());
    EXPECT_EQ(loading.GetBuffer(), bytes);
}

TEST_F(LxCCCTSerializerStringTest, HoldsTheSameDataAfterLoading)
{
    std::vector<char> none;
    LxCCCTSerializerString storing;
    storing.Init(none, true);
    WriteOneKey(storing);
    ASSERT_TRUE(storing.Exit());
    std::vector<char> bytes = storing.GetBuffer();
    LxCCCTSerializerString loading;
    ASSERT_TRUE(loading.Init(bytes, false));
    EXPECT_TRUE(loading.HasSameData(storing));
}

TEST_F(LxCCCTSerializerStringTest, TakesTheClosingNulAsALineOfItsOwn)
{
    std::vector<char> none;
    LxCCCTSerializerString empty;
    empty.Init(none, true);
    ASSERT_TRUE(empty.Exit());
    std::vector<char> bytes = empty.GetBuffer();
    LxCCCTSerializerString loading;
    EXPECT_TRUE(loading.Init(bytes, false)); // that line is one
    EXPECT_FALSE(loading.FindExtractSection("::A"));
    EXPECT_TRUE(loading.FindExtractSection(std::string(1, '\0')));
    EXPECT_EQ(loading.GetSectionData().size(), 1U);
}

TEST_F(LxCCCTSerializerStringTest, KeepsNulBytesInsideTheText)
{
    const std::string value("a\0b", 3);
    std::vector<char> none;
    LxCCCTSerializerString storing;
    storing.Init(none, true);
    storing.WriteSection("::A");
    storing.Write<std::string>("k", value, "", c_iFormatDecimal);
    ASSERT_TRUE(storing.Exit());
    std::vector<char> bytes = storing.GetBuffer();
    LxCCCTSerializerString loading;
    ASSERT_TRUE(loading.Init(bytes, false));
    EXPECT_TRUE(loading.FindExtractSection("::A"));
    EXPECT_THAT(loading.GetSectionData(), ElementsAre("::A", "k", value));
}

TEST_F(LxCCCTSerializerStringTest, FailsToLoadWhatIsNoContainer)
{
    std::vector<char> bytes{'\x03', 'x'};
    LxCCCTSerializerString serializer;
    EXPECT_FALSE(serializer.Init(bytes, false));
    bytes.clear();
    EXPECT_FALSE(serializer.Init(bytes, false));
    EXPECT_EQ(m_Capture.Count(ELevel::eError, L"ORX.Lumorad.LxCCCTEncryptionUtils", L"Read ini-file failed"),
              2);
}

TEST_F(LxCCCTSerializerStringTest, KeepsItsBytesWhereStoringFails)
{
    m_KeyFile.Set("/dev/null/key");
    std::vector<char> bytes{'o', 'l', 'd'};
    LxCCCTSerializerString serializer;
    ASSERT_TRUE(serializer.Init(bytes, true));
    WriteOneKey(serializer);
    EXPECT_FALSE(serializer.Exit());
    EXPECT_EQ(serializer.GetBuffer(), bytes);
}

TEST_F(LxCCCTSerializerStringTest, MovesWithItsBytes)
{
    std::vector<char> bytes = Stored();
    LxCCCTSerializerString first;
    ASSERT_TRUE(first.Init(bytes, false));
    LxCCCTSerializerString second(std::move(first));
    ExpectOneKey(second);
    EXPECT_EQ(second.GetBuffer(), bytes);
}

} // namespace
} // namespace LxCV

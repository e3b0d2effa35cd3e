#include "orx/btservices/ymstream.h"

#include "orx/btservices/ymstreamreadbinaryfile.h"
#include "orx/btservices/ymstreamwritebinaryfile.h"
#include "orx/platform/unicode.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <limits>
#include <string>
#include <sys/stat.h>

namespace {

using TestSupport::CTemporaryFolder;

std::wstring PathIn(const CTemporaryFolder& folder, const std::string& name)
{
    return platform::WidenUtf8(folder / name);
}

TEST(YmStream, HoldsWordsWithTheLowByteFirst)
{
    const CTemporaryFolder folder;
    YmStreamWriteBinaryFile out(PathIn(folder, "a"));
    std::int32_t integer = 0x01020304;
    std::int32_t negative = -2;
    float one = 1.0F; // 0x3f800000
    EXPECT_TRUE(out.IsStoring());
    EXPECT_TRUE(out.Serialize(integer));
    EXPECT_TRUE(out.Serialize(negative));
    EXPECT_TRUE(out.Serialize(one));
    EXPECT_TRUE(out.Close());
    const char expected[] = "\4\3\2\1\xfe\xff\xff\xff\0\0\x80\x3f";
    EXPECT_EQ(TestSupport::ReadFile(folder / "a"), std::string(expected, sizeof expected - 1));
}

TEST(YmStream, GivesBackEveryValue)
{
    const CTemporaryFolder folder;
    const std::int32_t integers[] = {
        0, 1, -1, 3, std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::min()};
    const float floats[] = {0.0F,
                            -0.0F,
                            3.5F,
                            std::numeric_limits<float>::denorm_min(),
                            -std::numeric_limits<float>::max(),
                            std::numeric_limits<float>::infinity(),
                            std::numeric_limits<float>::quiet_NaN()};
    YmStreamWriteBinaryFile out(PathIn(folder, "a"));
    for (std::int32_t value : integers) {
        out.Serialize(value);
    }
    for (float value : floats) {
        out.Serialize(value);
    }
    ASSERT_TRUE(out.Close());
    YmStreamReadBinaryFile in(PathIn(folder, "a"));
    EXPECT_FALSE(in.IsStoring());
    for (const std::int32_t expected : integers) {
        std::int32_t value = 77;
        EXPECT_TRUE(in.Serialize(value));
        EXPECT_EQ(value, expected);
    }
    for (const float expected : floats) {
        float value = 77.0F;
        EXPECT_TRUE(in.Serialize(value));
        EXPECT_EQ(std::bit_cast<std::uint32_t>(value), std::bit_cast<std::uint32_t>(expected));
    }
}

TEST(YmStream, FailsForGoodAtTheEndOfAFile)
{
    const CTemporaryFolder folder;
    TestSupport::WriteFile(folder / "a", std::string("\1\0\0\0\2\0\0", 7));
    YmStreamReadBinaryFile in(PathIn(folder, "a"));
    std::int32_t value = 0;
    EXPECT_TRUE(in.Serialize(value));
    EXPECT_EQ(value, 1);
    EXPECT_FALSE(in.Serialize(value)) << "three bytes are no word";
    float number = 5.0F;
    EXPECT_FALSE(in.Serialize(number));
    EXPECT_FALSE(in.IsGood());
    EXPECT_EQ(value, 1);
    EXPECT_EQ(number, 5.0F);
}

TEST(YmStream, ReadsOrdinaryFilesOnly)
{
    const CTemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    for (const std::wstring& path : {PathIn(folder, "absent"), PathIn(folder, "pipe"), PathIn(folder, "."),
                                     std::wstring(), std::wstring(L"/dev/zero")}) {
        YmStreamReadBinaryFile in(path);
        EXPECT_FALSE(in.IsGood()) << platform::NarrowUtf8(path);
        std::int32_t value = 7;
        EXPECT_FALSE(in.Serialize(value));
        EXPECT_EQ(value, 7);
    }
}

TEST(YmStream, WritesNothingBeforeItIsClosed)
{
    const CTemporaryFolder folder;
    TestSupport::WriteFile(folder / "a", "old");
    {
        YmStreamWriteBinaryFile out(PathIn(folder, "a"));
        std::int32_t value = 1;
        out.Serialize(value);
    }
    EXPECT_EQ(TestSupport::ReadFile(folder / "a"), "old");
}

TEST(YmStream, ReplacesAFileAsAWhole)
{
    const CTemporaryFolder folder;
    TestSupport::WriteFile(folder / "a", "an old file that is longer");
    ASSERT_EQ(mkfifo((folder / "a.new").c_str(), 0600), 0); // someone else's; would keep a writer waiting
    YmStreamWriteBinaryFile out(PathIn(folder, "a"));
    std::int32_t value = 0x41424344;
    EXPECT_TRUE(out.Serialize(value));
    EXPECT_TRUE(out.Close());
    EXPECT_EQ(TestSupport::ReadFile(folder / "a"), "DCBA");
    EXPECT_TRUE(std::filesystem::is_fifo(folder / "a.new"));
    const std::filesystem::directory_iterator inside(folder.GetPath());
    EXPECT_EQ(std::distance(begin(inside), end(inside)), 2) << "nothing else is left there";
    EXPECT_FALSE(out.Serialize(value));
    EXPECT_FALSE(out.Close());
    EXPECT_EQ(TestSupport::ReadFile(folder / "a"), "DCBA");
}

TEST(YmStream, TellsWhereAFileCannotBeWritten)
{
    const CTemporaryFolder folder;
    std::filesystem::create_directories(folder / "a/b");
    for (const std::wstring& path : {PathIn(folder, "absent/file"), PathIn(folder, "a"), std::wstring(),
                                     PathIn(folder, std::string(300, 'x'))}) {
        YmStreamWriteBinaryFile out(path);
        std::int32_t value = 1;
        EXPECT_TRUE(out.Serialize(value));
        EXPECT_FALSE(out.Close()) << platform::NarrowUtf8(path);
    }
    EXPECT_TRUE(std::filesystem::is_directory(folder / "a/b"));
    EXPECT_FALSE(std::filesystem::exists(folder / "a.new"));
}

} // namespace

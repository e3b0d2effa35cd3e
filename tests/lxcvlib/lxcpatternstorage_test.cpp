#include "lxcpatternstorage.h"

#include "lxcpatternposition.h"

#include <gtest/gtest.h>

namespace LxCV {
namespace {

TEST(LxCPatternPosition, IsValidBelow4095)
{
    EXPECT_FALSE(LxCPatternPosition().isValid());
    EXPECT_EQ(LxCPatternPosition().get(), 4095U);
    EXPECT_EQ(LxCPatternPosition::ms_uiInvalidPosition, 0xFFFU);
    EXPECT_FALSE(LxCPatternPosition(4095).isValid());
    EXPECT_TRUE(LxCPatternPosition(4094).isValid());
    EXPECT_TRUE(LxCPatternPosition(0).isValid());
    EXPECT_FALSE(LxCPatternPosition(~std::uint64_t{0}).isValid());
}

TEST(LxCPatternPosition, OperatorsWorkOnTheInteger)
{
    const LxCPatternPosition a(10);
    const LxCPatternPosition b(3);
    EXPECT_TRUE(a == LxCPatternPosition(10));
    EXPECT_TRUE(a != b);
    EXPECT_TRUE(b < a);
    EXPECT_FALSE(a < b);
    EXPECT_FALSE(a < a);
    EXPECT_EQ((a + b).get(), 13U);
    EXPECT_EQ((a - b).get(), 7U);
    EXPECT_EQ((b - a).get(), ~std::uint64_t{0} - 6U);
    LxCPatternPosition c;
    c.set(77);
    EXPECT_EQ(c.get(), 77U);
}

TEST(LxCPatternStorage, TakesOneElementForEachCharacter)
{
    LxCPatternStorage storage;
    EXPECT_TRUE(storage.init("2x, 79"));
    ASSERT_EQ(storage.length(), 6U);
    const int expected[6] = {2, 0, 0, 0, 7, 9};
    for (std::uint64_t i = 0; i < 6; ++i) {
        EXPECT_EQ(static_cast<int>(storage.getColor(i)), expected[i]) << i;
    }
}

TEST(LxCPatternStorage, RepeatsCyclically)
{
    LxCPatternStorage storage;
    storage.init("123");
    EXPECT_EQ(storage.getColor(3), LxCPatternStorage::eBlue);
    EXPECT_EQ(storage.getColor(4), LxCPatternStorage::eGreen);
    EXPECT_EQ(storage.getColor(3000002), LxCPatternStorage::eCyan);
}

TEST(LxCPatternStorage, InitReplacesTheSequence)
{
    LxCPatternStorage storage;
    storage.init("123");
    EXPECT_TRUE(storage.init(""));
    EXPECT_EQ(storage.length(), 0U);
    EXPECT_EQ(storage.getColor(5), LxCPatternStorage::eBlack);
}

TEST(LxCPatternStorage, TakesBytesThatAreNoCharacters)
{
    LxCPatternStorage storage;
    storage.init(std::string("\xFF\x00\x80", 3));
    ASSERT_EQ(storage.length(), 3U);
    EXPECT_EQ(storage.getColor(0), LxCPatternStorage::eBlack);
}

} // namespace
} // namespace LxCV

#include "floattointeger.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace LxCV {
namespace {

TEST(TruncateTo, TruncatesTowardsZero)
{
    EXPECT_EQ(TruncateTo<int>(2.9F), 2);
    EXPECT_EQ(TruncateTo<int>(-2.9), -2);
    EXPECT_EQ(TruncateTo<std::uint32_t>(-0.9F), 0U);
    EXPECT_EQ(TruncateTo<std::uint32_t>(4294967040.0F), 4294967040U);
}

TEST(TruncateTo, SaturatesWhatDoesNotFit)
{
    EXPECT_EQ(TruncateTo<int>(2147483648.0F), std::numeric_limits<int>::max());
    EXPECT_EQ(TruncateTo<int>(-1e30), std::numeric_limits<int>::min());
    EXPECT_EQ(TruncateTo<int>(2147483647.5), std::numeric_limits<int>::max());
    EXPECT_EQ(TruncateTo<int>(-2147483648.5), std::numeric_limits<int>::min());
    EXPECT_EQ(TruncateTo<std::uint32_t>(-5.0F), 0U);
    EXPECT_EQ(TruncateTo<std::uint32_t>(std::numeric_limits<float>::infinity()), 0xFFFFFFFFU);
    EXPECT_EQ(TruncateTo<std::int64_t>(9.3e18), std::numeric_limits<std::int64_t>::max());
}

TEST(TruncateTo, TakesNoNumberAsZero)
{
    EXPECT_EQ(TruncateTo<int>(std::numeric_limits<float>::quiet_NaN()), 0);
    EXPECT_EQ(TruncateTo<std::uint32_t>(std::numeric_limits<double>::quiet_NaN()), 0U);
}

} // namespace
} // namespace LxCV

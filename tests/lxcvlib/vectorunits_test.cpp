#include "vectorunits.h"

#include <gtest/gtest.h>

#include <optional>

namespace LxCV {
namespace {

using VectorUnits::AreWide;
using VectorUnits::CBasicOnly;

TEST(VectorUnits, AreWideWhereTheProcessorHasThem)
{
#if defined(__x86_64__)
    EXPECT_EQ(AreWide(), __builtin_cpu_supports("avx2") != 0);
#else
    EXPECT_FALSE(AreWide());
#endif
}

TEST(VectorUnits, StayBasicUntilTheLastThatForbidsWideOnesIsGone)
{
    const bool before = AreWide();
    std::optional<CBasicOnly> first(std::in_place);
    EXPECT_FALSE(AreWide());
    std::optional<CBasicOnly> second(std::in_place);
    first.reset();
    EXPECT_FALSE(AreWide());
    second.reset();
    EXPECT_EQ(AreWide(), before);
}

} // namespace
} // namespace LxCV

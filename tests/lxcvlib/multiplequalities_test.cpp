#include "multiplequalities.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace LxCV {
namespace {

TEST(MultipleQualities, DefaultsAreFiveSymbolsAndFullQuality)
{
    EXPECT_EQ(MultipleQualities().GetSymbols(), 5);
    EXPECT_EQ(MultipleQualities().GetFloatQuality(), 1.0F);
}

TEST(MultipleQualities, EachConstructorLeavesTheOtherMeasure)
{
    EXPECT_EQ(MultipleQualities(std::uint8_t{200}).GetSymbols(), 200);
    EXPECT_EQ(MultipleQualities(std::uint8_t{200}).GetFloatQuality(), 1.0F);
    EXPECT_EQ(MultipleQualities(0.25F).GetSymbols(), 5);
    EXPECT_EQ(MultipleQualities(0.25F).GetFloatQuality(), 0.25F);
}

TEST(MultipleQualities, IsPolymorphic)
{
    EXPECT_TRUE(std::has_virtual_destructor_v<MultipleQualities>);
}

} // namespace
} // namespace LxCV

#include "lxcedgeposition.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace LxCV {
namespace {

LxCEdgePosition At(int pixel, int subpixel)
{
    LxCEdgePosition position;
    position.Encode(pixel, subpixel);
    return position;
}

TEST(LxCEdgePosition, SplitsIntoPixelAndFraction)
{
    const LxCEdgePosition position = At(494, 17);
    EXPECT_EQ(position.GetPixelAndSubpixelPos(), 494U * 64U + 17U);
    EXPECT_EQ(position.GetPixelPos(), 494);
    EXPECT_EQ(position.GetSubpixelInt(), 17);
}

TEST(LxCEdgePosition, EncodeMasksTheFraction)
{
    EXPECT_EQ(At(10, 70).GetPixelPos(), 10);
    EXPECT_EQ(At(10, 70).GetSubpixelInt(), 6);
    EXPECT_EQ(At(10, -1).GetPixelAndSubpixelPos(), 10U * 64U + 63U);
}

TEST(LxCEdgePosition, PixelsUseTheWholeWord)
{
    const LxCEdgePosition largest(0xFFFFFFFFU);
    EXPECT_EQ(largest.GetPixelPos(), 0x3FFFFFF);
    EXPECT_EQ(At(0x3FFFFFF, 63).GetPixelAndSubpixelPos(), 0xFFFFFFFFU);
    // Arithmetic wraps for pixels outside.
    EXPECT_EQ(At(-1, 0).GetPixelAndSubpixelPos(), 0xFFFFFFC0U);
    EXPECT_EQ(At(std::numeric_limits<int>::min(), 0).GetPixelAndSubpixelPos(), 0U);
}

TEST(LxCEdgePosition, AVertexBeforeThePixelBorrowsFromIt)
{
    LxCEdgePosition position;
    position.Encode(10, 2.0F, 2.0F, 1.0F); // -32 / 64
    EXPECT_EQ(position.GetPixelPos(), 9);
    EXPECT_EQ(position.GetSubpixelInt(), 32);
    position.Encode(10, 1.0F, 2.0F, 2.0F); // +32 / 64
    EXPECT_EQ(position.GetPixelPos(), 10);
    EXPECT_EQ(position.GetSubpixelInt(), 32);
}

TEST(LxCEdgePosition, DifferencesAreSigned)
{
    EXPECT_EQ(At(10, 5).Subtract(At(9, 6)), 63);
    EXPECT_EQ(At(9, 6).Subtract(At(10, 5)), -63);
    EXPECT_EQ(LxCEdgePosition(0).Subtract(LxCEdgePosition(0xFFFFFFFFU)), 1);
}

TEST(LxCEdgePosition, ComparisonsAreUnsigned)
{
    const LxCEdgePosition small(5);
    const LxCEdgePosition large(0x80000000U);
    EXPECT_TRUE(small.IsSmallerThan(large));
    EXPECT_FALSE(large.IsSmallerThan(small));
    EXPECT_FALSE(small.IsSmallerThan(small));
    EXPECT_TRUE(small.IsSmallerOrEqualTo(small));
    EXPECT_FALSE(large.IsSmallerOrEqualTo(small));
}

TEST(LxCEdgePosition, MeanRoundsDownAndWraps)
{
    EXPECT_EQ(LxCEdgePosition::GetMean(LxCEdgePosition(3), LxCEdgePosition(6)).GetWord(), 4U);
    EXPECT_EQ(LxCEdgePosition::GetMean(LxCEdgePosition(0x80000000U), LxCEdgePosition(0x80000002U)).GetWord(),
              1U);
    // A position that another class takes for a gap is a position here.
    EXPECT_EQ(LxCEdgePosition::GetMean(LxCEdgePosition(60000), LxCEdgePosition(0)).GetWord(), 30000U);
}

TEST(LxCEdgePosition, WeightedMeansMatchHandCalculation)
{
    // (100 * 1 + 200 * 3) / 4
    EXPECT_EQ(LxCEdgePosition::Combine2(1.0F, LxCEdgePosition(100), 3.0F, LxCEdgePosition(200)).GetWord(),
              175U);
    // (100 + 101) / 2 = 100.5 is truncated.
    EXPECT_EQ(LxCEdgePosition::Combine2(1.0F, LxCEdgePosition(100), 1.0F, LxCEdgePosition(101)).GetWord(),
              100U);
    // (100 * 1 + 200 * 2 + 400 * 5) / 8 = 312.5
    EXPECT_EQ(LxCEdgePosition::Combine3(1.0F, LxCEdgePosition(100), 2.0F, LxCEdgePosition(200), 5.0F,
                                        LxCEdgePosition(400))
                  .GetWord(),
              312U);
}

TEST(LxCEdgePosition, WeightedMeansOfImagePositionsAreWithinARounding)
{
    std::mt19937 random(6);
    std::uniform_int_distribution<std::uint32_t> word(0, 658U * 64U);
    std::uniform_real_distribution<float> weight(0.1F, 255.0F);
    for (int i = 0; i < 5000; ++i) {
        const std::uint32_t a = word(random);
        const std::uint32_t b = word(random);
        const std::uint32_t c = word(random);
        const double u = weight(random);
        const double v = weight(random);
        const double w = weight(random);
        const LxCEdgePosition two = LxCEdgePosition::Combine2(static_cast<float>(u), LxCEdgePosition(a),
                                                              static_cast<float>(v), LxCEdgePosition(b));
        const LxCEdgePosition three =
            LxCEdgePosition::Combine3(static_cast<float>(u), LxCEdgePosition(a), static_cast<float>(v),
                                      LxCEdgePosition(b), static_cast<float>(w), LxCEdgePosition(c));
        // Truncation, and some roundings of a value of up to 42112 in float.
        constexpr double c_dRounding = 42112 * 6e-8 * 4;
        const double exactTwo = (a * u + b * v) / (u + v);
        const double exactThree = (a * u + b * v + c * w) / (u + v + w);
        ASSERT_GE(two.GetWord(), exactTwo - 1.0 - c_dRounding) << i;
        ASSERT_LE(two.GetWord(), exactTwo + c_dRounding) << i;
        ASSERT_GE(three.GetWord(), exactThree - 1.0 - c_dRounding) << i;
        ASSERT_LE(three.GetWord(), exactThree + c_dRounding) << i;
    }
}

TEST(LxCEdgePosition, WeightsOfSumZeroAreDefined)
{
    EXPECT_EQ(LxCEdgePosition::Combine2(0.0F, LxCEdgePosition(5), 0.0F, LxCEdgePosition(6)).GetWord(), 0U);
    EXPECT_EQ(LxCEdgePosition::Combine2(2.0F, LxCEdgePosition(5), -2.0F, LxCEdgePosition(4)).GetWord(),
              0xFFFFFFFFU);
    EXPECT_EQ(LxCEdgePosition::Combine2(2.0F, LxCEdgePosition(0), -1.0F, LxCEdgePosition(4)).GetWord(), 0U);
}

} // namespace
} // namespace LxCV

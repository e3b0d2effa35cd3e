#include "lxcsubpixel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <type_traits>

namespace LxCV {
namespace {

TEST(LxCSubpixel, IsOneWordWithoutVirtualOperations)
{
    EXPECT_EQ(sizeof(LxCSubpixel), 4U);
    EXPECT_FALSE(std::is_polymorphic_v<LxCSubpixel>);
    EXPECT_EQ(LxCSubpixel().GetWord(), 0U);
}

TEST(LxCSubpixel, ConstantsDescribeSixFractionalBits)
{
    EXPECT_EQ(LxCSubpixel::m_sciNrSubpixBits, 6);
    EXPECT_EQ(LxCSubpixel::GetNumberSubpixBit(), 6);
    EXPECT_EQ(LxCSubpixel::m_sciSubpixMask, 63);
    EXPECT_EQ(LxCSubpixel::m_scfSubpixFactor, 64.0F);
    EXPECT_EQ(LxCSubpixel::m_scfSubPixFactorInv, 0.015625F);
}

TEST(LxCSubpixel, KeepsAFractionOfAPixel)
{
    for (int s = 0; s < 64; ++s) {
        LxCSubpixel value;
        value.SetSubpixel(s);
        EXPECT_EQ(value.GetSubpixelInt(), s);
        EXPECT_EQ(value.GetSubpixelFloat(), static_cast<float>(s) / 64.0F);
        LxCSubpixel fromFloat;
        fromFloat.SetSubpixel(static_cast<float>(s) / 64.0F + 0.01F);
        EXPECT_EQ(fromFloat.GetSubpixelInt(), s);
    }
}

TEST(LxCSubpixel, AFractionBeyondOnePixelCarries)
{
    LxCSubpixel value;
    value.SetSubpixel(70);
    EXPECT_EQ(value.GetWord(), 64U + 6U);
    value.SetSubpixel(3);
    EXPECT_EQ(value.GetWord(), 64U + 3U);
    value.SetSubpixel(-1);
    EXPECT_EQ(value.GetWord(), 63U);
    value.SetSubpixel(1.5F);
    EXPECT_EQ(value.GetWord(), 96U);
    value.SetSubpixel(-0.01F); // -0.64 is truncated to 0, not floored
    EXPECT_EQ(value.GetWord(), 64U);
    value.Clear();
    EXPECT_EQ(value.GetWord(), 0U);
}

TEST(LxCSubpixel, FractionsThatFitNoIntAreDefined)
{
    LxCSubpixel value;
    value.SetSubpixel(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(value.GetWord(), 0U);
    value.SetSubpixel(1e30F);
    EXPECT_EQ(value.GetWord(), 0x7FFFFFFFU);
    value.Clear();
    value.SetSubpixel(std::numeric_limits<int>::min());
    EXPECT_EQ(value.GetWord(), 0x80000000U);
}

TEST(LxCSubpixel, VertexOfThreeSamplesMatchesHandCalculation)
{
    EXPECT_EQ(LxCSubpixel::ComputeSubpixelInt(1.0F, 1.0F, 1.0F), 0);
    EXPECT_EQ(LxCSubpixel::ComputeSubpixelInt(1.0F, 2.0F, 1.0F), 0);
    EXPECT_EQ(LxCSubpixel::ComputeSubpixelInt(2.0F, 2.0F, 1.0F), -32);
    EXPECT_EQ(LxCSubpixel::ComputeSubpixelInt(1.0F, 2.0F, 2.0F), 32);
    EXPECT_EQ(LxCSubpixel::ComputeSubpixelFloat(2.0F, 2.0F, 1.0F), -0.5F);
    // Samples on a straight line have no vertex.
    EXPECT_EQ(LxCSubpixel::ComputeSubpixelFloat(1.0F, 2.0F, 3.0F), 0.0F);
}

TEST(LxCSubpixel, AVertexHalfwayBetweenTwoStepsRoundsUp)
{
    // (0 - 1) / (0 + 1 - 65) * 0.5 = 1 / 128 of a pixel: floor(0.5 + 0.5). Before the sample: floor(-0.5 + 0.5).
    EXPECT_EQ(LxCSubpixel::ComputeSubpixelInt(0.0F, 32.5F, 1.0F), 1);
    EXPECT_EQ(LxCSubpixel::ComputeSubpixelInt(1.0F, 32.5F, 0.0F), 0);
}

TEST(LxCSubpixel, VertexMatchesTheParabolaItWasSampledFrom)
{
    std::mt19937 random(5);
    std::uniform_real_distribution<double> offset(-0.5, 0.5);
    std::uniform_real_distribution<double> curvature(1.0, 50.0);
    std::uniform_real_distribution<double> peak(100.0, 250.0);
    for (int i = 0; i < 5000; ++i) {
        const double x0 = offset(random);
        const double k = curvature(random);
        const double top = peak(random);
        const auto sample = [&](double x) { return static_cast<float>(top - k * (x - x0) * (x - x0)); };
        const float a = sample(-1.0);
        const float b = sample(0.0);
        const float c = sample(1.0);
        // Samples of up to 250 in float are off by 1.5e-5 each, over a second difference of 2k.
        const double tolerance = 4 * 1.5e-5 / k;
        ASSERT_NEAR(LxCSubpixel::ComputeSubpixelFloat(a, b, c), x0, tolerance) << x0 << " " << k;
        ASSERT_NEAR(LxCSubpixel::ComputeSubpixelInt(a, b, c), 64.0 * x0, 0.5 + 64.0 * tolerance);
    }
}

TEST(LxCSubpixel, VertexOfExtremeSamplesIsDefined)
{
    const float huge = std::numeric_limits<float>::max();
    EXPECT_EQ(LxCSubpixel::ComputeSubpixelInt(std::numeric_limits<float>::quiet_NaN(), 1.0F, 2.0F), 0);
    EXPECT_EQ(LxCSubpixel::ComputeSubpixelInt(huge, huge, -huge), 0); // infinity over minus infinity
    EXPECT_EQ(LxCSubpixel::ComputeSubpixelInt(1e30F, 1.0F, -1e30F), std::numeric_limits<int>::min());
}

} // namespace
} // namespace LxCV

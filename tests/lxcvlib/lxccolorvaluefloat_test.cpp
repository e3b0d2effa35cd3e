#include "lxccolorvaluefloat.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace LxCV {
namespace {

constexpr double c_dPi = 3.14159265358979323846;

// Channels come from a handful of float operations on values up to 255, and the hue, up to 2 pi in float, is
// multiplied by 255 * 3 / pi in them: 6.3 * 2^-24 * 245 and as much again.
constexpr double c_dChannelTolerance = 5e-4;

// One float rounding of a channel of 255 at full saturation is 1e-7 of a sixth of the circle; hue itself is below
// 6.3 in float.
constexpr double c_dHueTolerance = 3e-6;

void ExpectRGB(const LxCColorValueFloat& color, double red, double green, double blue)
{
    EXPECT_NEAR(color.GetRed(), red, c_dChannelTolerance);
    EXPECT_NEAR(color.GetGreen(), green, c_dChannelTolerance);
    EXPECT_NEAR(color.GetBlue(), blue, c_dChannelTolerance);
}

LxCColorValueFloat FromHSV(double h, double s, double v)
{
    LxCColorValueFloat color(1.0F, 2.0F, 3.0F);
    color.fromHSV(static_cast<float>(h), static_cast<float>(s), static_cast<float>(v));
    return color;
}

TEST(LxCColorValueFloat, StoresBlueFirst)
{
    const LxCColorValueFloat color(10.0F, 20.0F, 30.0F);
    EXPECT_EQ(color.get(0), 30.0F);
    EXPECT_EQ(color.get(1), 20.0F);
    EXPECT_EQ(color.get(2), 10.0F);
    EXPECT_EQ(color.Get(LxCColorValueFloat::eBlue), 30.0F);
    EXPECT_EQ(color.Get(LxCColorValueFloat::eGreen), 20.0F);
    EXPECT_EQ(color.Get(LxCColorValueFloat::eRed), 10.0F);
    EXPECT_EQ(color.GetRed(), 10.0F);
    EXPECT_EQ(color.GetGreen(), 20.0F);
    EXPECT_EQ(color.GetBlue(), 30.0F);
}

TEST(LxCColorValueFloat, SettersNameTheirChannel)
{
    LxCColorValueFloat color;
    color.SetRGB(1.0F, 2.0F, 3.0F);
    ExpectRGB(color, 1.0, 2.0, 3.0);
    color.SetRed(4.0F);
    color.SetGreen(5.0F);
    color.SetBlue(6.0F);
    ExpectRGB(color, 4.0, 5.0, 6.0);
    color.Set(LxCColorValueFloat::eGreen, 7.0F);
    ExpectRGB(color, 4.0, 7.0, 6.0);
}

TEST(LxCColorValueFloat, GreyValueIsTheMean)
{
    const LxCColorValueFloat color(10.0F, 21.0F, 32.0F);
    EXPECT_EQ(color.GetGrayVal(), 21.0F);
    EXPECT_EQ(color.GetMax(), 32.0F);
}

TEST(LxCColorValueFloat, ContrastsMatchHandCalculation)
{
    const LxCColorValueFloat a(10.0F, 20.0F, 30.0F);
    ExpectRGB(a.calcContrast(LxCColorValueFloat(15.0F, 5.0F, 30.0F)), 5.0, 15.0, 0.0);
    EXPECT_EQ(a.calcColorContrast(), 0.5F); // (30 - 10) / (30 + 10)
    EXPECT_TRUE(std::isnan(LxCColorValueFloat().calcColorContrast()));
}

TEST(LxCColorValueFloat, HsvCornersAreThePureColours)
{
    // The colour is continuous where sixths meet, so a hue rounded to either side serves.
    const double sixth = c_dPi / 3.0;
    ExpectRGB(FromHSV(0.0, 1.0, 1.0), 255, 0, 0);
    ExpectRGB(FromHSV(1.0 * sixth, 1.0, 1.0), 255, 255, 0);
    ExpectRGB(FromHSV(2.0 * sixth, 1.0, 1.0), 0, 255, 0);
    ExpectRGB(FromHSV(3.0 * sixth, 1.0, 1.0), 0, 255, 255);
    ExpectRGB(FromHSV(4.0 * sixth, 1.0, 1.0), 0, 0, 255);
    ExpectRGB(FromHSV(5.0 * sixth, 1.0, 1.0), 255, 0, 255);
}

TEST(LxCColorValueFloat, HsvMatchesTheConeFormula)
{
    // f(k) = v - v s max(0, min(k', 4 - k', 1)) with k' = (k + h / 60 degrees) mod 6 for k = 5, 3, 1.
    std::mt19937 random(2);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int i = 0; i < 5000; ++i) {
        const double h = unit(random) * 6.28;
        const double s = unit(random);
        const double v = unit(random);
        const auto channel = [&](double k) {
            const double turned = std::fmod(k + h * 3.0 / c_dPi, 6.0);
            return 255.0 * (v - v * s * std::max(0.0, std::min({turned, 4.0 - turned, 1.0})));
        };
        SCOPED_TRACE(::testing::Message() << h << " " << s << " " << v);
        ExpectRGB(FromHSV(h, s, v), channel(5.0), channel(3.0), channel(1.0));
    }
}

TEST(LxCColorValueFloat, HsvClampsSaturationAndValue)
{
    ExpectRGB(FromHSV(0.0, 2.0, 3.0), 255, 0, 0);
    ExpectRGB(FromHSV(0.0, -1.0, 0.5), 127.5, 127.5, 127.5);
    ExpectRGB(FromHSV(0.0, 1.0, -0.5), 0, 0, 0);
}

TEST(LxCColorValueFloat, HsvReducesFullTurns)
{
    ExpectRGB(FromHSV(2.0 * c_dPi + 0.5, 1.0, 1.0), 255, 255.0 * 1.5 / c_dPi, 0);
}

TEST(LxCColorValueFloat, HsvLeavesTheColourForNegativeSixths)
{
    ExpectRGB(FromHSV(-2.0, 1.0, 1.0), 1, 2, 3);
    // Above minus a sixth the truncated sixth is 0, with the fraction taken from below: f = 0.5.
    ExpectRGB(FromHSV(-c_dPi / 6.0, 1.0, 1.0), 255, 127.5, 0);
}

TEST(LxCColorValueFloat, HsvLeavesTheColourForAHueThatIsNotFinite)
{
    ExpectRGB(FromHSV(std::numeric_limits<double>::quiet_NaN(), 1.0, 1.0), 1, 2, 3);
    ExpectRGB(FromHSV(std::numeric_limits<double>::infinity(), 1.0, 1.0), 1, 2, 3);
}

TEST(LxCColorValueFloat, HueOfGreyIsZero)
{
    EXPECT_EQ(LxCColorValueFloat(5.0F, 5.0F, 5.0F).toHue(), 0.0F);
    EXPECT_EQ(LxCColorValueFloat().toHue(), 0.0F);
}

TEST(LxCColorValueFloat, HueOfPureColoursIsAMultipleOfASixth)
{
    const double sixth = c_dPi / 3.0;
    EXPECT_NEAR(LxCColorValueFloat(9.0F, 0.0F, 0.0F).toHue(), 0.0, c_dHueTolerance);
    EXPECT_NEAR(LxCColorValueFloat(9.0F, 9.0F, 0.0F).toHue(), sixth, c_dHueTolerance);
    EXPECT_NEAR(LxCColorValueFloat(0.0F, 9.0F, 0.0F).toHue(), 2.0 * sixth, c_dHueTolerance);
    EXPECT_NEAR(LxCColorValueFloat(0.0F, 9.0F, 9.0F).toHue(), 3.0 * sixth, c_dHueTolerance);
    EXPECT_NEAR(LxCColorValueFloat(0.0F, 0.0F, 9.0F).toHue(), 4.0 * sixth, c_dHueTolerance);
    EXPECT_NEAR(LxCColorValueFloat(9.0F, 0.0F, 9.0F).toHue(), 5.0 * sixth, c_dHueTolerance);
}

TEST(LxCColorValueFloat, HueUndoesFromHsv)
{
    for (int i = 0; i < 6280; ++i) {
        const double h = i * 0.001;
        ASSERT_NEAR(FromHSV(h, 1.0, 1.0).toHue(), h, c_dHueTolerance) << h;
    }
}

} // namespace
} // namespace LxCV

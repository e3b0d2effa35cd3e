#include "orx/ymalgo/ymcolorrgba.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace {

constexpr float c_fNan = std::numeric_limits<float>::quiet_NaN();
constexpr float c_fInfinity = std::numeric_limits<float>::infinity();
constexpr double c_dDegree = 3.14159265358979323846 / 180.0; // radians
constexpr double c_dTolerance = 1e-6;                        // a few times the spacing of floats below 6.3

struct SColor
{
    YmColorRGBA rgb;
    double hue; // degrees
    double saturation;
    double value;
};

// The table of any textbook: full, half and mixed colours.
const SColor c_aColors[] = {
    {{1.0F, 0.0F, 0.0F}, 0.0, 1.0, 1.0},      {{1.0F, 1.0F, 0.0F}, 60.0, 1.0, 1.0},
    {{0.0F, 1.0F, 0.0F}, 120.0, 1.0, 1.0},    {{0.0F, 1.0F, 1.0F}, 180.0, 1.0, 1.0},
    {{0.0F, 0.0F, 1.0F}, 240.0, 1.0, 1.0},    {{1.0F, 0.0F, 1.0F}, 300.0, 1.0, 1.0},
    {{0.5F, 0.0F, 0.0F}, 0.0, 1.0, 0.5},      {{0.75F, 0.75F, 0.75F}, 0.0, 0.0, 0.75},
    {{0.0F, 0.0F, 0.0F}, 0.0, 0.0, 0.0},      {{1.0F, 1.0F, 1.0F}, 0.0, 0.0, 1.0},
    {{0.25F, 0.5F, 0.375F}, 150.0, 0.5, 0.5}, {{0.5F, 0.25F, 0.375F}, 330.0, 0.5, 0.5},
};

void ExpectColor(const YmColorRGBA& actual, const YmColorRGBA& expected)
{
    EXPECT_NEAR(actual.fRed, expected.fRed, c_dTolerance);
    EXPECT_NEAR(actual.fGreen, expected.fGreen, c_dTolerance);
    EXPECT_NEAR(actual.fBlue, expected.fBlue, c_dTolerance);
}

TEST(YmColorRGBA, KnownColorsHaveTheirHueSaturationAndValue)
{
    for (const SColor& color : c_aColors) {
        const YmColorRGBA::SHsv hsv = YmColorRGBA::RgbToHsv(color.rgb);
        EXPECT_NEAR(hsv.fHue, color.hue * c_dDegree, c_dTolerance);
        EXPECT_NEAR(hsv.fSaturation, color.saturation, c_dTolerance);
        EXPECT_NEAR(hsv.fValue, color.value, c_dTolerance);
    }
}

TEST(YmColorRGBA, KnownHuesGiveTheirColors)
{
    for (const SColor& color : c_aColors) {
        ExpectColor(
            YmColorRGBA::HsvToRgb({static_cast<float>(color.hue * c_dDegree),
                                   static_cast<float>(color.saturation), static_cast<float>(color.value)}),
            color.rgb);
    }
}

TEST(YmColorRGBA, EveryColorComesBack)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<float> channel(0.0F, 1.0F);
    for (int trial = 0; trial < 10000; ++trial) {
        const YmColorRGBA color{channel(random), channel(random), channel(random)};
        SCOPED_TRACE(testing::Message() << color.fRed << " " << color.fGreen << " " << color.fBlue);
        ExpectColor(YmColorRGBA::HsvToRgb(YmColorRGBA::RgbToHsv(color)), color);
    }
}

TEST(YmColorRGBA, ChannelsAboveOneComeBackToo)
{
    const YmColorRGBA bright{3.0F, 1.5F, 2.0F};
    EXPECT_EQ(YmColorRGBA::RgbToHsv(bright).fValue, 3.0F);
    ExpectColor(YmColorRGBA::HsvToRgb(YmColorRGBA::RgbToHsv(bright)), bright);
}

TEST(YmColorRGBA, TurnsOfTheHueDoNotCount)
{
    for (const double turns : {-3.0, -1.0, 1.0, 2.0}) {
        const auto hue = static_cast<float>((200.0 + 360.0 * turns) * c_dDegree);
        const YmColorRGBA turned = YmColorRGBA::HsvToRgb({hue, 0.5F, 0.8F});
        // 200 degrees lie a third of the way from cyan to blue: red 0.4, green 0.4 + 0.4 * 2 / 3, blue 0.8.
        ExpectColor(turned, {0.4F, 0.6666667F, 0.8F});
    }
}

TEST(YmColorRGBA, AlphaIsTheArgument)
{
    EXPECT_EQ(YmColorRGBA().fAlpha, 1.0F);
    EXPECT_EQ(YmColorRGBA::HsvToRgb({0.0F, 0.0F, 0.5F}).fAlpha, 1.0F);
    EXPECT_EQ(YmColorRGBA::HsvToRgb({0.0F, 0.0F, 0.5F}, 0.25F).fAlpha, 0.25F);
}

TEST(YmColorRGBA, NegativeChannelsAndNoNumbersCountAsZero)
{
    const YmColorRGBA::SHsv hsv = YmColorRGBA::RgbToHsv({0.5F, -1.0F, c_fNan});
    EXPECT_EQ(hsv.fHue, 0.0F);
    EXPECT_EQ(hsv.fSaturation, 1.0F);
    EXPECT_EQ(hsv.fValue, 0.5F);
    ExpectColor(YmColorRGBA::HsvToRgb({c_fNan, 0.5F, 0.5F}), {0.5F, 0.25F, 0.25F});
    ExpectColor(YmColorRGBA::HsvToRgb({c_fInfinity, 2.0F, 0.5F}), {0.5F, 0.0F, 0.0F});
    ExpectColor(YmColorRGBA::HsvToRgb({0.0F, c_fNan, 0.5F}), {0.5F, 0.5F, 0.5F});
    ExpectColor(YmColorRGBA::HsvToRgb({0.0F, -1.0F, c_fNan}), {0.0F, 0.0F, 0.0F});
    ExpectColor(YmColorRGBA::HsvToRgb({0.0F, 0.5F, -0.5F}), {0.0F, 0.0F, 0.0F});
}

TEST(YmColorRGBA, AnInfiniteChannelIsAnInfiniteGray)
{
    const YmColorRGBA::SHsv hsv = YmColorRGBA::RgbToHsv({c_fInfinity, 1.0F, 0.0F});
    EXPECT_EQ(hsv.fSaturation, 0.0F);
    EXPECT_EQ(hsv.fValue, c_fInfinity);
    EXPECT_EQ(YmColorRGBA::HsvToRgb(hsv).fGreen, c_fInfinity);
}

} // namespace

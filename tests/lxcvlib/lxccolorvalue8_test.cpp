#include "lxccolorvalueargb8.h"
#include "lxccolorvaluebgr8.h"
#include "lxccolorvaluergb8.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

namespace LxCV {
namespace {

using Byte = std::uint8_t;

template <typename Pixel>
class ColorPixel : public ::testing::Test
{};
using Pixels = ::testing::Types<LxCColorValueARGB8, LxCColorValueBGR8, LxCColorValueRGB8>;
TYPED_TEST_SUITE(ColorPixel, Pixels);

template <typename Pixel>
void ExpectRGB(const Pixel& pixel, int red, int green, int blue)
{
    EXPECT_EQ(int{pixel.GetRed()}, red);
    EXPECT_EQ(int{pixel.GetGreen()}, green);
    EXPECT_EQ(int{pixel.GetBlue()}, blue);
}

template <typename Pixel>
int ByteInMemory(const Pixel& pixel, int index)
{
    unsigned char bytes[sizeof(Pixel)];
    std::memcpy(bytes, &pixel, sizeof(Pixel));
    return bytes[index];
}

TYPED_TEST(ColorPixel, BeginsBlack)
{
    ExpectRGB(TypeParam(), 0, 0, 0);
}

TYPED_TEST(ColorPixel, TakesRedGreenBlueAsBytesAndAsFloats)
{
    ExpectRGB(TypeParam(Byte{1}, Byte{2}, Byte{255}), 1, 2, 255);
    ExpectRGB(TypeParam(1.4F, 1.5F, 254.6F), 1, 2, 255);
    ExpectRGB(TypeParam(LxCColorValueFloat(1.0F, 2.0F, 3.0F)), 1, 2, 3);
}

TYPED_TEST(ColorPixel, SettersLeaveTheOtherChannels)
{
    TypeParam pixel(Byte{10}, Byte{20}, Byte{30});
    pixel.SetRed(Byte{11});
    ExpectRGB(pixel, 11, 20, 30);
    pixel.SetGreen(Byte{21});
    ExpectRGB(pixel, 11, 21, 30);
    pixel.SetBlue(Byte{31});
    ExpectRGB(pixel, 11, 21, 31);
    pixel.SetRed(12.0F);
    pixel.SetGreen(22.0F);
    pixel.SetBlue(32.0F);
    ExpectRGB(pixel, 12, 22, 32);
    pixel.SetRGB(Byte{1}, Byte{2}, Byte{3});
    ExpectRGB(pixel, 1, 2, 3);
    pixel.SetRGB(4.0F, 5.0F, 6.0F);
    ExpectRGB(pixel, 4, 5, 6);
}

TYPED_TEST(ColorPixel, ChannelsAreNamed)
{
    TypeParam pixel;
    pixel.SetChannel(TypeParam::eChannelRed, Byte{1});
    pixel.SetChannel(TypeParam::eChannelGreen, 2.2F);
    pixel.SetChannel(TypeParam::eChannelBlue, Byte{3});
    ExpectRGB(pixel, 1, 2, 3);
    EXPECT_EQ(pixel.GetChannel(TypeParam::eChannelRed), 1);
    EXPECT_EQ(pixel.GetChannel(TypeParam::eChannelGreen), 2);
    EXPECT_EQ(pixel.GetChannel(TypeParam::eChannelBlue), 3);
}

TYPED_TEST(ColorPixel, ReductionsMatchHandCalculation)
{
    const TypeParam pixel(Byte{10}, Byte{250}, Byte{31});
    EXPECT_EQ(pixel.GetMax(), 250);
    EXPECT_EQ(pixel.GetSum(), 291);
    EXPECT_EQ(pixel.GetGrayVal(), 97.0F);
    EXPECT_EQ(TypeParam(Byte{1}, Byte{0}, Byte{0}).GetGrayVal(), 1.0F / 3.0F);
    EXPECT_EQ(TypeParam(Byte{255}, Byte{255}, Byte{255}).GetSum(), 765);
}

TYPED_TEST(ColorPixel, BecomesAFloatColour)
{
    const LxCColorValueFloat color(TypeParam(Byte{10}, Byte{20}, Byte{30}));
    EXPECT_EQ(color.GetRed(), 10.0F);
    EXPECT_EQ(color.GetGreen(), 20.0F);
    EXPECT_EQ(color.GetBlue(), 30.0F);
}

TYPED_TEST(ColorPixel, FloatsWrapInsteadOfClamping)
{
    const auto toByte = [](float value) { return int{TypeParam(value, 0.0F, 0.0F).GetRed()}; };
    EXPECT_EQ(toByte(255.4F), 255);
    EXPECT_EQ(toByte(255.6F), 0);
    EXPECT_EQ(toByte(256.0F), 0);
    EXPECT_EQ(toByte(300.0F), 44);
    // -0.2 truncates to 0; -1.5 + 0.5 is -1.
    EXPECT_EQ(toByte(-0.7F), 0);
    EXPECT_EQ(toByte(-1.5F), 255);
    EXPECT_EQ(toByte(-1.0F), 0);
    EXPECT_EQ(toByte(-3.0F), 254);
}

TYPED_TEST(ColorPixel, FloatsOfAnySizeWrapAsTheirExactValue)
{
    const auto toByte = [](float value) { return int{TypeParam(value, 0.0F, 0.0F).GetRed()}; };
    // 2147483520 = 2^31 - 128, the largest float below 2^31.
    EXPECT_EQ(toByte(2147483520.0F), 128);
    EXPECT_EQ(toByte(-2147483520.0F), 128);
    EXPECT_EQ(toByte(2147483648.0F), 0);
    EXPECT_EQ(toByte(-2147483648.0F), 0);
    EXPECT_EQ(toByte(1e38F), 0);
    EXPECT_EQ(toByte(std::numeric_limits<float>::infinity()), 0);
    EXPECT_EQ(toByte(-std::numeric_limits<float>::infinity()), 0);
    EXPECT_EQ(toByte(std::numeric_limits<float>::quiet_NaN()), 0);
}

TYPED_TEST(ColorPixel, FloatsMatchModularArithmetic)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<float> value(-1e6F, 1e6F);
    for (int i = 0; i < 5000; ++i) {
        const float v = value(random);
        const long long truncated = static_cast<long long>(std::trunc(v + 0.5F));
        const int expected = static_cast<int>((truncated % 256 + 256) % 256);
        ASSERT_EQ(int{TypeParam(0.0F, v, 0.0F).GetGreen()}, expected) << v;
    }
}

TEST(LxCColorValueARGB8, LiesInMemoryAsBlueGreenRedAlpha)
{
    LxCColorValueARGB8 pixel;
    pixel.SetARGB(Byte{4}, Byte{3}, Byte{2}, Byte{1});
    EXPECT_EQ(pixel.GetARGB(), 0x04030201U);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(ByteInMemory(pixel, i), i + 1);
        EXPECT_EQ(int{pixel.GetChannel(static_cast<LxCColorValueARGB8::EColorChannel>(i))}, i + 1);
    }
}

TEST(LxCColorValueARGB8, CopiesWordsAndNamedColours)
{
    EXPECT_EQ(LxCColorValueARGB8(std::uint32_t{0xFF102030}).GetARGB(), 0xFF102030U);
    ExpectRGB(LxCColorValueARGB8(LxCColorValueARGB8::eRed), 255, 0, 0);
    ExpectRGB(LxCColorValueARGB8(LxCColorValueARGB8::eGreen), 0, 255, 0);
    ExpectRGB(LxCColorValueARGB8(LxCColorValueARGB8::eBlue), 0, 0, 255);
    ExpectRGB(LxCColorValueARGB8(LxCColorValueARGB8::eYellow), 255, 255, 0);
    ExpectRGB(LxCColorValueARGB8(LxCColorValueARGB8::eMagenta), 255, 0, 255);
    ExpectRGB(LxCColorValueARGB8(LxCColorValueARGB8::eCyan), 0, 255, 255);
    ExpectRGB(LxCColorValueARGB8(LxCColorValueARGB8::eWhite), 255, 255, 255);
    EXPECT_EQ(LxCColorValueARGB8(LxCColorValueARGB8::eBlack).GetARGB(), 0U);
}

TEST(LxCColorValueARGB8, ConstructionFromColoursLeavesAlphaZero)
{
    EXPECT_EQ(LxCColorValueARGB8(Byte{1}, Byte{2}, Byte{3}).GetAlpha(), 0);
    EXPECT_EQ(LxCColorValueARGB8(1.0F, 2.0F, 3.0F).GetAlpha(), 0);
    EXPECT_EQ(LxCColorValueARGB8(LxCColorValueFloat(1.0F, 2.0F, 3.0F)).GetAlpha(), 0);
}

TEST(LxCColorValueARGB8, SettingTheColourKeepsAlpha)
{
    LxCColorValueARGB8 pixel;
    pixel.SetAlpha(Byte{200});
    pixel.SetRGB(Byte{1}, Byte{2}, Byte{3});
    EXPECT_EQ(pixel.GetAlpha(), 200);
    pixel.SetAlpha(99.5F);
    EXPECT_EQ(pixel.GetAlpha(), 100);
    pixel.SetARGB(1.0F, 2.0F, 3.0F, 4.0F);
    EXPECT_EQ(pixel.GetARGB(), 0x01020304U);
}

TEST(LxCColorValueARGB8, MixWeighsTheColoursAndDropsAlpha)
{
    LxCColorValueARGB8 a(Byte{100}, Byte{0}, Byte{10});
    a.SetAlpha(Byte{255});
    const LxCColorValueARGB8 b(Byte{200}, Byte{40}, Byte{10});
    const LxCColorValueARGB8 mixed = a.MixWith(b, 0.25F);
    ExpectRGB(mixed, 125, 10, 10); // 75 + 50, 0 + 10, 7.5 + 2.5
    EXPECT_EQ(mixed.GetAlpha(), 0);
    EXPECT_EQ(a.MixWith(b, 1.0F), b);
}

TEST(LxCColorValueBGR8, LiesInMemoryAsBlueGreenRed)
{
    const LxCColorValueBGR8 pixel(Byte{3}, Byte{2}, Byte{1});
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ByteInMemory(pixel, i), i + 1);
        EXPECT_EQ(int{pixel.GetChannel(static_cast<LxCColorValueBGR8::EColorChannel>(i))}, i + 1);
    }
}

TEST(LxCColorValueBGR8, ConvertsToThePackedWord)
{
    EXPECT_EQ(LxCColorValueBGR8(Byte{0xAB}, Byte{0xCD}, Byte{0xEF}).ConvertToARGB(), 0x00ABCDEFU);
}

TEST(LxCColorValueRGB8, LiesInMemoryAsRedGreenBlue)
{
    const LxCColorValueRGB8 pixel(Byte{1}, Byte{2}, Byte{3});
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ByteInMemory(pixel, i), i + 1);
        EXPECT_EQ(int{pixel.GetChannel(static_cast<LxCColorValueRGB8::EColorChannel>(i))}, i + 1);
    }
}

TEST(LxCColorValueRGB8, AChannelOutsideReadsZeroAndWritesNothing)
{
    const auto outside = static_cast<LxCColorValueRGB8::EColorChannel>(3);
    LxCColorValueRGB8 pixel(Byte{1}, Byte{2}, Byte{3});
    EXPECT_EQ(pixel.GetChannel(outside), 0);
    pixel.SetChannel(outside, Byte{9});
    ExpectRGB(pixel, 1, 2, 3);
}

} // namespace
} // namespace LxCV

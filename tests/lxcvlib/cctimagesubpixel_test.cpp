#include "imagetestsupport.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>

namespace LxCV {
namespace {

using namespace TestSupport;

constexpr double c_dNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double c_dInfinity = std::numeric_limits<double>::infinity();

using Pixel = std::array<unsigned char, 16>;

Image Ramp()
{
    Image image(2, 2, Image::eIDT_UINT8, true, nullptr);
    const std::uint8_t pixels[4] = {10, 20, 30, 60};
    std::memcpy(image.GetBuffer(), pixels, sizeof pixels);
    return image;
}

int GreyAt(const Image& image, double x, double y)
{
    Pixel pixel{};
    EXPECT_EQ(image.GetSubPixelLinearInterpol(x, y, pixel.data()), Image::eRC_OK) << x << ' ' << y;
    return image.ConvertPixToInt(pixel.data());
}

TEST(CCTImageSubPixel, WeighsTheFourNeighboursByTheirDistance)
{
    const Image image = Ramp();
    EXPECT_EQ(GreyAt(image, 0.5, 0.0), 15);
    EXPECT_EQ(GreyAt(image, 0.0, 0.5), 20);
    // 0.75·(0.75·10 + 0.25·20) + 0.25·(0.75·30 + 0.25·60) = 9.375 + 9.375 = 18.75
    EXPECT_EQ(GreyAt(image, 0.25, 0.25), 19);
    // halves go upwards: (10 + 20 + 30 + 60) / 4 = 30; 10 + 0.05·10 = 10.5
    EXPECT_EQ(GreyAt(image, 0.5, 0.5), 30);
    EXPECT_EQ(GreyAt(image, 0.05, 0.0), 11);
}

TEST(CCTImageSubPixel, GivesThePixelsThemselvesAtTheirCentresInEveryType)
{
    for (const SType& type : c_aTypes) {
        Image image(5, 4, TypeOf(type.number), true, nullptr);
        // floats of these bytes are small numbers, and no NaN
        std::memset(image.GetBuffer(), 0x11, static_cast<std::size_t>(image.GetSizeInBytes()));
        Pixel other;
        other.fill(0x22);
        image.SetPixel(2, 1, other.data());
        image.SetPixel(4, 3, other.data());
        for (int y = 0; y < 4; ++y) {
            for (int x = 0; x < 5; ++x) {
                Pixel found{};
                Pixel expected{};
                ASSERT_EQ(image.GetSubPixelLinearInterpol(x, y, found.data()), Image::eRC_OK);
                image.GetPixel(x, y, expected.data());
                EXPECT_EQ(found, expected) << "type " << type.number << " at " << x << ' ' << y;
            }
        }
    }
}

TEST(CCTImageSubPixel, ReproducesAPlaneOfFloatsEverywhere)
{
    constexpr double c_dTolerance = 1e-5; ///< rounding of values below 100 to float
    Image image(20, 10, Image::eIDT_FLOAT32, true, nullptr);
    for (int y = 0; y < 10; ++y) {
        for (int x = 0; x < 20; ++x) {
            image.SetFloatPixelFast(x, y, static_cast<float>(3 * x + 2 * y - 5));
        }
    }
    std::mt19937 random(1);
    std::uniform_real_distribution<double> place(0.0, 1.0);
    for (int trial = 0; trial < 2000; ++trial) {
        const double x = 19.0 * place(random);
        const double y = 9.0 * place(random);
        float value = 0.0F;
        ASSERT_EQ(image.GetSubPixelLinearInterpol(x, y, &value), Image::eRC_OK);
        EXPECT_NEAR(value, 3.0 * x + 2.0 * y - 5.0, c_dTolerance) << x << ' ' << y;
    }
}

TEST(CCTImageSubPixel, ChannelsOfColoursDoNotMix)
{
    Image image(2, 1, Image::eIDT_ARGB8, true, nullptr);
    image.SetPixel(0, 0, 0x00FF1020UL);
    image.SetPixel(1, 0, 0xFF003060UL);
    std::uint32_t pixel = 0;
    ASSERT_EQ(image.GetSubPixelLinearInterpol(0.5, 0.0, &pixel), Image::eRC_OK);
    // (0 + 255)/2 = 127.5, (255 + 0)/2 = 127.5, (16 + 48)/2 = 32, (32 + 96)/2 = 64
    EXPECT_EQ(pixel, 0x80802040U);
}

TEST(CCTImageSubPixel, ANeighbourWithoutWeightDoesNotSpoilThePixel)
{
    Image image(2, 2, Image::eIDT_FLOAT64, true, nullptr);
    const double pixels[4] = {1.0, c_dNaN, 3.0, c_dInfinity};
    std::memcpy(image.GetBuffer(), pixels, sizeof pixels);
    double value = 0.0;
    ASSERT_EQ(image.GetSubPixelLinearInterpol(0.0, 0.5, &value), Image::eRC_OK);
    EXPECT_EQ(value, 2.0);
    ASSERT_EQ(image.GetSubPixelLinearInterpol(0.5, 0.0, &value), Image::eRC_OK);
    EXPECT_TRUE(std::isnan(value));
}

TEST(CCTImageSubPixel, FailsOutsideTheCentresOfTheOutermostPixels)
{
    const Image image = Ramp();
    for (const double bad :
         {-1e-9, 1.0 + 1e-9, -1.0, 2.0, 1e300, -1e300, c_dNaN, c_dInfinity, -c_dInfinity}) {
        std::uint8_t pixel = 77;
        EXPECT_EQ(image.GetSubPixelLinearInterpol(bad, 0.5, &pixel), Image::eRC_OutOfImage) << bad;
        EXPECT_EQ(image.GetSubPixelLinearInterpol(0.5, bad, &pixel), Image::eRC_OutOfImage) << bad;
        EXPECT_EQ(pixel, 77);
    }
    EXPECT_EQ(GreyAt(image, 1.0, 1.0), 60);
}

TEST(CCTImageSubPixel, RefusesNullsEmptyImagesAndImagesWithoutMemoryOrType)
{
    std::uint8_t pixel = 0;
    EXPECT_EQ(Ramp().GetSubPixelLinearInterpol(0.0, 0.0, nullptr), Image::eRC_NullPointer);
    EXPECT_EQ(Image().GetSubPixelLinearInterpol(0.0, 0.0, &pixel), Image::eRC_OutOfImage);
    const Image wrapped(2, 2, Image::eIDT_UINT8, false, nullptr);
    EXPECT_EQ(wrapped.GetSubPixelLinearInterpol(0.0, 0.0, &pixel), Image::eRC_OutOfImage);
    COpenImage untyped;
    ASSERT_EQ(untyped.allocate(2, 2, 1), Image::eRC_OK);
    EXPECT_EQ(untyped.GetSubPixelLinearInterpol(0.0, 0.0, &pixel), Image::eRC_UnsupportedType);
}

} // namespace
} // namespace LxCV

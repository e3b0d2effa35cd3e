// Smooth and Sobel: what they refuse, in which order and with which words, and what they compute.
#include "cctimage.h"

#include "filterkernels.h"
#include "imagetestsupport.h"
#include "orx/logging/logger.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::c_sChannel;
using Image = CCTImage;

const std::wstring c_sKernelText = L"CCTImage::Smooth only supports 3x3, 5x5, 7x7, 9x9 and 11x11!\n";

Image RandomColour(int width, int height)
{
    Image image(width, height, Image::eIDT_FLOAT32_3, true, nullptr);
    std::mt19937 random(3);
    std::uniform_real_distribution<float> grey(0.0F, 255.0F);
    auto* const values = static_cast<float*>(image.GetBuffer());
    std::generate_n(values, 3 * image.GetSizeInPixels(), [&] { return grey(random); });
    return image;
}

std::vector<float> Floats(const Image& image)
{
    const auto* const values = static_cast<const float*>(image.GetBuffer());
    return {values, values + 3 * image.GetSizeInPixels()};
}

float Value(const Image& image, int x, int y, int channel)
{
    return Floats(image)[static_cast<std::size_t>(3 * (y * image.GetWidth() + x) + channel)];
}

/// The one line that an operation logs, at error level in the image's channel.
std::wstring LoggedBy(const std::function<void()>& operation)
{
    const Logging::CCapture capture;
    operation();
    const auto entries = capture.GetRecords();
    if (entries.size() != 1 || entries[0].level != Logging::ELevel::eError ||
        entries[0].channel != c_sChannel) {
        ADD_FAILURE() << entries.size() << " lines";
        return {};
    }
    return entries[0].text;
}

TEST(CCTImageFilter, SmoothWithoutAModeCopiesWhateverKernelAndType)
{
    Image source(4, 3, Image::eIDT_UINT16, true, nullptr);
    source.Clear();
    source.SetInt16PixelFast(2, 1, 77);
    Image target(4, 3, Image::eIDT_UINT16, true, nullptr);
    EXPECT_EQ(source.Smooth(&target, Image::eSM_None, -4, 200), Image::eRC_OK);
    EXPECT_EQ(target.GetInt16PixelFast(2, 1), 77);
    EXPECT_EQ(source.Smooth(&source, Image::eSM_None, 3, 3), Image::eRC_OK);
}

TEST(CCTImageFilter, RefusesNoTargetFirst)
{
    const Image image = RandomColour(8, 8);
    EXPECT_EQ(image.Smooth(nullptr, Image::eSM_None, 3, 3), Image::eRC_NullPointer);
    EXPECT_EQ(image.Sobel(nullptr, true), Image::eRC_NullPointer);
    EXPECT_EQ(image.SmoothGauss3x3(nullptr), Image::eRC_NullPointer);
    EXPECT_EQ(image.SmoothBlur(3, nullptr), Image::eRC_NullPointer);
}

TEST(CCTImageFilter, RefusesATargetOfAnotherSizeOrPixelSize)
{
    const Image image = RandomColour(8, 8);
    Image wide(9, 8, Image::eIDT_FLOAT32_3, true, nullptr);
    Image narrow(8, 8, Image::eIDT_FLOAT32, true, nullptr);
    for (Image* const target : {&wide, &narrow}) {
        EXPECT_EQ(image.Smooth(target, Image::eSM_None, 3, 3), Image::eRC_SizeMismatch);
        EXPECT_EQ(image.Smooth(target, Image::eSM_Gaussian, 3, 3), Image::eRC_SizeMismatch);
        EXPECT_EQ(image.Sobel(target, true), Image::eRC_SizeMismatch);
        EXPECT_EQ(image.SmoothGauss11x11(target), Image::eRC_SizeMismatch);
        EXPECT_EQ(image.SmoothBlur(3, target), Image::eRC_SizeMismatch);
    }
}

TEST(CCTImageFilter, RefusesOneImageForSourceAndTarget)
{
    Image image = RandomColour(8, 8);
    const std::vector<float> before = Floats(image);
    EXPECT_EQ(
        LoggedBy([&] { EXPECT_EQ(image.Smooth(&image, Image::eSM_Blur, 4, 4), Image::eRC_NullPointer); }),
        L"CCTImage::Smooth: The input image and output image could not be the same image!\n");
    EXPECT_EQ(LoggedBy([&] { EXPECT_EQ(image.Sobel(&image, false), Image::eRC_NullPointer); }),
              L"CCTImage::Sobel: The input image and output image could not be the same image!\n");
    EXPECT_EQ(image.SmoothGauss5x5(&image), Image::eRC_NullPointer);
    EXPECT_EQ(image.SmoothBlur(5, &image), Image::eRC_NullPointer);
    EXPECT_EQ(Floats(image), before);
}

TEST(CCTImageFilter, RefusesKernelsThatAreNotSquareOrNotOfTheList)
{
    const Image image(8, 8, Image::eIDT_FLOAT32, true, nullptr);
    Image target(8, 8, Image::eIDT_FLOAT32, true, nullptr);
    for (const auto& [x, y] : {std::pair{5, 3}, {3, 5}, {4, 4}, {1, 1}, {13, 13}, {-3, -3}, {0, 0}}) {
        EXPECT_EQ(LoggedBy([&, x = x, y = y] {
                      EXPECT_EQ(image.Smooth(&target, Image::eSM_Gaussian, x, y), Image::eRC_NullPointer);
                  }),
                  c_sKernelText);
    }
}

TEST(CCTImageFilter, RefusesOtherTypes)
{
    const Image image(8, 8, Image::eIDT_FLOAT32, true, nullptr);
    Image target(8, 8, Image::eIDT_FLOAT32, true, nullptr);
    EXPECT_EQ(LoggedBy([&] {
                  EXPECT_EQ(image.Smooth(&target, static_cast<Image::ESmoothingMode>(7), 3, 3),
                            Image::eRC_UnsupportedType);
              }),
              L"CCTImage::Smooth only supports CCTImage::eIDT_FLOAT32_3\n");
    EXPECT_EQ(LoggedBy([&] { EXPECT_EQ(image.Sobel(&target, true), Image::eRC_UnsupportedType); }),
              L"CCTImage::Sobel only supports CCTImage::eIDT_FLOAT32_3\n");
    EXPECT_EQ(image.SmoothGauss3x3(&target), Image::eRC_UnsupportedType);
    EXPECT_EQ(image.SmoothBlur(3, &target), Image::eRC_UnsupportedType);
}

TEST(CCTImageFilter, SobelRefusesATargetOfAnotherTypeWithoutALine)
{
    const Image image(8, 8, Image::eIDT_FLOAT32, true, nullptr);
    Image target(8, 8, Image::eIDT_INT32, true, nullptr);
    const Logging::CCapture capture;
    EXPECT_EQ(image.Sobel(&target, true), Image::eRC_NullPointer);
    EXPECT_TRUE(capture.GetRecords().empty());
}

TEST(CCTImageFilter, RefusesOtherModesWithASecondBlankForTheMiddleSizes)
{
    const Image image = RandomColour(8, 8);
    Image target = image;
    for (const int size : {3, 5, 7, 9, 11}) {
        const bool isMiddle = size > 3 && size < 11;
        EXPECT_EQ(LoggedBy([&] {
                      EXPECT_EQ(image.Smooth(&target, static_cast<Image::ESmoothingMode>(3), size, size),
                                Image::eRC_NullPointer);
                  }),
                  std::wstring(L"CCTImage::Smooth only supports ") + (isMiddle ? L" " : L"") +
                      L"CCTImage::eSM_Blur and CCTImage::eSM_Gaussian!\n");
    }
}

TEST(CCTImageFilter, BlurRefusesSizesThatAreNotPositiveAndOdd)
{
    const Image image = RandomColour(8, 8);
    Image target = image;
    for (const int size :
         {0, -1, -3, 2, 10, 513, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        EXPECT_EQ(image.SmoothBlur(size, &target), Image::eRC_InvalidKernel) << size;
    }
    EXPECT_EQ(image.SmoothBlur(1, &target), Image::eRC_OK);
    EXPECT_EQ(Floats(target), Floats(image));
    EXPECT_EQ(image.SmoothBlur(Image::sc_iMaxBlurSize, &target), Image::eRC_OK);
}

TEST(CCTImageFilter, RunsTheKernelOfTheModeAndSize)
{
    const Image image = RandomColour(31, 22);
    const FilterKernels::SPlane plane{31, 22, 3};
    const std::vector<float> source = Floats(image);
    using Gauss = Image::EReturnCode (Image::*)(Image*) const;
    const Gauss gauss[] = {&Image::SmoothGauss3x3, &Image::SmoothGauss5x5, &Image::SmoothGauss7x7,
                           &Image::SmoothGauss9x9, &Image::SmoothGauss11x11};
    for (int radius = 1; radius <= 5; ++radius) {
        const int size = 2 * radius + 1;
        std::vector<float> expected(source.size());
        Image target(31, 22, Image::eIDT_FLOAT32_3, true, nullptr);
        FilterKernels::SmoothBinomial(plane, static_cast<std::size_t>(radius), source, expected);
        EXPECT_EQ(image.Smooth(&target, Image::eSM_Gaussian, size, size), Image::eRC_OK);
        EXPECT_EQ(Floats(target), expected);
        target.Clear();
        EXPECT_EQ((image.*gauss[radius - 1])(&target), Image::eRC_OK);
        EXPECT_EQ(Floats(target), expected);
        FilterKernels::SmoothBox(plane, static_cast<std::size_t>(radius), source, expected);
        EXPECT_EQ(image.Smooth(&target, Image::eSM_Blur, size, size), Image::eRC_OK);
        EXPECT_EQ(Floats(target), expected);
    }
}

TEST(CCTImageFilter, GaussOfThreeEqualsTheKernelOnTheCopyWithARepeatedBorder)
{
    const Image image = RandomColour(12, 9);
    Image target(12, 9, Image::eIDT_FLOAT32_3, true, nullptr);
    ASSERT_EQ(image.SmoothGauss3x3(&target), Image::eRC_OK);
    Image bordered(14, 11, Image::eIDT_FLOAT32_3, true, nullptr);
    ASSERT_EQ(bordered.CopyFrom(&image, true), Image::eRC_OK);
    constexpr double c_adWeights[] = {0.25, 0.5, 0.25};
    constexpr double c_dRounding = 8 * 0.5 * std::numeric_limits<float>::epsilon() * 255.0;
    for (int y = 0; y < 9; ++y) {
        for (int x = 0; x < 12; ++x) {
            for (int channel = 0; channel < 3; ++channel) {
                double expected = 0.0;
                for (int i = 0; i < 9; ++i) {
                    expected += c_adWeights[i / 3] * c_adWeights[i % 3] *
                                Value(bordered, x + i % 3, y + i / 3, channel);
                }
                ASSERT_NEAR(Value(target, x, y, channel), expected, c_dRounding) << x << ' ' << y;
            }
        }
    }
}

TEST(CCTImageFilter, SobelTakesRowsAlongXOrAlongY)
{
    Image ramp(6, 5, Image::eIDT_FLOAT32_3, true, nullptr);
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 6; ++x) {
            const auto value = static_cast<float>(3 * x + 10 * y);
            ramp.SetFloat3PixelFast(x, y, LxCFloat3(value, 2 * value, -value));
        }
    }
    Image target(6, 5, Image::eIDT_FLOAT32_3, true, nullptr);
    ASSERT_EQ(ramp.Sobel(&target, true), Image::eRC_OK); // a difference over two rows, weights that sum to 1
    EXPECT_EQ(Value(target, 2, 2, 0), 20.0F);
    EXPECT_EQ(Value(target, 2, 2, 1), 40.0F);
    EXPECT_EQ(Value(target, 2, 0, 0), 10.0F); // the border repeats, so one row is missing
    ASSERT_EQ(ramp.Sobel(&target, false), Image::eRC_OK);
    EXPECT_EQ(Value(target, 2, 2, 0), 6.0F);
    EXPECT_EQ(Value(target, 2, 2, 2), -6.0F);
    EXPECT_EQ(Value(target, 5, 2, 0), 3.0F);
}

TEST(CCTImageFilter, EmptyImagesPassAndImagesWithoutMemoryDoNot)
{
    const Image empty(0, 0, Image::eIDT_FLOAT32_3, true, nullptr);
    Image target(0, 0, Image::eIDT_FLOAT32_3, true, nullptr);
    EXPECT_EQ(empty.Smooth(&target, Image::eSM_Gaussian, 3, 3), Image::eRC_OK);
    EXPECT_EQ(empty.Sobel(&target, true), Image::eRC_OK);
    const Image withoutMemory(4, 4, Image::eIDT_FLOAT32_3, false, nullptr);
    Image good(4, 4, Image::eIDT_FLOAT32_3, true, nullptr);
    EXPECT_EQ(withoutMemory.Smooth(&good, Image::eSM_Blur, 3, 3), Image::eRC_NullPointer);
    EXPECT_EQ(withoutMemory.Sobel(&good, true), Image::eRC_NullPointer);
}

TEST(CCTImageFilter, OnlyThePixelsOfTheTargetAreWritten)
{
    Image image = RandomColour(5, 5);
    image.SetDescription("source");
    image.SetTimestamp(5);
    Image target(5, 5, Image::eIDT_FLOAT32_3, true, nullptr);
    target.SetDescription("target");
    EXPECT_EQ(image.Smooth(&target, Image::eSM_Gaussian, 3, 3), Image::eRC_OK);
    EXPECT_EQ(target.GetDescription(), "target");
    EXPECT_EQ(target.GetTimestamp(), 0U);
}

} // namespace
} // namespace LxCV
